// The libui stand-in as the buffer handler relies on it: real shared-memory
// buffers, plane geometry of the camera YUV formats, and clear errors. The
// singletons, pixel round trip and empty-plane knob are proved through the
// library in tests/buffer.
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <ui/GraphicBufferAllocator.h>
#include <ui/GraphicBufferMapper.h>
#include <zelkov_platform/ui_control.h>

using android::GraphicBufferAllocator;
using android::GraphicBufferMapper;
using android::Rect;
namespace control = zelkov_platform::ui;

namespace {

class GrallocStandInTest : public ::testing::Test {
protected:
    void SetUp() override {
        control::ResetControls();
        m_liveBefore = control::LiveBufferCount();
    }
    void TearDown() override {
        for (buffer_handle_t handle : m_handles) m_allocator.free(handle);
        control::ResetControls();
        EXPECT_EQ(control::LiveBufferCount(), m_liveBefore);
    }

    buffer_handle_t Allocate(uint32_t width, uint32_t height, int format, uint32_t* stride = nullptr) {
        buffer_handle_t handle = nullptr;
        uint32_t ignored = 0;
        EXPECT_EQ(m_allocator.allocate(width, height, format, 1, 0x33, &handle, stride ? stride : &ignored, "test"),
                  android::NO_ERROR);
        if (handle != nullptr) m_handles.push_back(handle);
        return handle;
    }

    GraphicBufferMapper& m_mapper = GraphicBufferMapper::get();
    GraphicBufferAllocator& m_allocator = GraphicBufferAllocator::get();
    std::vector<buffer_handle_t> m_handles;
    int m_liveBefore = 0;
};

TEST_F(GrallocStandInTest, HandleCarriesSharedMemoryAndDescription) {
    buffer_handle_t handle = nullptr;
    uint32_t stride = 0;
    ASSERT_EQ(m_allocator.allocate(100, 10, HAL_PIXEL_FORMAT_YCRCB_420_SP, 2, 0x1'0000'0033ull, &handle, &stride, "t"),
              android::NO_ERROR);
    m_handles.push_back(handle);
    EXPECT_EQ(stride, 112u);  // pixels, aligned to 16
    EXPECT_EQ(handle->version, static_cast<int>(sizeof(native_handle_t)));
    ASSERT_EQ(handle->numFds, 1);
    ASSERT_EQ(handle->numInts, control::kHandleIntCount);
    const int* ints = &handle->data[1];
    EXPECT_EQ(ints[control::kHandleIntWidth], 100);
    EXPECT_EQ(ints[control::kHandleIntHeight], 10);
    EXPECT_EQ(ints[control::kHandleIntFormat], HAL_PIXEL_FORMAT_YCRCB_420_SP);
    EXPECT_EQ(ints[control::kHandleIntStride], 112);
    EXPECT_EQ(ints[control::kHandleIntUsageLow], 0x33);
    EXPECT_EQ(ints[control::kHandleIntUsageHigh], 1);
    EXPECT_EQ(ints[control::kHandleIntLayerCount], 2);
    // Two layers of 112 x 10 luma bytes and 112 x 5 chroma bytes.
    EXPECT_EQ(ints[control::kHandleIntByteSize], 2 * (1120 + 560));
    struct stat info;
    ASSERT_EQ(fstat(handle->data[0], &info), 0);
    EXPECT_EQ(info.st_size, 2 * (1120 + 560));

    uint64_t width = 0, height = 0;
    EXPECT_EQ(m_mapper.getWidth(handle, &width), android::NO_ERROR);
    EXPECT_EQ(m_mapper.getHeight(handle, &height), android::NO_ERROR);
    EXPECT_EQ(width, 100u);
    EXPECT_EQ(height, 10u);
}

TEST_F(GrallocStandInTest, RefusesBadRequestsWithoutAllocating) {
    struct Request {
        const char* what;
        uint32_t width, height, layers;
        int format;
    };
    const Request requests[] = {
        {"zero width", 0, 10, 1, HAL_PIXEL_FORMAT_RGBA_8888},
        {"zero height", 10, 0, 1, HAL_PIXEL_FORMAT_RGBA_8888},
        {"zero layers", 10, 10, 0, HAL_PIXEL_FORMAT_RGBA_8888},
        {"unknown format", 10, 10, 1, 0x7FA30C04},
        {"raw opaque", 10, 10, 1, HAL_PIXEL_FORMAT_RAW_OPAQUE},
        {"width past the limit", 16385, 1, 1, HAL_PIXEL_FORMAT_Y8},
        {"gigabytes", 16384, 16384, 1, HAL_PIXEL_FORMAT_RGBA_FP16},
        {"huge layer count", 64, 64, 0xFFFFFFFFu, HAL_PIXEL_FORMAT_RGBA_8888},
    };
    for (const Request& r : requests) {
        SCOPED_TRACE(r.what);
        buffer_handle_t handle = reinterpret_cast<buffer_handle_t>(0x1);
        uint32_t stride = 7;
        EXPECT_EQ(m_allocator.allocate(r.width, r.height, r.format, r.layers, 0, &handle, &stride, "t"),
                  android::BAD_VALUE);
        EXPECT_EQ(handle, reinterpret_cast<buffer_handle_t>(0x1));
        EXPECT_EQ(stride, 7u);
    }
    EXPECT_EQ(control::LiveBufferCount(), m_liveBefore);
}

// Plane offsets from the luma pointer of a 100 x 10 buffer, stride 112.
TEST_F(GrallocStandInTest, LockYCbCrDescribesEachCameraFormat) {
    struct Geometry {
        const char* what;
        int format;
        std::ptrdiff_t cb, cr;  // -1: no plane
        size_t ystride, cstride, step;
        size_t chromaRows;
    };
    const Geometry geometries[] = {
        {"NV21", HAL_PIXEL_FORMAT_YCRCB_420_SP, 1121, 1120, 112, 112, 2, 5},
        {"NV12 (flexible 420)", HAL_PIXEL_FORMAT_YCBCR_420_888, 1120, 1121, 112, 112, 2, 5},
        {"NV12 (implementation defined)", HAL_PIXEL_FORMAT_IMPLEMENTATION_DEFINED, 1120, 1121, 112, 112, 2, 5},
        {"NV16", HAL_PIXEL_FORMAT_YCBCR_422_SP, 1120, 1121, 112, 112, 2, 10},
        // Chroma rows of 56 bytes aligned to 64, Cr plane (5 rows) first.
        {"YV12", HAL_PIXEL_FORMAT_YV12, 1120 + 320, 1120, 112, 64, 1, 5},
        {"P010", HAL_PIXEL_FORMAT_YCBCR_P010, 2240, 2242, 224, 224, 4, 5},
        {"YUYV", HAL_PIXEL_FORMAT_YCBCR_422_I, 1, 3, 224, 224, 4, 10},
        {"Y8", HAL_PIXEL_FORMAT_Y8, -1, -1, 112, 0, 0, 0},
    };
    for (const Geometry& g : geometries) {
        SCOPED_TRACE(g.what);
        buffer_handle_t handle = Allocate(100, 10, g.format);
        ASSERT_NE(handle, nullptr);
        android_ycbcr ycbcr;
        std::memset(&ycbcr, 0xAB, sizeof(ycbcr));
        ASSERT_EQ(m_mapper.lockYCbCr(handle, 0x3, Rect(100, 10), &ycbcr), android::NO_ERROR);
        auto* y = static_cast<uint8_t*>(ycbcr.y);
        ASSERT_NE(y, nullptr);
        EXPECT_EQ(ycbcr.cb ? static_cast<uint8_t*>(ycbcr.cb) - y : -1, g.cb);
        EXPECT_EQ(ycbcr.cr ? static_cast<uint8_t*>(ycbcr.cr) - y : -1, g.cr);
        EXPECT_EQ(ycbcr.ystride, g.ystride);
        EXPECT_EQ(ycbcr.cstride, g.cstride);
        EXPECT_EQ(ycbcr.chroma_step, g.step);
        for (uint32_t word : ycbcr.reserved) EXPECT_EQ(word, 0u);
        // The last byte of the last chroma sample (50 per row, 2 bytes for
        // P010) lies inside the buffer.
        if (g.chromaRows > 0) {
            const size_t sampleBytes = g.format == HAL_PIXEL_FORMAT_YCBCR_P010 ? 2 : 1;
            const size_t last = std::max(g.cb, g.cr) + (g.chromaRows - 1) * g.cstride + 49 * g.step + sampleBytes;
            EXPECT_LE(last, static_cast<size_t>(handle->data[1 + control::kHandleIntByteSize]));
        }
        EXPECT_EQ(m_mapper.unlock(handle), android::NO_ERROR);
    }
}

TEST_F(GrallocStandInTest, MisuseReturnsErrors) {
    buffer_handle_t rgba = Allocate(16, 16, HAL_PIXEL_FORMAT_RGBA_8888);
    void* vaddr = nullptr;
    android_ycbcr ycbcr{};
    EXPECT_EQ(m_mapper.lock(rgba, 0x3, Rect(0, 0, 17, 16), &vaddr), android::BAD_VALUE) << "past the right edge";
    EXPECT_EQ(m_mapper.lock(rgba, 0x3, Rect(-1, 0, 8, 8), &vaddr), android::BAD_VALUE) << "negative left";
    EXPECT_EQ(m_mapper.lock(rgba, 0x3, Rect(8, 0, 4, 8), &vaddr), android::BAD_VALUE) << "right before left";
    EXPECT_EQ(m_mapper.lockYCbCr(rgba, 0x3, Rect(16, 16), &ycbcr), android::BAD_VALUE) << "no planes in RGBA";
    EXPECT_EQ(m_mapper.unlock(rgba), android::INVALID_OPERATION) << "never locked";
    EXPECT_EQ(control::LockedBufferCount(), 0);

    ASSERT_EQ(m_mapper.lock(rgba, 0x3, Rect(16, 16), &vaddr), android::NO_ERROR);
    EXPECT_EQ(m_mapper.lock(rgba, 0x3, Rect(16, 16), &vaddr), android::INVALID_OPERATION) << "already locked";
    EXPECT_EQ(control::LockedBufferCount(), 1);
    EXPECT_EQ(m_mapper.unlock(rgba), android::NO_ERROR);
    EXPECT_EQ(m_mapper.unlock(rgba), android::INVALID_OPERATION) << "double unlock";

    native_handle_t unknown{};
    uint64_t width = 77;
    EXPECT_EQ(m_mapper.lock(&unknown, 0x3, Rect(1, 1), &vaddr), android::BAD_VALUE);
    EXPECT_EQ(m_mapper.lockYCbCr(&unknown, 0x3, Rect(1, 1), &ycbcr), android::BAD_VALUE);
    EXPECT_EQ(m_mapper.unlock(&unknown), android::BAD_VALUE);
    EXPECT_EQ(m_mapper.getWidth(&unknown, &width), android::BAD_VALUE);
    EXPECT_EQ(m_mapper.getHeight(nullptr, &width), android::BAD_VALUE);
    EXPECT_EQ(width, 77u);
    EXPECT_EQ(m_allocator.free(&unknown), android::BAD_VALUE);
}

TEST_F(GrallocStandInTest, ForcedFailureHitsOnlyTheNextCallOfItsKind) {
    buffer_handle_t handle = Allocate(32, 32, HAL_PIXEL_FORMAT_YCRCB_420_SP);
    control::FailNextCall(control::Call::kLockYCbCr, -22);
    android_ycbcr ycbcr;
    std::memset(&ycbcr, 0x11, sizeof(ycbcr));
    const android_ycbcr before = ycbcr;
    void* vaddr = nullptr;
    ASSERT_EQ(m_mapper.lock(handle, 0x3, Rect(32, 32), &vaddr), android::NO_ERROR) << "other calls unaffected";
    ASSERT_EQ(m_mapper.unlock(handle), android::NO_ERROR);
    EXPECT_EQ(m_mapper.lockYCbCr(handle, 0x3, Rect(32, 32), &ycbcr), -22);
    EXPECT_EQ(std::memcmp(&ycbcr, &before, sizeof(ycbcr)), 0);
    EXPECT_EQ(control::LockedBufferCount(), 0);
    EXPECT_EQ(m_mapper.lockYCbCr(handle, 0x3, Rect(32, 32), &ycbcr), android::NO_ERROR);
    EXPECT_EQ(m_mapper.unlock(handle), android::NO_ERROR);

    control::FailNextCall(control::Call::kAllocate, 1);
    buffer_handle_t failed = nullptr;
    uint32_t stride = 0;
    EXPECT_EQ(m_allocator.allocate(8, 8, HAL_PIXEL_FORMAT_RGBA_8888, 1, 0, &failed, &stride, "t"), 1);
    EXPECT_EQ(failed, nullptr);
    control::FailNextCall(control::Call::kFree, -12);
    EXPECT_EQ(m_allocator.free(handle), -12);
    EXPECT_EQ(control::LiveBufferCount(), m_liveBefore + 1) << "a failed free keeps the buffer";
}

TEST_F(GrallocStandInTest, SilentYCbCrLockWritesNothingAndStaysLocked) {
    buffer_handle_t handle = Allocate(32, 32, HAL_PIXEL_FORMAT_YCRCB_420_SP);
    control::SetSilentYCbCrLock(true);
    android_ycbcr ycbcr;
    std::memset(&ycbcr, 0x5A, sizeof(ycbcr));
    android_ycbcr before;
    std::memcpy(&before, &ycbcr, sizeof(ycbcr));
    ASSERT_EQ(m_mapper.lockYCbCr(handle, 0x3, Rect(32, 32), &ycbcr), android::NO_ERROR);
    EXPECT_EQ(std::memcmp(&ycbcr, &before, sizeof(ycbcr)), 0);
    EXPECT_EQ(control::LockedBufferCount(), 1);
    EXPECT_EQ(m_mapper.unlock(handle), android::NO_ERROR);
}

TEST_F(GrallocStandInTest, ThreadsShareTheStoreSafely) {
    auto cycle = [this]() {
        for (int i = 0; i < 20; ++i) {
            buffer_handle_t handle = nullptr;
            uint32_t stride = 0;
            ASSERT_EQ(m_allocator.allocate(64, 48, HAL_PIXEL_FORMAT_YCRCB_420_SP, 1, 0x33, &handle, &stride, "t"),
                      android::NO_ERROR);
            android_ycbcr ycbcr{};
            ASSERT_EQ(m_mapper.lockYCbCr(handle, 0x33, Rect(64, 48), &ycbcr), android::NO_ERROR);
            static_cast<uint8_t*>(ycbcr.cr)[0] = static_cast<uint8_t>(i);
            EXPECT_EQ(m_mapper.unlock(handle), android::NO_ERROR);
            EXPECT_EQ(m_allocator.free(handle), android::NO_ERROR);
        }
    };
    std::thread a(cycle), b(cycle);
    a.join();
    b.join();
}

}  // namespace

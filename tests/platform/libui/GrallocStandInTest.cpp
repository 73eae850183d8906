// The libui stand-in as the platform's libui over a gralloc 5 mapper behaves:
// allocation corrections and refusals, plane geometry of the camera formats,
// lock refusals, and aborts where the device would crash. The singletons,
// pixel round trip and test controls are proved through the library in
// tests/buffer.
#include <algorithm>
#include <cstdint>
#include <cstring>
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

constexpr uint64_t kCpu = 0x33;  // SW_READ_OFTEN | SW_WRITE_OFTEN

class GrallocStandInTest : public ::testing::Test {
protected:
    void SetUp() override { m_liveBefore = control::LiveBufferCount(); }
    void TearDown() override {
        for (buffer_handle_t handle : m_handles) m_allocator.free(handle);
        EXPECT_EQ(control::LiveBufferCount(), m_liveBefore);
    }

    buffer_handle_t Allocate(uint32_t width, uint32_t height, int format, uint64_t usage = kCpu) {
        buffer_handle_t handle = nullptr;
        uint32_t stride = 0;
        EXPECT_EQ(m_allocator.allocate(width, height, format, 1, usage, &handle, &stride, "test"), android::NO_ERROR);
        if (handle != nullptr) m_handles.push_back(handle);
        return handle;
    }
    static int Int(buffer_handle_t handle, int which) { return handle->data[handle->numFds + which]; }

    GraphicBufferMapper& m_mapper = GraphicBufferMapper::get();
    GraphicBufferAllocator& m_allocator = GraphicBufferAllocator::get();
    std::vector<buffer_handle_t> m_handles;
    int m_liveBefore = 0;
};

TEST_F(GrallocStandInTest, AllocationCorrectionsAndRefusals) {
    struct Request {
        const char* what;
        uint32_t width, height, layers;
        int format;
        uint64_t usage;
        int status, m_width, m_height, m_layers;  // what the buffer gets
    };
    // libui's own refusal (the size) leaves handle and stride as they were;
    // the allocator's come back with a null handle and a zero stride.
    const int rgba = HAL_PIXEL_FORMAT_RGBA_8888;
    const Request requests[] = {
        {"zero width makes 1x1", 0, 10, 1, rgba, kCpu, android::NO_ERROR, 1, 1, 1},
        {"zero height makes 1x1", 10, 0, 1, rgba, kCpu, android::NO_ERROR, 1, 1, 1},
        {"zero layers mean one", 8, 4, 0, rgba, kCpu, android::NO_ERROR, 8, 4, 1},
        {"usage bits 10 and 13 cleared", 8, 4, 2, rgba, kCpu | 0x2400, android::NO_ERROR, 8, 4, 2},
        {"unknown format: unsupported", 10, 10, 1, 0x7FA30C04, kCpu, android::UNKNOWN_ERROR, 0, 0, 0},
        {"unknown usage bit", 1, 1, 1, rgba, 1ull << 40, android::BAD_VALUE, 0, 0, 0},
        {"side past the allocator's: unsupported", 16385, 1, 1, rgba, kCpu, android::UNKNOWN_ERROR, 0, 0, 0},
        {"past the allocator's memory", 16384, 16384, 1, HAL_PIXEL_FORMAT_RGBA_FP16, kCpu, android::NO_MEMORY, 0, 0, 0},
        {"past a 32-bit size", 65536, 65536, 1, rgba, kCpu, android::BAD_VALUE, 0, 0, 0},
    };
    for (const Request& r : requests) {
        SCOPED_TRACE(r.what);
        buffer_handle_t handle = reinterpret_cast<buffer_handle_t>(0x1);
        uint32_t stride = 7;
        ASSERT_EQ(m_allocator.allocate(r.width, r.height, r.format, r.layers, r.usage, &handle, &stride, "t"),
                  r.status);
        if (r.status != android::NO_ERROR) {
            const bool libuiRefused = r.width == 65536;
            EXPECT_EQ(handle, libuiRefused ? reinterpret_cast<buffer_handle_t>(0x1) : nullptr);
            EXPECT_EQ(stride, libuiRefused ? 7u : 0u);
            continue;
        }
        m_handles.push_back(handle);
        EXPECT_EQ(Int(handle, control::kHandleIntWidth), r.m_width);
        EXPECT_EQ(Int(handle, control::kHandleIntHeight), r.m_height);
        EXPECT_EQ(Int(handle, control::kHandleIntLayerCount), r.m_layers);
        EXPECT_EQ(Int(handle, control::kHandleIntUsageLow), static_cast<int>(kCpu));
    }
}

// Plane offsets from the luma pointer of a 100 x 10 buffer, stride 112, and
// what a flat lock reports per pixel and per row (-1 where planes disagree).
TEST_F(GrallocStandInTest, LockDescribesEachCameraFormat) {
    struct Geometry {
        const char* what;
        int format;
        std::ptrdiff_t cb, cr;  // -1: no plane
        size_t ystride, cstride, step, chromaRows;
        int32_t bytesPerPixel, bytesPerStride;
    };
    const Geometry geometries[] = {
        {"NV21", HAL_PIXEL_FORMAT_YCRCB_420_SP, 1121, 1120, 112, 112, 2, 5, -1, 112},
        {"NV12 (flexible 420)", HAL_PIXEL_FORMAT_YCBCR_420_888, 1120, 1121, 112, 112, 2, 5, -1, 112},
        {"NV12 (implementation defined)", HAL_PIXEL_FORMAT_IMPLEMENTATION_DEFINED, 1120, 1121, 112, 112, 2, 5, -1, 112},
        {"NV16", HAL_PIXEL_FORMAT_YCBCR_422_SP, 1120, 1121, 112, 112, 2, 10, -1, 112},
        // Chroma rows of 56 bytes aligned to 64, Cr plane (5 rows) first.
        {"YV12", HAL_PIXEL_FORMAT_YV12, 1120 + 320, 1120, 112, 64, 1, 5, 1, -1},
        {"P010", HAL_PIXEL_FORMAT_YCBCR_P010, 2240, 2242, 224, 224, 4, 5, -1, 224},
        {"YUYV", HAL_PIXEL_FORMAT_YCBCR_422_I, 1, 3, 224, 224, 4, 10, 2, 224},
        {"Y8", HAL_PIXEL_FORMAT_Y8, -1, -1, 112, 0, 0, 0, 1, 112},
    };
    for (const Geometry& g : geometries) {
        SCOPED_TRACE(g.what);
        buffer_handle_t handle = Allocate(100, 10, g.format);
        ASSERT_NE(handle, nullptr);
        android_ycbcr ycbcr;
        std::memset(&ycbcr, 0xAB, sizeof(ycbcr));
        ASSERT_EQ(m_mapper.lockYCbCr(handle, kCpu, Rect(100, 10), &ycbcr), android::NO_ERROR);
        auto* y = static_cast<uint8_t*>(ycbcr.y);
        ASSERT_NE(y, nullptr);
        EXPECT_EQ(ycbcr.cb ? static_cast<uint8_t*>(ycbcr.cb) - y : -1, g.cb);
        EXPECT_EQ(ycbcr.cr ? static_cast<uint8_t*>(ycbcr.cr) - y : -1, g.cr);
        EXPECT_EQ(ycbcr.ystride, g.ystride);
        EXPECT_EQ(ycbcr.cstride, g.cstride);
        EXPECT_EQ(ycbcr.chroma_step, g.step);
        // The last byte of the last chroma sample (50 per row, 2 bytes for
        // P010) lies inside the buffer.
        if (g.chromaRows > 0) {
            const size_t sampleBytes = g.format == HAL_PIXEL_FORMAT_YCBCR_P010 ? 2 : 1;
            const size_t last = std::max(g.cb, g.cr) + (g.chromaRows - 1) * g.cstride + 49 * g.step + sampleBytes;
            EXPECT_LE(last, static_cast<size_t>(Int(handle, control::kHandleIntByteSize)));
        }
        EXPECT_EQ(m_mapper.unlock(handle), android::NO_ERROR);

        void* vaddr = nullptr;
        int32_t bytesPerPixel = 0, bytesPerStride = 0;
        ASSERT_EQ(m_mapper.lock(handle, kCpu, Rect(100, 10), &vaddr, &bytesPerPixel, &bytesPerStride),
                  android::NO_ERROR);
        EXPECT_EQ(vaddr, y);
        EXPECT_EQ(bytesPerPixel, g.bytesPerPixel);
        EXPECT_EQ(bytesPerStride, g.bytesPerStride);
        EXPECT_EQ(m_mapper.unlock(handle), android::NO_ERROR);
    }
    // A format without luma and chroma components locks with no planes at all.
    buffer_handle_t rgba = Allocate(16, 16, HAL_PIXEL_FORMAT_RGBA_8888);
    android_ycbcr ycbcr;
    std::memset(&ycbcr, 0xAB, sizeof(ycbcr));
    ASSERT_EQ(m_mapper.lockYCbCr(rgba, kCpu, Rect(16, 16), &ycbcr), android::NO_ERROR);
    EXPECT_TRUE(ycbcr.y == nullptr && ycbcr.cb == nullptr && ycbcr.cr == nullptr && ycbcr.chroma_step == 0);
    EXPECT_EQ(control::LockedBufferCount(), 1);
    EXPECT_EQ(m_mapper.unlock(rgba), android::NO_ERROR);
}

// A refusal of the mapper reaches the caller as the mapper's own error
// (BAD_VALUE 3, BAD_BUFFER 2: positive, not status codes); the sizes per
// pixel and per row are written before the mapper is asked, so also then.
TEST_F(GrallocStandInTest, LockRefusesWhatTheMapperRefuses) {
    buffer_handle_t readOnly = Allocate(16, 16, HAL_PIXEL_FORMAT_RGBA_8888, 0x3);
    struct Case {
        const char* what;
        uint32_t usage;
        Rect bounds;
        int status;
    };
    const int kBadValue = 3, kBadBuffer = 2;
    const Case cases[] = {
        {"all zeros: the whole buffer", 0x3, Rect(0, 0, 0, 0), android::NO_ERROR},
        {"inner region", 0x3, Rect(2, 3, 10, 12), android::NO_ERROR},
        {"past the right edge", 0x3, Rect(0, 0, 17, 16), kBadValue},
        {"negative left", 0x3, Rect(-1, 0, 8, 8), kBadValue},
        {"right before left", 0x3, Rect(8, 0, 4, 8), kBadValue},
        {"default rectangle (invalid)", 0x3, Rect(), kBadValue},
        {"no CPU usage", 0, Rect(16, 16), kBadValue},
        {"hardware usage only", 0x20000, Rect(16, 16), kBadValue},
        {"write to a buffer allocated for reading", 0x30, Rect(16, 16), kBadValue},
    };
    for (const Case& c : cases) {
        void* vaddr = &m_liveBefore;
        int32_t bytesPerPixel = 0, bytesPerStride = 0;
        EXPECT_EQ(m_mapper.lock(readOnly, c.usage, c.bounds, &vaddr, &bytesPerPixel, &bytesPerStride), c.status)
            << c.what;
        EXPECT_EQ(bytesPerPixel, 4) << c.what;
        EXPECT_EQ(bytesPerStride, 64) << c.what;
        if (c.status == android::NO_ERROR) {
            EXPECT_EQ(m_mapper.unlock(readOnly), android::NO_ERROR) << c.what;
        } else {
            EXPECT_EQ(vaddr, &m_liveBefore) << c.what;
        }
    }
    // A handle the mapper does not know has no plane layouts: nothing written.
    native_handle_t unknown{};
    void* vaddr = nullptr;
    int32_t bytesPerPixel = -7, bytesPerStride = -7;
    EXPECT_EQ(m_mapper.lock(&unknown, 0x3, Rect(1, 1), &vaddr, &bytesPerPixel, &bytesPerStride), kBadBuffer);
    EXPECT_EQ(bytesPerPixel, -7);
    EXPECT_EQ(bytesPerStride, -7);
    // lockYCbCr reads the plane layouts first (unknown handle: the metadata
    // error), then locks (the mapper's error); a null android_ycbcr is refused
    // before anything else.
    android_ycbcr ycbcr{};
    EXPECT_EQ(m_mapper.lockYCbCr(&unknown, 0x3, Rect(1, 1), &ycbcr), android::UNKNOWN_TRANSACTION);
    EXPECT_EQ(m_mapper.lockYCbCr(readOnly, 0x30, Rect(16, 16), &ycbcr), kBadValue);
    EXPECT_EQ(m_mapper.lockYCbCr(readOnly, 0x3, Rect(16, 16), nullptr), android::BAD_VALUE);
    EXPECT_EQ(control::LockedBufferCount(), 0);
    // Locks nest; the buffer stays locked until the last unlock.
    ASSERT_EQ(m_mapper.lock(readOnly, 0x3, Rect(16, 16), &vaddr), android::NO_ERROR);
    ASSERT_EQ(m_mapper.lock(readOnly, 0x3, Rect(16, 16), &vaddr), android::NO_ERROR);
    EXPECT_EQ(m_mapper.unlock(readOnly), android::NO_ERROR);
    EXPECT_EQ(control::LockedBufferCount(), 1);
    EXPECT_EQ(m_mapper.unlock(readOnly), android::NO_ERROR);
    EXPECT_EQ(control::LockedBufferCount(), 0);
}

TEST(GrallocStandInDeathTest, MisuseTheDeviceCrashesOnAborts) {
    GraphicBufferMapper& mapper = GraphicBufferMapper::get();
    GraphicBufferAllocator& allocator = GraphicBufferAllocator::get();
    buffer_handle_t freed = nullptr;
    buffer_handle_t live = nullptr;
    uint32_t stride = 0;
    ASSERT_EQ(allocator.allocate(8, 8, HAL_PIXEL_FORMAT_RGBA_8888, 1, kCpu, &freed, &stride, "t"), android::NO_ERROR);
    ASSERT_EQ(allocator.allocate(8, 8, HAL_PIXEL_FORMAT_RGBA_8888, 1, kCpu, &live, &stride, "t"), android::NO_ERROR);
    ASSERT_EQ(allocator.free(freed), android::NO_ERROR);
    native_handle_t unknown{};
    void* vaddr = nullptr;
    EXPECT_DEATH(allocator.free(freed), "^libui: GraphicBufferAllocator::free: buffer handle already freed");
    EXPECT_DEATH(allocator.free(&unknown), "^libui: GraphicBufferAllocator::free: handle never allocated");
    EXPECT_DEATH(allocator.allocate(8, 8, HAL_PIXEL_FORMAT_RGBA_8888, 1, kCpu, &live, nullptr, "t"),
                 "^libui: GraphicBufferAllocator::allocate: null handle or stride pointer");
    EXPECT_DEATH(mapper.unlock(live), "^libui: GraphicBufferMapper::unlock: buffer not locked");
    EXPECT_DEATH(mapper.lock(freed, kCpu, Rect(8, 8), &vaddr), "^libui: GraphicBufferMapper::lock: buffer handle al");
    EXPECT_DEATH(mapper.lock(nullptr, kCpu, Rect(8, 8), &vaddr), "^libui: GraphicBufferMapper::lock: null buffer");
    EXPECT_DEATH(mapper.lock(live, kCpu, Rect(8, 8), nullptr), "^libui: GraphicBufferMapper::lock: null vaddr");
    EXPECT_DEATH(mapper.getHeight(live, nullptr), "^libui: GraphicBufferMapper::getHeight: null out-pointer");
    EXPECT_EQ(allocator.free(live), android::NO_ERROR);
}

// Rect from unsigned sizes clamps to INT32_MAX; from signed ones it takes
// them as they are.
TEST(RectTest, UnsignedSizesClampToInt32Max) {
    const Rect clamped(uint32_t{0x80000000u}, uint32_t{0xFFFFFFFFu});
    EXPECT_EQ(clamped.right, INT32_MAX);
    EXPECT_EQ(clamped.bottom, INT32_MAX);
    const Rect fits(uint32_t{640}, uint32_t{480});
    EXPECT_EQ(fits.right, 640);
    EXPECT_EQ(fits.bottom, 480);
    const Rect negative(int32_t{-1}, int32_t{2});
    EXPECT_EQ(negative.right, -1);
    EXPECT_TRUE(Rect().right == -1 && Rect().bottom == -1);
}

TEST(PixelFormatTest, BytesPerPixelOfEachFormat) {
    const struct {
        android::PixelFormat format;
        uint32_t bytes;
    } formats[] = {
        {android::PIXEL_FORMAT_RGBA_FP16, 8}, {android::PIXEL_FORMAT_RGBA_1010102, 4},
        {android::PIXEL_FORMAT_RGB_888, 3},   {android::PIXEL_FORMAT_RGBA_4444, 2},
        {android::PIXEL_FORMAT_R_8, 1},       {HAL_PIXEL_FORMAT_YCBCR_420_888, 0},
        {HAL_PIXEL_FORMAT_BLOB, 0},
    };
    for (const auto& f : formats) EXPECT_EQ(android::bytesPerPixel(f.format), f.bytes) << f.format;
}

}  // namespace

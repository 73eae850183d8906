// The buffer handler on the libui stand-in: a real NV21 round trip, the
// classification of plane arrangements, and the rules for platform failures.
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include <android/buffer/IZelBufferHandler.h>
#include <android/buffer/ZelNativeHandleRo.h>
#include <android/constants/GrallocUsageConstants.h>
#include <android/constants/PixelFormatConstants.h>
#include <zelkov_platform/ui_control.h>

using namespace zelkov;
namespace control = zelkov_platform::ui;

namespace {

TEST(FindYuvFormatTest, ClassifiesByStepAndChromaOrder) {
    static char bytes[256];
    char* p = bytes + 64;
    struct Case {
        char* cb;
        char* cr;
        unsigned int step;
        int id;
    };
    const Case cases[] = {
        {p, p + 1, 2, 0},
        {p + 1, p, 2, 1},
        {p, p + 2, 2, 1000},
        {p, p, 2, 1000},
        {p, p, 1, 3},
        {p, p + 100, 1, 3},
        {p + 100, p, 1, 2},
        {p, p + 2, 4, 5},
        {p + 2, p, 4, 1000},
        {p, p + 1, 4, 1000},
        {p, p + 1, 0, 1000},
        {p, p + 1, 3, 1000},
        {nullptr, nullptr, 1, 3},
        {nullptr, nullptr, 2, 1000},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(IZelBufferHandler::FindYuvFormat(c.cb, c.cr, c.step), c.id)
            << "cb " << static_cast<void*>(c.cb) << " cr " << static_cast<void*>(c.cr) << " step " << c.step;
    }
    // Addresses compare unsigned: a Cr pointer in the upper half of the
    // address space is above a Cb pointer in the lower half.
    void* low = reinterpret_cast<void*>(std::uintptr_t{0x1000});
    void* high = reinterpret_cast<void*>(~std::uintptr_t{0} - 0x1000);
    EXPECT_EQ(IZelBufferHandler::FindYuvFormat(low, high, 1), 3);
    EXPECT_EQ(IZelBufferHandler::FindYuvFormat(high, low, 1), 2);
}

class BufferHandlerTest : public ::testing::Test {
protected:
    void SetUp() override {
        control::ResetControls();
        m_liveBefore = control::LiveBufferCount();
    }
    void TearDown() override {
        control::ResetControls();
        EXPECT_EQ(control::LiveBufferCount(), m_liveBefore) << "every buffer freed";
    }

    const native_handle* Allocate(unsigned int width, unsigned int height, int format, unsigned int* stride = nullptr) {
        const native_handle* handle = nullptr;
        unsigned int ignored = 0;
        EXPECT_EQ(m_handler->Allocate(width, height, format, 1, kCameraUsage, &handle, stride ? stride : &ignored,
                                      "BufferHandlerTest"),
                  0);
        return handle;
    }

    const unsigned long long kCameraUsage =
        GET_GRALLOC_USAGE_SW_READ_OFTEN() | GET_GRALLOC_USAGE_SW_WRITE_OFTEN() | GET_GRALLOC_USAGE_HW_CAMERA_WRITE();
    const unsigned int kCpuUsage = GET_GRALLOC_USAGE_SW_READ_OFTEN() | GET_GRALLOC_USAGE_SW_WRITE_OFTEN();
    std::unique_ptr<IZelBufferHandler> m_handler{IZelBufferHandler::Create()};
    int m_liveBefore = 0;
};

// The planes a YCbCr lock reports and the bytes a flat lock shows are the
// same memory: NV21's Cr Cb pairs follow the luma plane.
TEST_F(BufferHandlerTest, Nv21RoundTrip) {
    unsigned int stride = 0;
    const native_handle* handle = Allocate(64, 32, GET_HAL_PIXEL_FORMAT_YCRCB_420_SP(), &stride);
    ZelYCbCrLayout layout{};
    ASSERT_EQ(m_handler->LockYCbCr(handle, kCpuUsage, ZelRect{0, 0, 64, 32}, &layout), 0);
    EXPECT_EQ(layout.ystride, stride);
    static_cast<std::uint8_t*>(layout.y)[31 * layout.ystride + 5] = 0x11;
    static_cast<std::uint8_t*>(layout.cb)[15 * layout.cstride + 2 * 3] = 0xCB;
    static_cast<std::uint8_t*>(layout.cr)[15 * layout.cstride + 2 * 3] = 0xC4;
    ASSERT_EQ(m_handler->Unlock(handle), 0);

    void* vaddr = nullptr;
    int bytesPerPixel = 0, bytesPerStride = 0;
    ASSERT_EQ(m_handler->Lock(handle, kCpuUsage, ZelRect{0, 0, 64, 32}, &vaddr, &bytesPerPixel, &bytesPerStride), 0);
    EXPECT_EQ(bytesPerPixel, -1) << "luma and chroma samples differ in size";
    EXPECT_EQ(bytesPerStride, static_cast<int>(stride));
    const auto* bytes = static_cast<const std::uint8_t*>(vaddr);
    const std::size_t pair = stride * 32 + 15 * stride + 2 * 3;
    EXPECT_TRUE(bytes[31 * stride + 5] == 0x11 && bytes[pair] == 0xC4 && bytes[pair + 1] == 0xCB);
    EXPECT_EQ(m_handler->Unlock(handle), 0);
    EXPECT_EQ(m_handler->Free(handle), 0);
}

TEST_F(BufferHandlerTest, AllocatePassesEveryArgumentInOrder) {
    const native_handle* handle = nullptr;
    unsigned int stride = 0;
    const unsigned long long usage = kCameraUsage | (1ull << 48);  // wider than Lock's 32-bit usage
    ASSERT_EQ(m_handler->Allocate(48, 24, GET_HAL_PIXEL_FORMAT_RGBA_8888(), 3, usage, &handle, &stride, "order"), 0);
    ZelNativeHandleRo view(handle);
    EXPECT_EQ(view.GetInt(control::kHandleIntWidth), 48);
    EXPECT_EQ(view.GetInt(control::kHandleIntHeight), 24);
    EXPECT_EQ(view.GetInt(control::kHandleIntFormat), GET_HAL_PIXEL_FORMAT_RGBA_8888());
    EXPECT_EQ(view.GetInt(control::kHandleIntLayerCount), 3);
    EXPECT_EQ(static_cast<unsigned int>(view.GetInt(control::kHandleIntUsageLow)), static_cast<unsigned int>(usage));
    EXPECT_EQ(view.GetInt(control::kHandleIntUsageHigh), 1 << 16);
    EXPECT_EQ(static_cast<int>(stride), view.GetInt(control::kHandleIntStride));
    EXPECT_EQ(m_handler->Free(handle), 0);
}

// Both locks hand the mapper the caller's usage and region unchanged.
TEST_F(BufferHandlerTest, LocksForwardUsageAndRegion) {
    const native_handle* handle = Allocate(64, 32, GET_HAL_PIXEL_FORMAT_YCRCB_420_SP());
    auto lastRequest = [] {
        const control::LockRequest r = control::LastLockRequest();
        return std::vector<long long>{r.usage, r.left, r.top, r.right, r.bottom};
    };
    void* vaddr = nullptr;
    const unsigned int readOnly = GET_GRALLOC_USAGE_SW_READ_OFTEN();
    ASSERT_EQ(m_handler->Lock(handle, readOnly, ZelRect{3, 5, 40, 30}, &vaddr, nullptr, nullptr), 0);
    EXPECT_EQ(lastRequest(), (std::vector<long long>{readOnly, 3, 5, 40, 30}));
    EXPECT_EQ(m_handler->Unlock(handle), 0);
    ZelYCbCrLayout layout{};
    const unsigned int writeOnly = GET_GRALLOC_USAGE_SW_WRITE_OFTEN();
    ASSERT_EQ(m_handler->LockYCbCr(handle, writeOnly, ZelRect{7, 2, 64, 9}, &layout), 0);
    EXPECT_EQ(lastRequest(), (std::vector<long long>{writeOnly, 7, 2, 64, 9}));
    EXPECT_EQ(m_handler->Unlock(handle), 0);
    EXPECT_EQ(m_handler->Free(handle), 0);
}

TEST_F(BufferHandlerTest, LockedLayoutsAreClassified) {
    struct Case {
        const char* what;
        int format;
        int id;
    };
    const Case cases[] = {
        {"NV21", GET_HAL_PIXEL_FORMAT_YCRCB_420_SP(), 1},
        {"NV12 (flexible 420)", GET_HAL_PIXEL_FORMAT_YCBCR_420_888(), 0},
        {"YV12", GET_HAL_PIXEL_FORMAT_YV12(), 2},
        {"P010", GET_HAL_PIXEL_FORMAT_YCBCR_P010(), 5},
        {"YUYV", GET_HAL_PIXEL_FORMAT_YCBCR_422_I(), 5},
        // A luma plane without chroma planes is still a success.
        {"Y8", GET_HAL_PIXEL_FORMAT_Y8(), 1000},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const native_handle* handle = Allocate(64, 32, c.format);
        ZelYCbCrLayout layout{};
        EXPECT_EQ(m_handler->LockYCbCr(handle, kCpuUsage, ZelRect{0, 0, 64, 32}, &layout), 0);
        EXPECT_NE(layout.y, nullptr);
        EXPECT_EQ(layout.yuvFormat, c.id);
        EXPECT_EQ(layout.yuvFormat, IZelBufferHandler::FindYuvFormat(layout.cb, layout.cr, layout.chroma_step));
        EXPECT_EQ(m_handler->Unlock(handle), 0);
        EXPECT_EQ(m_handler->Free(handle), 0);
    }
}

TEST_F(BufferHandlerTest, FailedYCbCrLockLeavesLayoutUntouched) {
    const native_handle* handle = Allocate(64, 32, GET_HAL_PIXEL_FORMAT_YCRCB_420_SP());
    for (int status : {-22, 1}) {
        control::FailNextCall(control::Call::kLockYCbCr, status);
        int marker = 0;
        ZelYCbCrLayout layout{&marker, &marker, &marker, 7, 7, 7, 77};
        EXPECT_EQ(m_handler->LockYCbCr(handle, kCpuUsage, ZelRect{0, 0, 64, 32}, &layout), 1) << status;
        EXPECT_TRUE(layout.y == &marker && layout.cb == &marker && layout.cr == &marker) << status;
        EXPECT_TRUE(layout.ystride == 7 && layout.cstride == 7 && layout.chroma_step == 7 && layout.yuvFormat == 77);
    }
    // The mapper's own refusal: a region past the buffer's edge.
    ZelYCbCrLayout layout{};
    layout.yuvFormat = 77;
    EXPECT_EQ(m_handler->LockYCbCr(handle, kCpuUsage, ZelRect{0, 0, 65, 32}, &layout), 1);
    EXPECT_EQ(layout.yuvFormat, 77);
    EXPECT_EQ(control::LockedBufferCount(), 0);
    EXPECT_EQ(m_handler->Free(handle), 0);
}

// A lock that yields no plane is a failure, with the layout filled and the
// buffer left locked. A mapper that does not write the record at all shows
// that the handler hands it a zeroed one.
TEST_F(BufferHandlerTest, EmptyPlanesAreAFailureWithTheLayoutFilled) {
    struct Case {
        int format;
        bool silent;
        std::size_t step;
        int id;  // null Cb and Cr: equal addresses
    };
    const Case cases[] = {
        {GET_HAL_PIXEL_FORMAT_YV12(), false, 1, 3},
        {GET_HAL_PIXEL_FORMAT_YCRCB_420_SP(), false, 2, 1000},
        {GET_HAL_PIXEL_FORMAT_YCBCR_P010(), false, 4, 1000},
        {GET_HAL_PIXEL_FORMAT_YCRCB_420_SP(), true, 0, 1000},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.format);
        control::SetEmptyYCbCrPlanes(!c.silent);
        control::SetSilentYCbCrLock(c.silent);
        const native_handle* handle = Allocate(64, 32, c.format);
        int marker = 0;
        ZelYCbCrLayout layout{&marker, &marker, &marker, 7, 7, 7, 77};
        EXPECT_EQ(m_handler->LockYCbCr(handle, kCpuUsage, ZelRect{0, 0, 64, 32}, &layout), 1);
        EXPECT_TRUE(layout.y == nullptr && layout.cb == nullptr && layout.cr == nullptr);
        EXPECT_EQ(layout.chroma_step, c.step);
        EXPECT_EQ(layout.ystride >= 64u, !c.silent);
        EXPECT_EQ(layout.yuvFormat, c.id);
        EXPECT_EQ(control::LockedBufferCount(), 1) << "the handler does not unlock";
        EXPECT_EQ(m_handler->Unlock(handle), 0);
        EXPECT_EQ(m_handler->Free(handle), 0);
    }
}

TEST_F(BufferHandlerTest, AnyPlatformStatusButZeroIsOne) {
    const native_handle* handle = Allocate(16, 16, GET_HAL_PIXEL_FORMAT_RGBA_8888());
    const ZelRect all{0, 0, 16, 16};
    for (int status : {-22, 1, -12}) {
        SCOPED_TRACE(status);
        void* vaddr = &status;
        control::FailNextCall(control::Call::kLock, status);
        EXPECT_EQ(m_handler->Lock(handle, kCpuUsage, all, &vaddr, nullptr, nullptr), 1);
        EXPECT_EQ(vaddr, &status) << "out-pointers are written only by the platform";

        ASSERT_EQ(m_handler->Lock(handle, kCpuUsage, all, &vaddr, nullptr, nullptr), 0);
        control::FailNextCall(control::Call::kUnlock, status);
        EXPECT_EQ(m_handler->Unlock(handle), 1);
        EXPECT_EQ(m_handler->Unlock(handle), 0);

        const native_handle* other = nullptr;
        unsigned int stride = 99;
        control::FailNextCall(control::Call::kAllocate, status);
        EXPECT_EQ(m_handler->Allocate(8, 8, GET_HAL_PIXEL_FORMAT_RGBA_8888(), 1, kCameraUsage, &other, &stride, "t"),
                  1);
        EXPECT_EQ(other, nullptr);
        EXPECT_EQ(stride, 99u);

        control::FailNextCall(control::Call::kFree, status);
        EXPECT_EQ(m_handler->Free(handle), 1);
    }
    EXPECT_EQ(m_handler->Free(handle), 0);
}

TEST_F(BufferHandlerTest, AccessRegionPrefersTheBufferSize) {
    const native_handle* handle = Allocate(640, 480, GET_HAL_PIXEL_FORMAT_BLOB());
    const int blob = GET_HAL_PIXEL_FORMAT_BLOB(), raw = GET_HAL_PIXEL_FORMAT_RAW_OPAQUE();
    const int flexible = GET_HAL_PIXEL_FORMAT_YCBCR_420_888();
    struct Case {
        const native_handle* handle;
        int format;
        control::Call failing;  // kLock: none of the size queries fails
        int width, height;
    };
    const Case cases[] = {
        {handle, blob, control::Call::kLock, 640, 480},     {handle, raw, control::Call::kLock, 640, 480},
        {handle, flexible, control::Call::kLock, 640, 480}, {handle, flexible, control::Call::kGetHeight, 10, 20},
        {handle, blob, control::Call::kGetWidth, 30, 40},   {nullptr, blob, control::Call::kLock, 30, 40},
        {nullptr, raw, control::Call::kLock, 30, 40},       {nullptr, flexible, control::Call::kLock, 10, 20},
    };
    for (const Case& c : cases) {
        if (c.failing != control::Call::kLock) control::FailNextCall(c.failing, -22);
        const ZelRect r = m_handler->GetAccessRegion(c.handle, c.format, 10, 20, 30, 40);
        EXPECT_TRUE(r.left == 0 && r.top == 0 && r.right == c.width && r.bottom == c.height)
            << c.format << ": " << r.left << " " << r.top << " " << r.right << " " << r.bottom;
    }
    control::ResetControls();
    EXPECT_EQ(m_handler->Free(handle), 0);
}

TEST_F(BufferHandlerTest, HandlersShareOnePlatform) {
    std::unique_ptr<IZelBufferHandler> second(IZelBufferHandler::Create());
    EXPECT_NE(second.get(), m_handler.get());
    const native_handle* handle = Allocate(16, 16, GET_HAL_PIXEL_FORMAT_YCRCB_420_SP());
    ZelYCbCrLayout layout{};
    ASSERT_EQ(m_handler->LockYCbCr(handle, kCpuUsage, ZelRect{0, 0, 16, 16}, &layout), 0);
    EXPECT_EQ(second->Unlock(handle), 0);
    EXPECT_EQ(second->Free(handle), 0);
}

}  // namespace

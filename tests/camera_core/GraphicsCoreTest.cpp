// A camera core's view of the graphics family: constants, the handle reader
// and the buffer handler, through exported symbols and public headers only.
#include <cstdint>
#include <memory>

#include <gtest/gtest.h>

#include <android/buffer/IZelBufferHandler.h>
#include <android/buffer/ZelNativeHandleRo.h>
#include <android/constants/CameraConstants.h>
#include <android/constants/GrallocUsageConstants.h>
#include <android/constants/PixelFormatConstants.h>

using namespace zelkov;

namespace {

TEST(CameraCore, ConstantsArriveAtRunTime) {
    EXPECT_EQ(GET_CAMERA3_TEMPLATE_PREVIEW(), 1);
    EXPECT_EQ(GET_DEV_STATE_VENDOR_STATE_START(), 1ull << 32);
    EXPECT_EQ(GET_HAL_PIXEL_FORMAT_YCRCB_420_SP(), 0x11);
    EXPECT_EQ(GET_GRALLOC_USAGE_PRIVATE_MASK(), 0xF0000000u);
}

TEST(CameraCore, HandleReaderOnAnOpaqueHandle) {
    // The core has no native_handle layout: it hands the library a pointer.
    const int words[] = {12, 1, 2, 40, 640, 480};  // version, numFds, numInts, fd, ints
    ZelNativeHandleRo view(reinterpret_cast<const native_handle*>(words));
    EXPECT_EQ(view.GetNumFds(), 1);
    EXPECT_EQ(view.GetFd(0), 40);
    EXPECT_EQ(view.GetInt(1), 480);
    EXPECT_EQ(view.GetInt(2), -1024);
}

TEST(CameraCore, BufferHandlerAllocatesLocksAndClassifies) {
    std::unique_ptr<IZelBufferHandler> handler(IZelBufferHandler::Create());
    ASSERT_NE(handler, nullptr);
    const native_handle* handle = nullptr;
    unsigned int stride = 0;
    const unsigned int cpu = GET_GRALLOC_USAGE_SW_READ_OFTEN() | GET_GRALLOC_USAGE_SW_WRITE_OFTEN();
    ASSERT_EQ(handler->Allocate(320, 240, GET_HAL_PIXEL_FORMAT_YCRCB_420_SP(), 1, cpu, &handle, &stride, "core"), 0);
    ZelYCbCrLayout layout{};
    ASSERT_EQ(handler->LockYCbCr(handle, cpu, ZelRect{0, 0, 320, 240}, &layout), 0);
    EXPECT_EQ(layout.yuvFormat, IZelBufferHandler::FindYuvFormat(layout.cb, layout.cr, layout.chroma_step));
    EXPECT_EQ(layout.yuvFormat, 1);
    static_cast<std::uint8_t*>(layout.y)[0] = 16;
    EXPECT_EQ(handler->Unlock(handle), 0);
    const ZelRect region = handler->GetAccessRegion(handle, GET_HAL_PIXEL_FORMAT_BLOB(), 1, 1, 2, 2);
    EXPECT_EQ(region.right, 320);
    EXPECT_EQ(region.bottom, 240);
    EXPECT_EQ(handler->Free(handle), 0);
}

}  // namespace

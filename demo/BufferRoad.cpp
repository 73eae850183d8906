// A camera core's buffer road: allocate an NV21 preview buffer, lock it as
// YCbCr planes, write and read a pixel, classify the chroma arrangement of
// NV21 and NV12, and free both buffers.
#include <cstdint>
#include <cstdio>
#include <memory>

#include <android/buffer/IZelBufferHandler.h>
#include <android/buffer/ZelNativeHandleRo.h>
#include <android/constants/GrallocUsageConstants.h>
#include <android/constants/PixelFormatConstants.h>
#include <zelkov_platform/ui_control.h>

#include "Roads.h"

using namespace zelkov;

namespace {

// Allocates a 640x480 buffer, writes one Cb and one Cr sample through the
// YCbCr planes and reads them back as flat memory. Returns the classification
// id, or -1 when a step failed or the bytes did not land where the planes said.
int ClassifyFormat(IZelBufferHandler& handler, const char* name, int format, unsigned int usage) {
    const native_handle* handle = nullptr;
    unsigned int stride = 0;
    if (handler.Allocate(640, 480, format, 1, usage, &handle, &stride, "BufferRoad") != 0) return -1;
    ZelNativeHandleRo view(handle);
    std::printf("  %s 640x480: stride %u pixels, handle with %d fd and %d ints (%d bytes)\n", name, stride,
                view.GetNumFds(), view.GetNumInts(), view.GetInt(zelkov_platform::ui::kHandleIntByteSize));

    const ZelRect frame{0, 0, 640, 480};
    ZelYCbCrLayout layout{};
    int id = -1;
    if (handler.LockYCbCr(handle, usage, frame, &layout) == 0) {
        *static_cast<std::uint8_t*>(layout.cb) = 0xCB;
        *static_cast<std::uint8_t*>(layout.cr) = 0xC4;
        std::printf("  %s planes: ystride %zu, cstride %zu, chroma step %zu, yuvFormat %d\n", name, layout.ystride,
                    layout.cstride, layout.chroma_step, layout.yuvFormat);
        handler.Unlock(handle);

        void* vaddr = nullptr;
        if (handler.Lock(handle, usage, frame, &vaddr, nullptr, nullptr) == 0) {
            const std::uint8_t* pair = static_cast<const std::uint8_t*>(vaddr) + stride * 480;
            std::printf("  %s first chroma bytes after the luma plane: %02X %02X\n", name, pair[0], pair[1]);
            const bool crFirst = pair[0] == 0xC4 && pair[1] == 0xCB;
            const bool cbFirst = pair[0] == 0xCB && pair[1] == 0xC4;
            if ((layout.yuvFormat == 1 && crFirst) || (layout.yuvFormat == 0 && cbFirst)) id = layout.yuvFormat;
            handler.Unlock(handle);
        }
    }
    handler.Free(handle);
    return id;
}

bool RunBufferRoad() {
    std::unique_ptr<IZelBufferHandler> handler(IZelBufferHandler::Create());
    const unsigned int usage =
        GET_GRALLOC_USAGE_SW_READ_OFTEN() | GET_GRALLOC_USAGE_SW_WRITE_OFTEN() | GET_GRALLOC_USAGE_HW_CAMERA_WRITE();
    const int live = zelkov_platform::ui::LiveBufferCount();

    bool ok = DemoCheck(ClassifyFormat(*handler, "NV21", GET_HAL_PIXEL_FORMAT_YCRCB_420_SP(), usage) == 1,
                        "NV21 locks as interleaved chroma, Cr first (id 1)");
    ok &= DemoCheck(ClassifyFormat(*handler, "NV12", GET_HAL_PIXEL_FORMAT_YCBCR_420_888(), usage) == 0,
                    "flexible YCbCr 420 locks as NV12, Cb first (id 0)");

    const ZelRect region = handler->GetAccessRegion(nullptr, GET_HAL_PIXEL_FORMAT_BLOB(), 1920, 1080, 4096, 1);
    std::printf("  access region of an unknown BLOB buffer: %dx%d\n", region.right, region.bottom);
    ok &= DemoCheck(region.right == 4096 && region.bottom == 1, "BLOB without a known size uses the opaque size");
    ok &= DemoCheck(zelkov_platform::ui::LiveBufferCount() == live, "every buffer freed");
    return ok;
}

}  // namespace

ZELKOV_DEMO_ROAD(30, "graphics buffers: allocate, lock, classify", RunBufferRoad);

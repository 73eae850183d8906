#include "FrameRenderer.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>

#include <android/constants/GrallocUsageConstants.h>
#include <android/constants/PixelFormatConstants.h>
#include <android/wrappers/ZelCamera3Stream.h>

#include "JpegEncoder.h"
#include "PatternPainter.h"

namespace camera_core {
namespace {

constexpr int kFenceTimeoutMs = 3000;

void Paint(const PlaneView& view, const RenderRequest& request) {
    if (request.colorBars) {
        PatternPainter::PaintColorBars(view);
    } else {
        PatternPainter::PaintFrameNumber(view, request.frameNumber);
    }
}

// The producer waits for the consumer's acquire fence before writing.
bool WaitFence(int fence) {
    if (fence < 0) return true;
    pollfd fd{fence, POLLIN, 0};
    const bool signalled = poll(&fd, 1, kFenceTimeoutMs) == 1;
    close(fence);
    return signalled;
}

}  // namespace

FrameRenderer::FrameRenderer() : m_buffers(zelkov::IZelBufferHandler::Create()) {}

FrameRenderer::~FrameRenderer() = default;

bool FrameRenderer::Render(zelkov::ZelCamera3StreamBuffer& buffer, const RenderRequest& request) {
    const bool fenceOk = WaitFence(buffer.GetAcquireFence());
    buffer.SetAcquireFence(-1);
    if (!fenceOk || buffer.GetBuffer() == nullptr || *buffer.GetBuffer() == nullptr) return false;
    zelkov::ZelCamera3Stream stream(buffer.GetStream(), false);
    if (stream.GetFormat() == zelkov::GET_HAL_PIXEL_FORMAT_BLOB()) {
        return RenderJpeg(*buffer.GetBuffer(), stream.GetWidth(), stream.GetHeight(), request);
    }
    return RenderYuv(*buffer.GetBuffer(), stream.GetWidth(), stream.GetHeight(), request);
}

bool FrameRenderer::RenderYuv(const native_handle* handle, uint32_t width, uint32_t height,
                              const RenderRequest& request) {
    const zelkov::ZelRect region = m_buffers->GetAccessRegion(handle, zelkov::GET_HAL_PIXEL_FORMAT_YCBCR_420_888(),
                                                              static_cast<int>(width), static_cast<int>(height), 0, 0);
    zelkov::ZelYCbCrLayout layout{};
    layout.yuvFormat = -1;  // stays so only when the lock failed outright
    const unsigned int usage = static_cast<unsigned int>(zelkov::GET_GRALLOC_USAGE_SW_WRITE_OFTEN());
    if (m_buffers->LockYCbCr(handle, usage, region, &layout) != 0) {
        // A format without YUV planes locks without them: nothing to draw, but the lock holds.
        if (layout.yuvFormat != -1) m_buffers->Unlock(handle);
        return false;
    }
    const PlaneView view{static_cast<uint8_t*>(layout.y),
                         static_cast<uint8_t*>(layout.cb),
                         static_cast<uint8_t*>(layout.cr),
                         layout.ystride,
                         layout.cstride,
                         layout.chroma_step,
                         std::min<uint32_t>(width, static_cast<uint32_t>(region.right)),
                         std::min<uint32_t>(height, static_cast<uint32_t>(region.bottom))};
    Paint(view, request);
    m_buffers->Unlock(handle);
    return true;
}

bool FrameRenderer::RenderJpeg(const native_handle* handle, uint32_t width, uint32_t height,
                               const RenderRequest& request) {
    // Draw into a planar picture of our own, then compress into the blob.
    const size_t lumaSize = size_t{width} * height;
    const size_t chromaWidth = (width + 1) / 2;
    const size_t chromaSize = chromaWidth * ((height + 1) / 2);
    m_scratch.resize(lumaSize + 2 * chromaSize);
    const PlaneView picture{m_scratch.data(),
                            m_scratch.data() + lumaSize,
                            m_scratch.data() + lumaSize + chromaSize,
                            width,
                            chromaWidth,
                            1,
                            width,
                            height};
    Paint(picture, request);

    // The blob is as large as the buffer the framework allocated (normally
    // android.jpeg.maxSize bytes): its trailer goes at that buffer's end.
    const zelkov::ZelRect region =
        m_buffers->GetAccessRegion(handle, zelkov::GET_HAL_PIXEL_FORMAT_BLOB(), 0, 0, request.jpegMaxSize, 1);
    void* blob = nullptr;
    int bytesPerPixel = 0;
    int bytesPerStride = 0;
    const unsigned int usage = static_cast<unsigned int>(zelkov::GET_GRALLOC_USAGE_SW_WRITE_OFTEN());
    if (m_buffers->Lock(handle, usage, region, &blob, &bytesPerPixel, &bytesPerStride) != 0) return false;
    const size_t blobSize = size_t(region.right) * size_t(region.bottom);
    const bool ok = blob != nullptr && JpegEncoder::EncodeToBlob(picture, request.jpegQuality, request.exif,
                                                                 static_cast<uint8_t*>(blob), blobSize);
    m_buffers->Unlock(handle);
    return ok;
}

}  // namespace camera_core

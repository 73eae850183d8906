// Fills one output buffer of a frame: the test pattern for YUV streams, a
// JPEG of it for BLOB streams. Buffers are locked through the library's
// buffer handler.
#ifndef ZELKOV_CAMERA_CORE_FRAME_RENDERER_H
#define ZELKOV_CAMERA_CORE_FRAME_RENDERER_H

#include <cstdint>
#include <memory>
#include <vector>

#include <android/buffer/IZelBufferHandler.h>
#include <android/wrappers/ZelCamera3Request.h>

#include "JpegEncoder.h"

namespace camera_core {

struct RenderRequest {
    uint32_t frameNumber;
    bool colorBars;
    int jpegQuality;
    int32_t jpegMaxSize;
    JpegExif exif;
};

class FrameRenderer {
public:
    FrameRenderer();
    ~FrameRenderer();
    FrameRenderer(const FrameRenderer&) = delete;
    FrameRenderer& operator=(const FrameRenderer&) = delete;

    // Waits for the acquire fence, draws, and reports whether the buffer holds the frame.
    bool Render(zelkov::ZelCamera3StreamBuffer& buffer, const RenderRequest& request);

private:
    bool RenderYuv(const native_handle* handle, uint32_t width, uint32_t height, const RenderRequest& request);
    bool RenderJpeg(const native_handle* handle, uint32_t width, uint32_t height, const RenderRequest& request);

    std::unique_ptr<zelkov::IZelBufferHandler> m_buffers;
    std::vector<uint8_t> m_scratch;  // the picture a JPEG is made of
};

}  // namespace camera_core

#endif

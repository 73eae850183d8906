#ifndef ANDROID_UI_BUFFER_MAPPER_H
#define ANDROID_UI_BUFFER_MAPPER_H

#include <stdint.h>
#include <sys/types.h>

#include <cutils/native_handle.h>
#include <system/graphics.h>
#include <ui/PixelFormat.h>
#include <ui/Rect.h>
#include <utils/Errors.h>
#include <utils/Singleton.h>

namespace android {

// The process-wide mapper: locks graphics buffers for CPU access.
class GraphicBufferMapper : public Singleton<GraphicBufferMapper> {
public:
    static inline GraphicBufferMapper& get() { return getInstance(); }

    status_t lock(buffer_handle_t handle, uint32_t usage, const Rect& bounds, void** vaddr,
                  int32_t* outBytesPerPixel = nullptr, int32_t* outBytesPerStride = nullptr);
    status_t lockYCbCr(buffer_handle_t handle, uint32_t usage, const Rect& bounds, android_ycbcr* ycbcr);
    status_t unlock(buffer_handle_t handle);

    status_t getWidth(buffer_handle_t bufferHandle, uint64_t* outWidth);
    status_t getHeight(buffer_handle_t bufferHandle, uint64_t* outHeight);

protected:
    friend class Singleton<GraphicBufferMapper>;
    GraphicBufferMapper();
};

}  // namespace android

#endif

#ifndef ANDROID_BUFFER_ALLOCATOR_H
#define ANDROID_BUFFER_ALLOCATOR_H

#include <stdint.h>
#include <sys/types.h>

#include <string>

#include <cutils/native_handle.h>
#include <ui/PixelFormat.h>
#include <utils/Errors.h>
#include <utils/Singleton.h>

namespace android {

// The process-wide allocator of graphics buffers.
class GraphicBufferAllocator : public Singleton<GraphicBufferAllocator> {
public:
    static inline GraphicBufferAllocator& get() { return getInstance(); }

    // Writes the new buffer's handle and its stride in pixels.
    status_t allocate(uint32_t w, uint32_t h, PixelFormat format, uint32_t layerCount, uint64_t usage,
                      buffer_handle_t* handle, uint32_t* stride, std::string requestorName);
    status_t free(buffer_handle_t handle);

protected:
    friend class Singleton<GraphicBufferAllocator>;
    GraphicBufferAllocator();
};

}  // namespace android

#endif

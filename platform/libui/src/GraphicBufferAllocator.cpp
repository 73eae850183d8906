#include <ui/GraphicBufferAllocator.h>

#include "BufferStore.h"

namespace android {

ANDROID_SINGLETON_STATIC_INSTANCE(GraphicBufferAllocator)

using zelkov_platform::ui::BufferStore;

GraphicBufferAllocator::GraphicBufferAllocator() = default;

status_t GraphicBufferAllocator::allocate(uint32_t w, uint32_t h, PixelFormat format, uint32_t layerCount,
                                          uint64_t usage, buffer_handle_t* handle, uint32_t* stride,
                                          std::string /*requestorName*/) {
    return BufferStore::Instance().Allocate(w, h, format, layerCount, usage, handle, stride);
}

status_t GraphicBufferAllocator::free(buffer_handle_t handle) { return BufferStore::Instance().Free(handle); }

}  // namespace android

#include <ui/GraphicBufferMapper.h>

#include "BufferStore.h"

namespace android {

ANDROID_SINGLETON_STATIC_INSTANCE(GraphicBufferMapper)

using zelkov_platform::ui::BufferStore;

GraphicBufferMapper::GraphicBufferMapper() = default;

// The stand-in does not check usage bits against the buffer's allocation usage.
status_t GraphicBufferMapper::lock(buffer_handle_t handle, uint32_t /*usage*/, const Rect& bounds, void** vaddr,
                                   int32_t* outBytesPerPixel, int32_t* outBytesPerStride) {
    return BufferStore::Instance().Lock(handle, bounds, vaddr, outBytesPerPixel, outBytesPerStride);
}

status_t GraphicBufferMapper::lockYCbCr(buffer_handle_t handle, uint32_t /*usage*/, const Rect& bounds,
                                        android_ycbcr* ycbcr) {
    return BufferStore::Instance().LockYCbCr(handle, bounds, ycbcr);
}

status_t GraphicBufferMapper::unlock(buffer_handle_t handle) { return BufferStore::Instance().Unlock(handle); }

status_t GraphicBufferMapper::getWidth(buffer_handle_t bufferHandle, uint64_t* outWidth) {
    return BufferStore::Instance().GetWidth(bufferHandle, outWidth);
}

status_t GraphicBufferMapper::getHeight(buffer_handle_t bufferHandle, uint64_t* outHeight) {
    return BufferStore::Instance().GetHeight(bufferHandle, outHeight);
}

}  // namespace android

#include <ui/GraphicBufferMapper.h>

#include "BufferStore.h"

namespace android {

ANDROID_SINGLETON_STATIC_INSTANCE(GraphicBufferMapper)

using zelkov_platform::ui::BufferStore;

GraphicBufferMapper::GraphicBufferMapper() = default;

status_t GraphicBufferMapper::lock(buffer_handle_t handle, uint32_t usage, const Rect& bounds, void** vaddr,
                                   int32_t* outBytesPerPixel, int32_t* outBytesPerStride) {
    return BufferStore::Instance().Lock(handle, usage, bounds, vaddr, outBytesPerPixel, outBytesPerStride);
}

status_t GraphicBufferMapper::lockYCbCr(buffer_handle_t handle, uint32_t usage, const Rect& bounds,
                                        android_ycbcr* ycbcr) {
    return BufferStore::Instance().LockYCbCr(handle, usage, bounds, ycbcr);
}

status_t GraphicBufferMapper::unlock(buffer_handle_t handle) { return BufferStore::Instance().Unlock(handle); }

status_t GraphicBufferMapper::getWidth(buffer_handle_t bufferHandle, uint64_t* outWidth) {
    return BufferStore::Instance().GetDimension(zelkov_platform::ui::Call::kGetWidth, bufferHandle, outWidth);
}

status_t GraphicBufferMapper::getHeight(buffer_handle_t bufferHandle, uint64_t* outHeight) {
    return BufferStore::Instance().GetDimension(zelkov_platform::ui::Call::kGetHeight, bufferHandle, outHeight);
}

}  // namespace android

#ifndef ZELKOV_PLATFORM_UI_BUFFER_STORE_H
#define ZELKOV_PLATFORM_UI_BUFFER_STORE_H

#include <stdint.h>

#include <map>
#include <mutex>
#include <set>

#include <cutils/native_handle.h>
#include <system/graphics.h>
#include <ui/PixelFormat.h>
#include <ui/Rect.h>
#include <utils/Errors.h>
#include <zelkov_platform/ui_control.h>

#include "FormatLayout.h"

namespace zelkov_platform {
namespace ui {

// Every buffer of the process, shared by the mapper and the allocator. A
// buffer is a memfd of its byte size, mapped from allocation to free as the
// platform's mapper maps a buffer when it imports it, so lock and unlock cost
// the same whatever the size. Results are those of the platform's libui over
// a gralloc 5 mapper; misuse that the device answers with a crash or a read
// of freed memory aborts.
class BufferStore {
public:
    static BufferStore& Instance();

    android::status_t Allocate(uint32_t width, uint32_t height, android::PixelFormat format, uint32_t layerCount,
                               uint64_t usage, buffer_handle_t* outHandle, uint32_t* outStride);
    android::status_t Free(buffer_handle_t handle);

    android::status_t Lock(buffer_handle_t handle, uint32_t usage, const android::Rect& bounds, void** vaddr,
                           int32_t* outBytesPerPixel, int32_t* outBytesPerStride);
    android::status_t LockYCbCr(buffer_handle_t handle, uint32_t usage, const android::Rect& bounds,
                                android_ycbcr* ycbcr);
    android::status_t Unlock(buffer_handle_t handle);

    // getWidth and getHeight, by `call`.
    android::status_t GetDimension(Call call, buffer_handle_t handle, uint64_t* out);

    void FailNextCall(Call call, int status);
    void SetEmptyYCbCrPlanes(bool empty);
    void SetSilentYCbCrLock(bool silent);
    void ResetControls();
    int LiveBufferCount();
    int LockedBufferCount();
    LockRequest LastLockRequest();

private:
    struct Buffer {
        native_handle_t* handle;
        const FormatLayout* layout;
        uint32_t width;
        uint32_t height;
        uint32_t stride;
        uint64_t byteSize;
        uint64_t usage;
        int lockCount;     // locks nest, as in the platform's mappers
        uint8_t* mapping;  // from allocation to free
    };

    // Under m_lock: consumes a forced failure of `call`, if one is pending.
    bool TakeFailure(Call call, android::status_t* status);
    // The buffer of a handle given to the mapper, null when it was never
    // allocated; a null or freed handle aborts, naming `call`.
    Buffer* Find(buffer_handle_t handle, const char* call);
    // The mapper's lock: the status the platform's libui reports for it.
    android::status_t MapForLock(Buffer* buffer, uint32_t usage, const android::Rect& bounds);

    std::mutex m_lock;
    std::map<buffer_handle_t, Buffer> m_buffers;
    std::set<buffer_handle_t> m_freed;  // until the address is handed out again
    LockRequest m_lastLock{};
    std::map<Call, int> m_failures;
    bool m_emptyPlanes = false;
    bool m_silentYCbCrLock = false;
};

}  // namespace ui
}  // namespace zelkov_platform

#endif

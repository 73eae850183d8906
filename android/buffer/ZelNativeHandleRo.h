#ifndef ZELKOV_ANDROID_BUFFER_ZEL_NATIVE_HANDLE_RO_H
#define ZELKOV_ANDROID_BUFFER_ZEL_NATIVE_HANDLE_RO_H

#include <android/ZelExport.h>
#include <android/wrappers/Records.h>

namespace zelkov {

// A read-only view of a graphics buffer's native handle: its header and the
// file descriptors and integers it carries. The view never owns, changes or
// closes the handle; a null handle gives an unbound view that reads as empty.
class ZEL_EXPORT ZelNativeHandleRo {
public:
    ZelNativeHandleRo(const native_handle* handle);

    // 0 when unbound.
    int GetVersion();
    int GetNumFds();
    int GetNumInts();

    // -1024 for a negative index, an unbound view or an index past the count.
    int GetFd(int index);
    int GetInt(int index);

    const native_handle* GetHandle();
    void SetHandle(const native_handle* handle);

private:
    const native_handle* m_handle;
};

}  // namespace zelkov

#endif

#include <android/buffer/ZelNativeHandleRo.h>

#include <cutils/native_handle.h>

namespace zelkov {

namespace {
// The one error value of the indexed reads; a stored -1024 reads the same.
constexpr int kBadIndex = -1024;
}  // namespace

ZelNativeHandleRo::ZelNativeHandleRo(const native_handle* handle) : m_handle(handle) {}

int ZelNativeHandleRo::GetVersion() { return m_handle != nullptr ? m_handle->version : 0; }

int ZelNativeHandleRo::GetNumFds() { return m_handle != nullptr ? m_handle->numFds : 0; }

int ZelNativeHandleRo::GetNumInts() { return m_handle != nullptr ? m_handle->numInts : 0; }

int ZelNativeHandleRo::GetFd(int index) {
    if (index < 0 || m_handle == nullptr || index >= m_handle->numFds) return kBadIndex;
    return m_handle->data[index];
}

int ZelNativeHandleRo::GetInt(int index) {
    if (index < 0 || m_handle == nullptr || index >= m_handle->numInts) return kBadIndex;
    return m_handle->data[m_handle->numFds + index];
}

const native_handle* ZelNativeHandleRo::GetHandle() { return m_handle; }

void ZelNativeHandleRo::SetHandle(const native_handle* handle) { m_handle = handle; }

}  // namespace zelkov

#include <zelkov_platform/ui_control.h>

#include "BufferStore.h"

namespace zelkov_platform {
namespace ui {

void FailNextCall(Call call, int status) { BufferStore::Instance().FailNextCall(call, status); }
void SetEmptyYCbCrPlanes(bool empty) { BufferStore::Instance().SetEmptyYCbCrPlanes(empty); }
void SetSilentYCbCrLock(bool silent) { BufferStore::Instance().SetSilentYCbCrLock(silent); }
void ResetControls() { BufferStore::Instance().ResetControls(); }
int LiveBufferCount() { return BufferStore::Instance().LiveBufferCount(); }
int LockedBufferCount() { return BufferStore::Instance().LockedBufferCount(); }
LockRequest LastLockRequest() { return BufferStore::Instance().LastLockRequest(); }

}  // namespace ui
}  // namespace zelkov_platform

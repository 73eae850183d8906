#ifndef ZELKOV_PLATFORM_UI_CONTROL_H
#define ZELKOV_PLATFORM_UI_CONTROL_H

// Test control of the libui stand-in: forced failures, empty YCbCr planes, the
// last lock request, and counts of live and locked buffers. Controls are
// process-wide and thread-safe.

namespace zelkov_platform {
namespace ui {

enum class Call { kAllocate, kFree, kLock, kLockYCbCr, kUnlock, kGetWidth, kGetHeight };

// The next `call` returns `status` (non-zero) without doing anything or
// writing any out-parameter; later calls behave normally again. Unlock and
// free of the platform never fail: this stands for a vendor libui that does.
void FailNextCall(Call call, int status);

// While set, lockYCbCr locks as usual and fills strides and chroma step, but
// reports null y, cb and cr.
void SetEmptyYCbCrPlanes(bool empty);

// While set, lockYCbCr locks the buffer and reports success without writing
// the android_ycbcr at all, so the caller sees only what it put there.
void SetSilentYCbCrLock(bool silent);

// Drops pending failures and options; buffers stay as they are.
void ResetControls();

// Buffers allocated and not freed, and how many of them are locked.
int LiveBufferCount();
int LockedBufferCount();

// What the last lock or lockYCbCr call asked the mapper for, whatever its outcome.
struct LockRequest {
    unsigned int usage;
    int left, top, right, bottom;
};
LockRequest LastLockRequest();

// A handle made by allocate carries one file descriptor (the buffer's shared
// memory) followed by these integers.
enum HandleInt {
    kHandleIntWidth = 0,
    kHandleIntHeight,
    kHandleIntFormat,
    kHandleIntStride,  // in pixels
    kHandleIntUsageLow,
    kHandleIntUsageHigh,
    kHandleIntLayerCount,
    kHandleIntByteSize,
    kHandleIntCount
};

}  // namespace ui
}  // namespace zelkov_platform

#endif

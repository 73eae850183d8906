// Acquire fences of output buffers. The producer may write a buffer only once
// its consumer has signalled the fence; a fence that is not signalled in time,
// or cannot be waited on, fails that buffer alone.
#ifndef ZELKOV_CAMERA_CORE_FENCE_H
#define ZELKOV_CAMERA_CORE_FENCE_H

namespace camera_core {

enum class FenceWait {
    kSignalled,  // or no fence at all (-1)
    kTimedOut,
    kError,    // the fence reports an error: the consumer never released the buffer
    kInvalid,  // not an open file descriptor
};

// Waits up to timeoutMs (0: only looks) without closing the fence.
FenceWait WaitFence(int fence, int timeoutMs);

// The release fence of a buffer returned unwritten after a wait: camera3 hands
// the acquire fence back unless it was waited on (the waiter closed it), so the
// framework's consumer keeps its claim; a descriptor that is not open has
// nothing to hand back.
int ReleaseFenceFor(int acquireFence, FenceWait wait);

}  // namespace camera_core

#endif

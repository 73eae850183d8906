#include "Fence.h"

#include <poll.h>

#include <cerrno>

namespace camera_core {

FenceWait WaitFence(int fence, int timeoutMs) {
    if (fence < 0) return FenceWait::kSignalled;
    pollfd fd{fence, POLLIN, 0};
    int ready;
    do {
        ready = poll(&fd, 1, timeoutMs);
    } while (ready < 0 && errno == EINTR);
    if (ready == 0) return FenceWait::kTimedOut;
    if (ready < 0 || (fd.revents & POLLNVAL) != 0) return FenceWait::kInvalid;
    if ((fd.revents & POLLERR) != 0 || (fd.revents & POLLIN) == 0) return FenceWait::kError;
    return FenceWait::kSignalled;
}

int ReleaseFenceFor(int acquireFence, FenceWait wait) {
    return wait == FenceWait::kSignalled || wait == FenceWait::kInvalid ? -1 : acquireFence;
}

}  // namespace camera_core

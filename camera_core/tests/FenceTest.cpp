// Acquire fences: waited on with a bound, an unusable fence is an error, and
// what goes back as the release fence of a buffer returned unwritten.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include "Fence.h"

namespace camera_core {
namespace {

TEST(FenceTest, WaitsAreBoundedAndUnusableFencesAreErrors) {
    int unsignalled[2];
    int signalled[2];
    ASSERT_EQ(pipe(unsignalled), 0);
    ASSERT_EQ(pipe(signalled), 0);
    ASSERT_EQ(write(signalled[1], "x", 1), 1);
    int broken[2];  // the write end of a pipe without reader polls as an error
    ASSERT_EQ(pipe(broken), 0);
    close(broken[0]);
    const int notOpen = 1000;
    ASSERT_EQ(fcntl(notOpen, F_GETFD), -1);
    const struct {
        const char* what;
        int fence;
        FenceWait wait;
        int release;  // what goes back with an unwritten buffer
    } kCases[] = {
        {"no fence", -1, FenceWait::kSignalled, -1},
        {"signalled: the waiter closes it", signalled[0], FenceWait::kSignalled, -1},
        {"never signalled: handed back", unsignalled[0], FenceWait::kTimedOut, unsignalled[0]},
        {"in error: handed back", broken[1], FenceWait::kError, broken[1]},
        {"not an open descriptor", notOpen, FenceWait::kInvalid, -1},
    };
    for (const auto& c : kCases) {
        const FenceWait wait = WaitFence(c.fence, 20);
        EXPECT_EQ(wait, c.wait) << c.what;
        EXPECT_EQ(ReleaseFenceFor(c.fence, wait), c.release) << c.what;
    }
    // A waited-on fence is not closed by the wait.
    EXPECT_NE(fcntl(signalled[0], F_GETFD), -1);
    for (int fd : {unsignalled[0], unsignalled[1], signalled[0], signalled[1], broken[1]}) close(fd);
}

}  // namespace
}  // namespace camera_core

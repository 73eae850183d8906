#ifndef HAL3_CHECK_ISOLATION_H
#define HAL3_CHECK_ISOLATION_H
// Runs every scenario in a process of its own, as Android keeps a camera HAL
// out of the camera service: a module that crashes or never returns from a
// call ends only that process, and its scenario fails with a finding naming
// the call. The parent holds no module and no thread, so it forks without
// exec (re-exec is unreliable under qemu user emulation); a child loads the
// module afresh, runs one scenario, and ends when it ends.

#include <string>
#include <vector>

namespace hal3_check {

// Bound on any single call into the module before it counts as hung.
int HalCallBoundMs();

// Loads and starts the module in a child and reports its camera count (or
// -1 with *error set). Warnings the camera service would only log go to
// *warnings.
int FindCameras(std::string* error, std::vector<std::string>* warnings);

// Installs the gtest listener that forks each scenario, replays the child's
// findings into the parent's test, and adds a finding when the child died.
void IsolateScenarios();

struct RunTotals {
    int runs = 0, failed = 0, skipped = 0;
};
// Scenario runs over every --gtest_repeat iteration.
RunTotals Totals();

}  // namespace hal3_check

#endif  // HAL3_CHECK_ISOLATION_H

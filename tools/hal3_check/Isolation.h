#ifndef HAL3_CHECK_ISOLATION_H
#define HAL3_CHECK_ISOLATION_H
// Runs every scenario in a process of its own, as Android keeps a camera HAL
// out of the camera service: a module that crashes or never returns from a
// call ends only that process, and its scenario fails with a finding naming
// the call. The parent holds no module and no thread, so it forks without
// exec (re-exec is unreliable under qemu user emulation); a child loads the
// module afresh, runs one scenario, and ends when it ends. The parent alone
// writes the report files and the verdict; a child's findings, trace lines
// and summaries come through the shared page, its stdout and stderr through
// pipes the parent relays as "module: ..." lines.

#include "Verdict.h"

#include <string>
#include <vector>

namespace hal3_check {

// Bound on any single call into the module before it counts as hung.
int HalCallBoundMs();

// Loads and starts the module in a child and reports its camera count (or
// -1 with *error set). Warnings the camera service would only log go to
// *warnings.
int FindCameras(std::string* error, std::vector<std::string>* warnings);

// Installs the gtest listener that forks each scenario and keeps the verdict
// (it replaces gtest's printer and JUnit writer).
void IsolateScenarios();

// A failure of the module before any scenario (loading, init, enumeration):
// the verdict is one failed case, Module.Start, carrying the finding.
void ReportModuleFailure(const std::string& finding);

// Scenario runs over every --gtest_repeat iteration.
RunTotals Totals();
// The checker itself failed (fork, pipes, its report files).
bool CheckerFailed();

}  // namespace hal3_check

#endif  // HAL3_CHECK_ISOLATION_H

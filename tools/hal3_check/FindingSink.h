#ifndef HAL3_CHECK_FINDING_SINK_H
#define HAL3_CHECK_FINDING_SINK_H
// Where the findings of one scenario go, from any thread: the rule's level
// decides failure or warning, each finding is written to the trace once, the
// first few failures reach the test, and, in a scenario's own process, every
// finding is encoded for the parent (Isolation.cpp).

#include "Finding.h"

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace hal3_check {

class FindingSink {
public:
    // Failures beyond this many reach only the trace (and a count).
    static constexpr size_t kShownFailures = 20;

    struct Hooks {
        std::function<void(const std::string&)> trace;  // one line per finding
        // A must finding, as the test sees it; `ends` when the scenario stops
        // with it (as gtest's ASSERT does).
        std::function<void(const Finding&, bool ends)> fail;
    };

    explicit FindingSink(Hooks hooks = {});
    void Add(Finding f) { Add(std::move(f), false); }
    // A finding the scenario cannot go on after.
    void AddEnding(Finding f) { Add(std::move(f), true); }

    // Every finding so far, in order.
    std::vector<Finding> findings() const;
    size_t failures() const;
    size_t warnings() const;

    // The scenario's sink, for findings of the device's entry points.
    static FindingSink* Current();
    static void SetCurrent(FindingSink* sink);
    // In a scenario's own process: where encoded findings go to the parent.
    static void SetParentChannel(std::function<void(const std::string&)> channel);
    // True on a thread while the fail hook runs: the test's own record of
    // the failure is a copy of what went to the parent.
    static bool Reporting();

private:
    void Add(Finding f, bool ends);

    const Hooks m_hooks;
    mutable std::mutex m_mutex;
    std::vector<Finding> m_findings;
    size_t m_failures = 0, m_warnings = 0;
};

}  // namespace hal3_check

#endif  // HAL3_CHECK_FINDING_SINK_H

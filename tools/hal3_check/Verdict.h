#ifndef HAL3_CHECK_VERDICT_H
#define HAL3_CHECK_VERDICT_H
// The run's verdict: GoogleTest-style lines on stdout and the JUnit XML
// (--gtest_output=xml:<file>). Scenarios run in processes of their own, so
// the parent keeps their results here, not in gtest's records of a test that
// never ran in it.

#include <cstdint>
#include <string>
#include <vector>

namespace hal3_check {

struct CasePart {
    enum Kind { kFailure, kSkip, kSuccess } kind;
    std::string file;
    int line;
    std::string message;
};

struct CaseResult {
    std::string suite, name;
    std::vector<CasePart> parts;
    int64_t elapsedMs = 0;
    bool Failed() const;
    bool Skipped() const;
};

struct RunTotals {
    int runs = 0, failed = 0, skipped = 0;
};

class Verdict {
public:
    void BeginIteration() { m_cases.clear(); }
    void Start(const std::string& suite, const std::string& name);
    void End(const CaseResult& result);
    // The closing lines of an iteration: counts and the failed cases.
    void EndIteration(int64_t elapsedMs) const;
    // The last iteration's cases as JUnit XML at the path --gtest_output
    // names, if any. False when the file could not be written.
    bool WriteJunit() const;
    // Scenario runs over every --gtest_repeat iteration.
    const RunTotals& totals() const { return m_totals; }

private:
    std::vector<CaseResult> m_cases;
    RunTotals m_totals;
};

}  // namespace hal3_check

#endif  // HAL3_CHECK_VERDICT_H

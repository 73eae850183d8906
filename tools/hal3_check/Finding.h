#ifndef HAL3_CHECK_FINDING_H
#define HAL3_CHECK_FINDING_H
// One broken rule, as a value: which rule, the frame it concerns, what was
// seen. It is formatted as "[rule <id>] frame <n>: <detail>" only for people
// (gtest output, trace.txt), and crosses from a scenario's process to the
// parent in a compact record of its own.

#include "Rules.h"

#include <cstdint>
#include <string>

namespace hal3_check {

constexpr int64_t kNoFrame = -1;

struct Finding {
    RuleId rule;
    int64_t frame = kNoFrame;
    std::string detail;
};

Level LevelOf(const Finding& f);
std::string Text(const Finding& f);
// "<rule index> <frame> <detail>": the parent and the scenario's process are
// one binary, so the index names the same rule on both sides.
std::string Encode(const Finding& f);
// False for a record that is not one of Encode's.
bool Decode(const std::string& record, Finding* f);

}  // namespace hal3_check

#endif  // HAL3_CHECK_FINDING_H

#ifndef HAL3_CHECK_RULES_H
#define HAL3_CHECK_RULES_H
// The rules a camera HAL module is held to, in one table: each finding of the
// tool names one of them as "[rule <id>]". A "must" rule is one Android's
// camera service enforces (it fails the device or rejects the call); a
// "should" rule is one camera3.h recommends and the service tolerates: it is
// reported as a warning and does not fail the scenario.

#include <string>
#include <string_view>
#include <vector>

namespace hal3_check {

enum class Level { kMust, kShould };

struct Rule {
    const char* id;
    Level level;
    const char* source;  // the camera3.h sentence or camera service behaviour it comes from
    const char* check;   // what the tool checks
};

const std::vector<Rule>& AllRules();
// The rule of `id`, or null.
const Rule* FindRule(std::string_view id);
// "[rule <id>] <detail>"; an id missing from the table is a bug of the tool
// (a test scans the sources for them) and aborts.
std::string Finding(std::string_view id, const std::string& detail);
// True when `finding` names a "should" rule.
bool IsWarning(const std::string& finding);
// The table as Markdown, as README.md shows it.
std::string RulesMarkdown();

}  // namespace hal3_check

#endif  // HAL3_CHECK_RULES_H

#ifndef HAL3_CHECK_RULES_H
#define HAL3_CHECK_RULES_H
// The rules a camera HAL module is held to, in one table (Rules.def): each
// finding of the tool names one of them. The camera service's reaction sets
// the level: a "must" rule is one whose breach fails the device or the
// request; a "should" rule is one the service only logs, reported as a
// warning that does not fail the scenario.

#include <cstddef>
#include <string>

namespace hal3_check {

enum class Level { kMust, kShould };

enum class RuleId {
#define HAL3_CHECK_RULE(name, id, level, source, reaction, check) name,
#include "Rules.def"
#undef HAL3_CHECK_RULE
};

struct Rule {
    RuleId rule;
    const char* name;  // the enumerator's name, as written in Rules.def
    const char* id;
    Level level;
    const char* source;    // the camera3.h sentence or platform definition it comes from
    const char* reaction;  // what the camera service does when a module breaks it
    const char* check;     // what the tool checks
};

// The rows in table order, for range-for.
struct RuleTable {
    const Rule* first;
    size_t count;
    const Rule* begin() const { return first; }
    const Rule* end() const { return first + count; }
};
RuleTable AllRules();
const Rule& RuleOf(RuleId rule);
// The rule of `id`, or null.
const Rule* FindRule(const std::string& id);
// The table as Markdown, as README.md shows it.
std::string RulesMarkdown();

}  // namespace hal3_check

#endif  // HAL3_CHECK_RULES_H

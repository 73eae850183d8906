#include "Rules.h"

namespace hal3_check {

namespace {

constexpr Level M = Level::kMust, S = Level::kShould;

constexpr Rule kRules[] = {
#define HAL3_CHECK_RULE(name, id, level, source, reaction, check) \
    {RuleId::name, #name, id, level, source, reaction, check},
#include "Rules.def"
#undef HAL3_CHECK_RULE
};

constexpr size_t kCount = sizeof kRules / sizeof kRules[0];

// RuleOf indexes the table by enumerator.
constexpr bool InEnumOrder() {
    for (size_t i = 0; i < kCount; ++i)
        if (size_t(kRules[i].rule) != i) return false;
    return true;
}
static_assert(InEnumOrder(), "Rules.def rows and RuleId disagree");

}  // namespace

RuleTable AllRules() { return {kRules, kCount}; }

const Rule& RuleOf(RuleId rule) { return kRules[size_t(rule)]; }

const Rule* FindRule(const std::string& id) {
    for (const Rule& r : kRules)
        if (id == r.id) return &r;
    return nullptr;
}

std::string RulesMarkdown() {
    std::string t = "| rule | level | from | the camera service's reaction | checks |\n|---|---|---|---|---|\n";
    for (const Rule& r : kRules)
        t += std::string("| `") + r.id + "` | " + (r.level == Level::kMust ? "must" : "should") + " | " + r.source +
             " | " + r.reaction + " | " + r.check + " |\n";
    return t;
}

}  // namespace hal3_check

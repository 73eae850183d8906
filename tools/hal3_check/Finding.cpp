#include "Finding.h"

#include <cinttypes>
#include <cstdio>

namespace hal3_check {

Level LevelOf(const Finding& f) { return RuleOf(f.rule).level; }

std::string Text(const Finding& f) {
    std::string frame = f.frame >= 0 ? "frame " + std::to_string(f.frame) + ": " : "";
    return std::string("[rule ") + RuleOf(f.rule).id + "] " + frame + f.detail;
}

std::string Encode(const Finding& f) {
    return std::to_string(int(f.rule)) + " " + std::to_string(f.frame) + " " + f.detail;
}

bool Decode(const std::string& record, Finding* f) {
    unsigned rule = 0;
    int64_t frame = 0;
    int used = 0;
    if (sscanf(record.c_str(), "%u %" SCNd64 " %n", &rule, &frame, &used) != 2 || rule >= AllRules().count)
        return false;
    *f = Finding{RuleId(rule), frame, record.substr(size_t(used))};
    return true;
}

}  // namespace hal3_check

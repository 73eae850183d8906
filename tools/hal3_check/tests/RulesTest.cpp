// The rules table is the one source of rule ids: every id the tool's sources,
// its fault list and README use must be in it, and README's table is the
// table's own rendering. HAL3_CHECK_WRITE_README=1 rewrites that section.

#include "Finding.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

namespace hal3_check {
namespace {

namespace fs = std::filesystem;

const char kBegin[] = "<!-- rules table: generated from Rules.cpp -->\n";
const char kEnd[] = "<!-- end of rules table -->\n";

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Rule ids a source names in text ("[rule <id>]" literals) and the second word
// of each fault list entry; C++ names rules as RuleId enumerators, which the
// compiler checks.
std::set<std::string> UsedIds(const std::string& text, bool faultList) {
    std::set<std::string> ids;
    static const std::regex uses(R"re(\[rule ([a-z0-9][a-z0-9-]*)\])re");
    for (std::sregex_iterator it(text.begin(), text.end(), uses), end; it != end; ++it) ids.insert((*it)[1].str());
    if (faultList) {
        size_t begin = text.find("set(faults"), stop = text.find(')', begin);
        std::istringstream list(text.substr(begin, stop - begin));
        std::string line, fault, rule;
        std::getline(list, line);
        while (list >> fault >> rule)
            if (rule != "-") ids.insert(rule.substr(rule.rfind(':') + 1));  // "warning:<id>" names a should rule
    }
    return ids;
}

// The enumerator is the id in camel case ("3a-converge" is k3aConverge), so a
// row cannot pair one rule's enumerator with another's id.
std::string Enumerator(const std::string& id) {
    std::string name = "k";
    bool upper = true;
    for (char c : id) {
        if (c == '-') {
            upper = true;
            continue;
        }
        name += upper ? char(toupper(static_cast<unsigned char>(c))) : c;
        upper = false;
    }
    return name;
}

TEST(RulesTable, IdsAreUniqueAndDescribed) {
    std::set<std::string> seen;
    for (const Rule& r : AllRules()) {
        EXPECT_TRUE(seen.insert(r.id).second) << "duplicate id " << r.id;
        EXPECT_TRUE(std::regex_match(r.id, std::regex("[a-z0-9][a-z0-9-]*"))) << r.id;
        EXPECT_EQ(r.name, Enumerator(r.id));
        EXPECT_NE(std::string(r.source), "") << r.id;
        EXPECT_NE(std::string(r.check), "") << r.id;
    }
}

// The parent process reads the child's findings back from their records.
TEST(RulesTable, FindingsCrossProcessesIntact) {
    const Finding cases[] = {{RuleId::kBufferFifo, 7, "buffer came back  after frame 8's"},
                             {RuleId::kPartialKeyOnce, kNoFrame, ""}};
    for (const Finding& f : cases) {
        Finding back{};
        ASSERT_TRUE(Decode(Encode(f), &back)) << Encode(f);
        EXPECT_EQ(Text(back), Text(f));
    }
    Finding ignored{};
    EXPECT_FALSE(Decode("99999 1 x", &ignored));
    EXPECT_FALSE(Decode("P1", &ignored));
    EXPECT_EQ(Text(cases[0]), "[rule buffer-fifo] frame 7: buffer came back  after frame 8's");
}

TEST(RulesTable, EveryIdUsedByTheToolIsInTheTable) {
    std::set<std::string> used;
    for (const auto& entry : fs::recursive_directory_iterator(HAL3_CHECK_SOURCE_DIR)) {
        const fs::path& p = entry.path();
        std::string ext = p.extension().string(), name = p.filename().string();
        if (!entry.is_regular_file() || p.string().find("/build") != std::string::npos) continue;
        if (ext != ".cpp" && ext != ".h" && ext != ".c" && ext != ".def" && ext != ".cmake" && ext != ".md" &&
            name != "CMakeLists.txt")
            continue;
        std::string text = ReadFile(p);
        bool faultList = name == "CMakeLists.txt" && text.find("set(faults") != std::string::npos;
        for (const std::string& id : UsedIds(text, faultList)) {
            used.insert(id);
            EXPECT_NE(FindRule(id), nullptr) << p << " uses [rule " << id << "], which is not in Rules.cpp";
        }
    }
    // The scan itself works: the checker's own ids are among those found.
    EXPECT_TRUE(used.count("buffer-returned") && used.count("error-result-metadata"));
}

TEST(RulesTable, ReadmeShowsTheTable) {
    fs::path readme = fs::path(HAL3_CHECK_SOURCE_DIR) / "README.md";
    std::string text = ReadFile(readme);
    size_t begin = text.find(kBegin), end = text.find(kEnd);
    ASSERT_NE(begin, std::string::npos) << "README.md lacks the rules table markers";
    ASSERT_NE(end, std::string::npos);
    begin += sizeof kBegin - 1;
    std::string table = RulesMarkdown();
    if (getenv("HAL3_CHECK_WRITE_README") != nullptr) {
        text.replace(begin, end - begin, table);
        std::ofstream(readme) << text;
        return;
    }
    EXPECT_EQ(text.substr(begin, end - begin), table)
        << "README.md's rules table is stale: run hal3_check_tests with HAL3_CHECK_WRITE_README=1";
}

}  // namespace
}  // namespace hal3_check

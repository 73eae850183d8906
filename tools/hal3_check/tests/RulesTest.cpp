// The rules table is the one source of rule ids: every id the tool's sources,
// its run lists and README use is in it, every row is emitted, broken by a
// test and shown legal by one, and README's table is the table's own
// rendering. HAL3_CHECK_WRITE_README=1 rewrites that section.

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

const char kBegin[] = "<!-- rules table: generated from Rules.def -->\n";
const char kEnd[] = "<!-- end of rules table -->\n";

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

const fs::path kDir = HAL3_CHECK_SOURCE_DIR;

std::set<std::string> Matches(const std::string& text, const std::regex& pattern) {
    std::set<std::string> found;
    for (std::sregex_iterator it(text.begin(), text.end(), pattern), end; it != end; ++it) found.insert((*it)[1].str());
    return found;
}

// Ids in a space- or comma-separated list of quoted ids ("warn:" dropped).
std::set<std::string> Words(const std::set<std::string>& lists) {
    std::set<std::string> ids;
    for (const std::string& list : lists)
        for (const std::string& word : Matches(list, std::regex(R"((?:warn:)?([a-z0-9][a-z0-9-]*))"))) ids.insert(word);
    return ids;
}

// Where the tool names a rule: RuleId enumerators and "[rule <id>]" text.
std::set<std::string> EmittedIds(const std::string& text) {
    std::set<std::string> ids = Matches(text, std::regex(R"(\[rule ([a-z0-9][a-z0-9-]*)\])"));
    for (const std::string& name : Matches(text, std::regex(R"(RuleId::(k\w+))")))
        for (const Rule& r : AllRules())
            if (name == r.name) ids.insert(r.id);
    return ids;
}

// The runs of CMakeLists.txt's fault and module-mode lists: "<mode> <rule> ..."
// entries whose rule ("warning:<id>" for a should rule) the run must end in.
std::set<std::string> ModeIds(const std::string& cmake) {
    std::set<std::string> ids;
    static const std::regex list(R"(set\((faults|rogues)\n([^)]*)\))");
    for (std::sregex_iterator it(cmake.begin(), cmake.end(), list), end; it != end; ++it) {
        std::istringstream lines((*it)[2].str());
        std::string line, mode, rule;
        while (std::getline(lines, line)) {
            std::istringstream words(line);
            if (words >> mode >> rule && rule != "-" && rule != "*") ids.insert(rule.substr(rule.rfind(':') + 1));
        }
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
        EXPECT_NE(std::string(r.reaction), "") << r.id;
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

// Every row is emitted by the tool, broken by a test case (a row of
// ResultCheckerTest's or CallPathTest's tables, a core fault or a rogue mode
// of the plain module) and shown legal by one: a twin in ResultCheckerTest's
// tables, or, for a rule the scenarios emit, the full run against the plain
// module, which must pass.
TEST(RulesTable, EveryRowIsEmittedBrokenAndPassed) {
    std::set<std::string> emitted, scenarioEmitted, used;
    for (const auto& entry : fs::recursive_directory_iterator(kDir)) {
        const fs::path& p = entry.path();
        std::string ext = p.extension().string(), name = p.filename().string();
        if (!entry.is_regular_file() || p.lexically_relative(kDir).string().rfind("build", 0) == 0) continue;
        if (ext != ".cpp" && ext != ".h" && ext != ".c" && ext != ".cmake" && ext != ".md" && name != "CMakeLists.txt")
            continue;
        std::string text = ReadFile(p);
        // Every id named in text is in the table.
        for (const std::string& id : Matches(text, std::regex(R"(\[rule ([a-z0-9][a-z0-9-]*)\])")))
            EXPECT_NE(FindRule(id), nullptr) << p << " names [rule " << id << "], which is not in Rules.def";
        if (p.parent_path().filename() == "tests" || (ext != ".cpp" && ext != ".h")) continue;
        std::set<std::string> ids = EmittedIds(text);
        emitted.insert(ids.begin(), ids.end());
        if (name != "ResultChecks.cpp" && name != "ResultChecker.cpp" && name != "Metadata.cpp")
            scenarioEmitted.insert(ids.begin(), ids.end());
    }
    const std::string tests = ReadFile(kDir / "tests" / "ResultCheckerTest.cpp");
    const std::string cmake = ReadFile(kDir / "CMakeLists.txt");
    std::set<std::string> broken = Words(Matches(
                              tests,
                              std::regex(
                                  R"re(\{\s*("(?:warn:)?[a-z0-9-]+"(?:\s*,\s*"(?:warn:)?[a-z0-9-]+")*)\s*\}\s*\})re"))),
                          legal = Words(Matches(tests, std::regex(R"re(\{\}\s*,\s*((?:"[a-z0-9 -]+"\s*)+)\})re")));
    for (const std::string& id : ModeIds(cmake)) broken.insert(id);
    // CallPathTest's rows end in the rules they expect flagged.
    for (const std::string& flagged :
         Matches(ReadFile(kDir / "tests" / "CallPathTest.cpp"), std::regex(R"(\{(RuleId::k\w+)\}\s*\})")))
        for (const std::string& id : EmittedIds(flagged)) broken.insert(id);
    const bool plainRunPasses = cmake.find("-DRULE=- -DFILTER=*") != std::string::npos;
    size_t rows = 0;
    for (const Rule& r : AllRules()) {
        ++rows;
        bool covered = emitted.count(r.id) && broken.count(r.id) &&
                       (legal.count(r.id) || (plainRunPasses && scenarioEmitted.count(r.id)));
        EXPECT_TRUE(covered) << r.id << (emitted.count(r.id) ? "" : " is emitted nowhere")
                             << (broken.count(r.id) ? "" : " has no violating case")
                             << (legal.count(r.id) || scenarioEmitted.count(r.id) ? "" : " has no legal twin");
    }
    // The scans themselves work.
    EXPECT_GT(broken.size(), rows / 2);
    EXPECT_GT(legal.size(), rows / 3);
}

TEST(RulesTable, ReadmeShowsTheTable) {
    fs::path readme = kDir / "README.md";
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

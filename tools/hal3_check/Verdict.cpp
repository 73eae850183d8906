#include "Verdict.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <map>

namespace hal3_check {

namespace {

// A module's text may hold anything: XML 1.0 takes tab, newline and return
// among the control characters, nothing else.
std::string XmlText(const std::string& s) {
    std::string out;
    for (char c : s)
        if (static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r') out += c;
    return out;
}

std::string Attribute(const std::string& s) {
    std::string out;
    for (char c : XmlText(s)) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            case '\n': out += "&#x0A;"; break;
            default: out += c;
        }
    }
    return out;
}

std::string Cdata(const std::string& s) {
    std::string text = XmlText(s), out = "<![CDATA[";
    for (size_t at = 0;;) {
        size_t end = text.find("]]>", at);
        if (end == std::string::npos) return out + text.substr(at) + "]]>";
        out += text.substr(at, end + 2 - at) + "]]><![CDATA[";
        at = end + 2;
    }
}

std::string Where(const CasePart& p) {
    return p.file.empty() ? "unknown file" : p.line >= 0 ? p.file + ":" + std::to_string(p.line) : p.file;
}

std::string Seconds(int64_t ms) {
    char s[32];
    snprintf(s, sizeof s, "%.3f", double(ms) / 1000);
    return s;
}

}  // namespace

bool CaseResult::Failed() const {
    for (const auto& p : parts)
        if (p.kind == CasePart::kFailure) return true;
    return false;
}

bool CaseResult::Skipped() const {
    if (Failed()) return false;
    for (const auto& p : parts)
        if (p.kind == CasePart::kSkip) return true;
    return false;
}

void Verdict::Start(const std::string& suite, const std::string& name) {
    printf("[ RUN      ] %s.%s\n", suite.c_str(), name.c_str());
    fflush(stdout);
}

void Verdict::End(const CaseResult& r) {
    for (const auto& p : r.parts)
        if (p.kind != CasePart::kSuccess)
            printf("%s: %s\n%s\n", Where(p).c_str(), p.kind == CasePart::kSkip ? "Skipped" : "Failure",
                   p.message.c_str());
    const char* status = r.Failed() ? "[  FAILED  ]" : r.Skipped() ? "[  SKIPPED ]" : "[       OK ]";
    printf("%s %s.%s (%lld ms)\n", status, r.suite.c_str(), r.name.c_str(), static_cast<long long>(r.elapsedMs));
    fflush(stdout);
    m_totals.runs++;
    m_totals.failed += r.Failed();
    m_totals.skipped += r.Skipped();
    m_cases.push_back(r);
}

void Verdict::EndIteration(int64_t elapsedMs) const {
    int failed = 0, skipped = 0;
    for (const auto& c : m_cases) {
        failed += c.Failed();
        skipped += c.Skipped();
    }
    printf("[==========] %zu scenario(s) ran. (%lld ms total)\n", m_cases.size(), static_cast<long long>(elapsedMs));
    printf("[  PASSED  ] %zu\n", m_cases.size() - size_t(failed + skipped));
    if (skipped) printf("[  SKIPPED ] %d\n", skipped);
    for (const auto& c : m_cases)
        if (c.Failed()) printf("[  FAILED  ] %s.%s\n", c.suite.c_str(), c.name.c_str());
    fflush(stdout);
}

bool Verdict::WriteJunit() const {
    std::string output = GTEST_FLAG_GET(output);
    if (output.rfind("xml", 0) != 0) return true;
    std::string path = output.size() > 4 ? output.substr(4) : "test_detail.xml";
    if (path.back() == '/') path += "hal3_check.xml";
    std::map<std::string, std::vector<const CaseResult*>> suites;
    int failed = 0, skipped = 0;
    int64_t totalMs = 0;
    for (const auto& c : m_cases) {
        suites[c.suite].push_back(&c);
        failed += c.Failed();
        skipped += c.Skipped();
        totalMs += c.elapsedMs;
    }
    FILE* f = fopen(path.c_str(), "w");
    if (f == nullptr) return false;
    char stamp[32];
    time_t now = time(nullptr);
    strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%S", localtime(&now));
    fprintf(f,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites tests=\"%zu\" failures=\"%d\" skipped=\"%d\" "
            "disabled=\"0\" errors=\"0\" time=\"%s\" timestamp=\"%s\" name=\"hal3_check\">\n",
            m_cases.size(), failed, skipped, Seconds(totalMs).c_str(), stamp);
    for (const auto& [suite, cases] : suites) {
        int suiteFailed = 0, suiteSkipped = 0;
        int64_t suiteMs = 0;
        for (const CaseResult* c : cases) {
            suiteFailed += c->Failed();
            suiteSkipped += c->Skipped();
            suiteMs += c->elapsedMs;
        }
        fprintf(f,
                "  <testsuite name=\"%s\" tests=\"%zu\" failures=\"%d\" skipped=\"%d\" disabled=\"0\" errors=\"0\" "
                "time=\"%s\">\n",
                Attribute(suite).c_str(), cases.size(), suiteFailed, suiteSkipped, Seconds(suiteMs).c_str());
        for (const CaseResult* c : cases) {
            fprintf(f, "    <testcase name=\"%s\" status=\"run\" result=\"%s\" time=\"%s\" classname=\"%s\">\n",
                    Attribute(c->name).c_str(), c->Skipped() ? "skipped" : "completed", Seconds(c->elapsedMs).c_str(),
                    Attribute(suite).c_str());
            for (const auto& p : c->parts) {
                if (p.kind == CasePart::kSuccess) continue;
                std::string text = p.file.empty() ? p.message : Where(p) + "\n" + p.message;
                fprintf(f, "      <%s message=\"%s\">%s</%s>\n", p.kind == CasePart::kSkip ? "skipped" : "failure",
                        Attribute(text).c_str(), Cdata(text).c_str(),
                        p.kind == CasePart::kSkip ? "skipped" : "failure");
            }
            fprintf(f, "    </testcase>\n");
        }
        fprintf(f, "  </testsuite>\n");
    }
    fprintf(f, "</testsuites>\n");
    return fclose(f) == 0;
}

}  // namespace hal3_check

#include "Isolation.h"

#include "DeviceConnector.h"
#include "FindingSink.h"
#include "ModuleConnector.h"
#include "Options.h"
#include "Report.h"
#include "Watchdog.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>

// gtest keeps a test's results private to its runner and this friend. A
// scenario that passed in its child passes here only once the marker that
// kept the parent from running it is gone, and it took the child's time.
namespace testing::internal {
class TestResultAccessor {
public:
    static void ClearTestPartResults(TestResult* result) { result->ClearTestPartResults(); }
    static void SetElapsedTime(TestResult* result, TimeInMillis ms) { result->set_elapsed_time(ms); }
};
}  // namespace testing::internal

namespace hal3_check {

namespace {

constexpr char kFieldSep = '\x1f';

WatchPage& Page() {
    static WatchPage* page = [] {
        void* p = mmap(nullptr, sizeof(WatchPage), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (p == MAP_FAILED) {
            perror("hal3_check: mmap");
            _exit(2);
        }
        return new (p) WatchPage();
    }();
    return *page;
}

void ResetPage() {
    WatchPage& p = Page();
    p.call.store(0);
    p.sinceNs.store(0);
    p.callback.store(0);
    p.signal.store(0);
    p.finished.store(0);
    p.tableBytes.store(0);
    p.logBytes.store(0);
}

// Child side: one record per finding or fact, NUL-terminated, appended in order.
void Record(const std::string& record) {
    static std::mutex mutex;
    std::lock_guard<std::mutex> lock(mutex);
    WatchPage& p = Page();
    uint32_t at = p.logBytes.load();
    if (at + 1 >= sizeof p.log) return;  // full: later findings are lost, not the run
    size_t n = std::min(record.size(), sizeof p.log - at - 1);
    memcpy(p.log + at, record.data(), n);
    p.log[at + n] = '\0';
    p.logBytes.store(uint32_t(at + n + 1));
}

std::vector<std::string> Records() {
    WatchPage& p = Page();
    std::vector<std::string> out;
    uint32_t end = std::min<uint32_t>(p.logBytes.load(), sizeof p.log);
    for (uint32_t at = 0; at < end;) {
        out.emplace_back(p.log + at);
        at += uint32_t(out.back().size()) + 1;
    }
    return out;
}

std::vector<std::string> Split(const std::string& s) {
    std::vector<std::string> fields(1);
    for (char c : s) {
        if (c == kFieldSep)
            fields.emplace_back();
        else
            fields.back() += c;
    }
    return fields;
}

const int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
struct sigaction g_previous[sizeof kFatalSignals / sizeof kFatalSignals[0]];

// Notes the signal for the parent, then lets the handler before it (a
// sanitizer's report, or the default action) end the process.
void OnFatalSignal(int signal, siginfo_t* info, void* context) {
    int32_t none = 0;  // the first one: a sanitizer's report of it may end in abort()
    Page().signal.compare_exchange_strong(none, signal);
    for (size_t i = 0; i < sizeof kFatalSignals / sizeof kFatalSignals[0]; ++i) {
        if (kFatalSignals[i] != signal) continue;
        const struct sigaction& prev = g_previous[i];
        if ((prev.sa_flags & SA_SIGINFO) && prev.sa_sigaction != nullptr) {
            prev.sa_sigaction(signal, info, context);
        } else if (prev.sa_handler != SIG_DFL && prev.sa_handler != SIG_IGN) {
            prev.sa_handler(signal);
        } else {
            ::signal(signal, SIG_DFL);
            raise(signal);  // a fault re-executes on return and meets the default action
        }
        return;
    }
}

// Forks a child with a cleared record page (cleared before the fork, so a child
// that dies at once leaves nothing stale) and no buffered output to repeat.
pid_t ForkWatched() {
    fflush(stdout);
    fflush(stderr);
    ResetPage();
    return fork();
}

// Common start of every child: the record page, and fatal signals noted.
void BecomeWatched() {
    SetWatchPage(&Page());
    struct sigaction action {};
    action.sa_sigaction = OnFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    for (size_t i = 0; i < sizeof kFatalSignals / sizeof kFatalSignals[0]; ++i)
        sigaction(kFatalSignals[i], &action, &g_previous[i]);
}

void AddPart(::testing::TestPartResult::Type type, const char* file, int line, const std::string& message) {
    ::testing::internal::AssertHelper(type, file, line, message.c_str()) = ::testing::Message();
}

std::string SignalName(int signal) {
    switch (signal) {
        case SIGSEGV: return "SIGSEGV";
        case SIGBUS: return "SIGBUS";
        case SIGILL: return "SIGILL";
        case SIGFPE: return "SIGFPE";
        case SIGABRT: return "SIGABRT";
        case SIGKILL: return "SIGKILL";
        case SIGTERM: return "SIGTERM";
    }
    return "signal " + std::to_string(signal);
}

// How a child ended, as the parent saw it.
struct ChildEnd {
    bool finished = false;  // ran to its end and said so
    bool timedOut = false;
    int signal = 0, exitCode = 0;
    HalCall call = HalCall::kNone, callback = HalCall::kNone;
    std::vector<std::string> records;
    std::string table;
    int64_t elapsedMs = 0;

    Finding Crash() const {
        if (timedOut)
            return {
                RuleId::kHalCallTimeout, kNoFrame,
                std::string(HalCallName(call)) + " did not return within " + std::to_string(HalCallBoundMs()) + " ms"};
        std::string where = call != HalCall::kNone       ? std::string("during ") + HalCallName(call)
                            : callback != HalCall::kNone ? std::string("in ") + HalCallName(callback)
                                                         : "outside any HAL call (a thread of the module)";
        if (signal != 0)
            return {RuleId::kHalCrash, kNoFrame,
                    "the scenario's process died " + where + " of " + SignalName(signal) + " (signal " +
                        std::to_string(signal) + ")"};
        return {RuleId::kHalCrash, kNoFrame,
                "the scenario's process ended " + where + " with exit code " + std::to_string(exitCode) +
                    " before the scenario finished (exit() in the module, or a sanitizer report above)"};
    }
};

ChildEnd Watch(pid_t pid) {
    WatchPage& p = Page();
    const int64_t boundNs = int64_t(HalCallBoundMs()) * 1000000;
    ChildEnd end;
    const int64_t startNs = MonotonicNs();
    int status = 0;
    for (;;) {
        pid_t r = waitpid(pid, &status, WNOHANG);
        if (r == pid) break;
        if (r < 0 && errno != EINTR) {
            perror("hal3_check: waitpid");
            break;
        }
        auto call = HalCall(p.call.load());
        if (!end.timedOut && call != HalCall::kNone && MonotonicNs() - p.sinceNs.load() > boundNs) {
            end.timedOut = true;
            end.call = call;
            // The call's thread is stuck: the process cannot go on. It is
            // reaped by the polling above (a blocking wait for a killed child
            // does not return under qemu user emulation).
            kill(pid, SIGKILL);
        }
        usleep(10000);
    }
    end.elapsedMs = (MonotonicNs() - startNs) / 1000000;
    end.records = Records();
    end.finished = !end.timedOut && p.finished.load() != 0;
    if (!end.timedOut) end.call = HalCall(p.call.load());
    end.callback = HalCall(p.callback.load());
    end.signal = p.signal.load();
    if (end.signal == 0 && WIFSIGNALED(status)) end.signal = WTERMSIG(status);
    if (WIFEXITED(status)) end.exitCode = WEXITSTATUS(status);
    uint32_t n = std::min<uint32_t>(p.tableBytes.load(), sizeof p.table);
    end.table.assign(p.table, n);
    return end;
}

// Child end: what has been recorded stays for the parent.
[[noreturn]] void EndChild() {
    Page().finished.store(1);
    fflush(stdout);
    fflush(stderr);
    _exit(0);
}

// Loads and starts the module in a child; "" or what went wrong.
std::string StartModule(ModuleConnector& module) {
    std::string err = module.Load(options().module);
    if (err.empty()) err = module.Start();
    return err;
}

// Wraps gtest's printer: the parent prints every scenario's result once, as
// it replays it, and never the marker of a scenario that ran elsewhere.
class ScenarioIsolation : public ::testing::TestEventListener {
public:
    explicit ScenarioIsolation(::testing::TestEventListener* printer) : m_printer(printer) {}

    void OnTestProgramStart(const ::testing::UnitTest& u) override { m_printer->OnTestProgramStart(u); }
    void OnTestIterationStart(const ::testing::UnitTest& u, int i) override { m_printer->OnTestIterationStart(u, i); }
    void OnEnvironmentsSetUpStart(const ::testing::UnitTest& u) override { m_printer->OnEnvironmentsSetUpStart(u); }
    void OnEnvironmentsSetUpEnd(const ::testing::UnitTest& u) override { m_printer->OnEnvironmentsSetUpEnd(u); }
    void OnTestSuiteStart(const ::testing::TestSuite& s) override { m_printer->OnTestSuiteStart(s); }
    void OnTestSuiteEnd(const ::testing::TestSuite& s) override { m_printer->OnTestSuiteEnd(s); }
    void OnEnvironmentsTearDownStart(const ::testing::UnitTest& u) override {
        m_printer->OnEnvironmentsTearDownStart(u);
    }
    void OnEnvironmentsTearDownEnd(const ::testing::UnitTest& u) override { m_printer->OnEnvironmentsTearDownEnd(u); }
    void OnTestIterationEnd(const ::testing::UnitTest& u, int i) override { m_printer->OnTestIterationEnd(u, i); }
    void OnTestProgramEnd(const ::testing::UnitTest& u) override { m_printer->OnTestProgramEnd(u); }
    void OnTestDisabled(const ::testing::TestInfo& test) override { m_printer->OnTestDisabled(test); }

    void OnTestStart(const ::testing::TestInfo& test) override {
        m_printer->OnTestStart(test);
        pid_t pid = ForkWatched();
        if (pid == 0) {
            BecomeChild();
            return;  // gtest runs the scenario here
        }
        if (pid < 0) {
            AddPart(::testing::TestPartResult::kFatalFailure, nullptr, -1, std::string("fork: ") + strerror(errno));
            return;
        }
        ChildEnd end = Watch(pid);
        m_elapsedMs = end.elapsedMs;
        Replay(end, test);
    }

    void OnTestPartResult(const ::testing::TestPartResult& part) override {
        if (!m_child) {
            if (!m_markingRanElsewhere) m_printer->OnTestPartResult(part);
            return;
        }
        if (FindingSink::Reporting()) return;  // its finding went to the parent as it is
        std::string file = part.file_name() ? part.file_name() : "";
        Record("P" + std::to_string(int(part.type())) + kFieldSep + std::to_string(part.line_number()) + kFieldSep +
               file + kFieldSep + part.message());
    }

    void OnTestEnd(const ::testing::TestInfo& test) override {
        if (m_child) EndChild();
        auto* result = const_cast<::testing::TestResult*>(test.result());
        using Accessor = ::testing::internal::TestResultAccessor;
        if (m_ranElsewhere) Accessor::ClearTestPartResults(result);
        Accessor::SetElapsedTime(result, m_elapsedMs);
        m_ranElsewhere = false;
        m_totals.runs++;
        if (result->Failed())
            m_totals.failed++;
        else if (result->Skipped())
            m_totals.skipped++;
        m_printer->OnTestEnd(test);
    }

    RunTotals totals() const { return m_totals; }

private:
    void BecomeChild() {
        m_child = true;
        BecomeWatched();
        FindingSink::SetParentChannel([](const std::string& record) { Record("F" + record); });
        std::string err = StartModule(ModuleConnector::Get());
        if (!err.empty()) {
            Record("P" + std::to_string(int(::testing::TestPartResult::kFatalFailure)) + kFieldSep + "-1" + kFieldSep +
                   kFieldSep + err);
            EndChild();
        }
    }

    // Turns what the child recorded, and how it ended, into this test's result.
    void Replay(const ChildEnd& end, const ::testing::TestInfo& test) {
        using Part = ::testing::TestPartResult;
        struct Recorded {
            Part::Type type;
            int line;
            std::string file, message;
        };
        std::vector<Recorded> parts;
        size_t shown = 0;  // as the child's sink showed them
        for (const auto& r : end.records) {
            Finding finding{};
            if (r[0] == 'F' && Decode(r.substr(1), &finding) && LevelOf(finding) == Level::kMust &&
                shown++ < FindingSink::kShownFailures)
                parts.push_back({Part::kNonFatalFailure, -1, "", Text(finding)});
            std::vector<std::string> f = Split(r.substr(1));
            if (r[0] == 'P' && f.size() == 4)
                parts.push_back({Part::Type(std::stoi(f[0])), std::stoi(f[1]), f[2], f[3]});
        }
        size_t lastFailure = parts.size();
        bool skipped = false;
        for (size_t i = 0; i < parts.size(); ++i) {
            if (parts[i].type == Part::kNonFatalFailure || parts[i].type == Part::kFatalFailure) lastFailure = i;
            skipped |= parts[i].type == Part::kSkip;
        }
        bool failed = !end.finished || lastFailure < parts.size();
        for (size_t i = 0; i < parts.size(); ++i) {
            // A fatal failure keeps gtest from running the test again here.
            Part::Type type = i == lastFailure && end.finished ? Part::kFatalFailure : parts[i].type;
            AddPart(type, parts[i].file.empty() ? nullptr : parts[i].file.c_str(), parts[i].line, parts[i].message);
        }
        std::string camera = test.value_param() ? test.value_param() : "";
        camera.erase(std::remove(camera.begin(), camera.end(), '"'), camera.end());
        std::string suite = test.test_suite_name();
        std::string scenario = suite.substr(suite.rfind('/') + 1);
        if (!end.finished) {
            std::string finding = Text(end.Crash());
            AddPart(::testing::TestPartResult::kFatalFailure, nullptr, -1, finding);
            char line[512];
            snprintf(line, sizeof line, "hal3_check: camera %s %-22s FAIL %s", camera.c_str(), suite.c_str(),
                     finding.c_str());
            Report::Get().Summary(line);
        } else if (!failed && !skipped) {
            m_markingRanElsewhere = true;
            AddPart(::testing::TestPartResult::kSkip, nullptr, -1, "ran in its own process");
            m_markingRanElsewhere = false;
            m_ranElsewhere = true;
        }
        if (failed && !end.table.empty()) {
            if (!end.finished)
                fprintf(stderr, "last in-flight table (camera %s, %s):\n%s", camera.c_str(), scenario.c_str(),
                        end.table.c_str());
            Report::Get().WriteFile("inflight_" + camera + "_" + scenario + ".txt",
                                    std::vector<uint8_t>(end.table.begin(), end.table.end()));
        }
    }

    std::unique_ptr<::testing::TestEventListener> m_printer;
    bool m_child = false;  // in a scenario's process: the parent prints
    bool m_ranElsewhere = false, m_markingRanElsewhere = false;
    int64_t m_elapsedMs = 0;  // of the scenario's child
    RunTotals m_totals;
};

ScenarioIsolation* g_isolation = nullptr;

}  // namespace

int HalCallBoundMs() { return std::max(5000, 2 * options().stallMs); }

int FindCameras(std::string* error, std::vector<std::string>* warnings) {
    pid_t pid = ForkWatched();
    if (pid == 0) {
        BecomeWatched();
        ModuleConnector& module = ModuleConnector::Get();
        std::string err = StartModule(module);
        if (!err.empty()) {
            Record("E" + err);
        } else {
            for (const auto& w : module.warnings()) Record("W" + w);
            Record("N" + std::to_string(module.NumberOfCameras()));
        }
        EndChild();
    }
    if (pid < 0) {
        *error = std::string("fork: ") + strerror(errno);
        return -1;
    }
    ChildEnd end = Watch(pid);
    if (!end.finished) {
        *error = Text(end.Crash());
        return -1;
    }
    int count = -1;
    for (const auto& r : end.records) {
        if (r[0] == 'E') *error = r.substr(1);
        if (r[0] == 'W') warnings->push_back(r.substr(1));
        if (r[0] == 'N') count = atoi(r.c_str() + 1);
    }
    constexpr int kMaxCameras = 256;  // a count beyond is a lie, not a phone
    if (error->empty() && (count < 0 || count > kMaxCameras))
        *error = Text({RuleId::kModuleCameras, kNoFrame, "get_number_of_cameras returned " + std::to_string(count)});
    return error->empty() ? count : -1;
}

void IsolateScenarios() {
    auto& listeners = ::testing::UnitTest::GetInstance()->listeners();
    g_isolation = new ScenarioIsolation(listeners.Release(listeners.default_result_printer()));
    listeners.Append(g_isolation);  // gtest owns it
}

RunTotals Totals() { return g_isolation ? g_isolation->totals() : RunTotals{}; }

}  // namespace hal3_check

#include "Isolation.h"

#include "DeviceConnector.h"
#include "FindingSink.h"
#include "ModuleConnector.h"
#include "Options.h"
#include "Report.h"
#include "Watchdog.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace hal3_check {

namespace {

constexpr char kFieldSep = '\x1f';
// Trace lines stop short of the page's end: findings and summaries still fit.
constexpr uint32_t kRecordReserve = 64 * 1024;

Verdict g_verdict;
bool g_checkerFailed = false;
// The checker's own stderr; in a child, apart from the module's relayed one.
int g_checkerErr = STDERR_FILENO;

// The checker cannot go on: it says so and ends with its own exit code.
[[noreturn]] void CheckerFailure(const char* what) {
    dprintf(g_checkerErr, "hal3_check: %s: %s\n", what, strerror(errno));
    _exit(3);
}

WatchPage& Page() {
    static WatchPage* page = [] {
        void* p = mmap(nullptr, sizeof(WatchPage), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (p == MAP_FAILED) CheckerFailure("mmap");
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
    p.scenarioThread = p.crashThread = 0;
    p.crashThreadName[0] = p.crashFrame[0] = '\0';
    p.tableBytes.store(0);
    p.logBytes.store(0);
}

// Child side: one record per finding or fact, NUL-terminated, appended in
// order; its first character says what it is.
void Record(const std::string& record) {
    static std::mutex mutex;
    std::lock_guard<std::mutex> lock(mutex);
    WatchPage& p = Page();
    uint32_t at = p.logBytes.load();
    uint32_t room = sizeof p.log - at - 1;
    if (at + 1 >= sizeof p.log || (record[0] == 'T' && room < kRecordReserve)) return;
    size_t n = std::min<size_t>(record.size(), room);
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
uintptr_t g_moduleBase = 0, g_checkerBase = 0;  // load addresses, for the crash site

uintptr_t FaultPc(void* context) {
    const mcontext_t& m = static_cast<ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
    return uintptr_t(m.gregs[REG_RIP]);
#elif defined(__i386__)
    return uintptr_t(m.gregs[REG_EIP]);
#elif defined(__arm__)
    return uintptr_t(m.arm_pc);
#elif defined(__aarch64__)
    return uintptr_t(m.pc);
#else
    (void)m;
    return 0;
#endif
}

// Names the first frame, from the faulting one outwards, that lies in the
// module or in the checker: library frames (libc, libui) say little.
void NoteCrashSite(WatchPage& p, void* context) {
    p.crashThread = int32_t(syscall(SYS_gettid));
    prctl(PR_GET_NAME, p.crashThreadName);
    void* frames[48];
    int n = backtrace(frames, 48);
    uintptr_t pc = FaultPc(context);
    int first = 0;  // the faulting frame's place in the backtrace, past the handler's own
    while (first < n && uintptr_t(frames[first]) != pc) ++first;
    if (first == n) {
        frames[0] = reinterpret_cast<void*>(pc);
        n = 1, first = 0;
    }
    for (int i = first; i < n; ++i) {
        Dl_info info{};
        if (dladdr(frames[i], &info) == 0) continue;
        uintptr_t base = uintptr_t(info.dli_fbase);
        if (base != g_moduleBase && base != g_checkerBase) continue;
        const char* file = info.dli_fname ? strrchr(info.dli_fname, '/') : nullptr;
        file = file ? file + 1 : info.dli_fname ? info.dli_fname : "?";
        const char* owner = base == g_moduleBase ? "the module" : "the checker";
        if (info.dli_sname != nullptr)
            snprintf(p.crashFrame, sizeof p.crashFrame, "%s (%s, %s+0x%lx)", owner, file, info.dli_sname,
                     static_cast<unsigned long>(uintptr_t(frames[i]) - uintptr_t(info.dli_saddr)));
        else
            snprintf(p.crashFrame, sizeof p.crashFrame, "%s (%s+0x%lx)", owner, file,
                     static_cast<unsigned long>(uintptr_t(frames[i]) - base));
        return;
    }
}

// Notes the signal and where it struck for the parent, then lets the handler
// before it (a sanitizer's report, or the default action) end the process.
void OnFatalSignal(int signal, siginfo_t* info, void* context) {
    int32_t none = 0;  // the first one: a sanitizer's report of it may end in abort()
    if (Page().signal.compare_exchange_strong(none, signal)) NoteCrashSite(Page(), context);
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

// A child's stdout or stderr, relayed by the parent line by line as the
// module's output: nothing a module prints can pass for the checker's own.
struct Relay {
    int fd = -1;
    FILE* to = nullptr;
    std::string pending;

    // Reads what is there; at `end`, also the last unterminated line.
    void Pump(bool end) {
        char buf[4096];
        for (;;) {
            ssize_t n = read(fd, buf, sizeof buf);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            pending.append(buf, size_t(n));
        }
        size_t at = 0;
        for (size_t nl; (nl = pending.find('\n', at)) != std::string::npos; at = nl + 1)
            fprintf(to, "module: %s\n", pending.substr(at, nl - at).c_str());
        pending.erase(0, at);
        if (end && !pending.empty()) fprintf(to, "module: %s\n", pending.c_str());
        if (end) pending.clear();
        fflush(to);
    }
};

struct Child {
    pid_t pid = -1;
    Relay out, err;
};

// Forks a child with a cleared record page (cleared before the fork, so a
// child that dies at once leaves nothing stale), no buffered output to repeat,
// and its stdout and stderr on pipes to the parent.
Child ForkWatched() {
    fflush(nullptr);
    ResetPage();
    int out[2], err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) CheckerFailure("pipe");
    Child c;
    c.pid = fork();
    if (c.pid < 0) CheckerFailure("fork");
    if (c.pid == 0) {
        g_checkerErr = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
        dup2(out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        for (int fd : {out[0], out[1], err[0], err[1]}) close(fd);
        setvbuf(stdout, nullptr, _IOLBF, 0);
        return c;
    }
    close(out[1]);
    close(err[1]);
    fcntl(out[0], F_SETFL, O_NONBLOCK);
    fcntl(err[0], F_SETFL, O_NONBLOCK);
    c.out = {out[0], stdout, {}};
    c.err = {err[0], stderr, {}};
    return c;
}

// Common start of every child: the record page, and fatal signals noted.
void BecomeWatched() {
    WatchPage& page = Page();
    page.scenarioThread = int32_t(syscall(SYS_gettid));
    SetWatchPage(&page);
    WatchDescriptors({STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO, g_checkerErr});
    Report::Get().ForwardTo([](char kind, const std::string& line) { Record(kind + line); });
    void* warm[1];
    backtrace(warm, 1);  // loads the unwinder now, not in the signal handler
    Dl_info self{};
    if (dladdr(reinterpret_cast<void*>(&OnFatalSignal), &self) != 0) g_checkerBase = uintptr_t(self.dli_fbase);
    struct sigaction action {};
    action.sa_sigaction = OnFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    for (size_t i = 0; i < sizeof kFatalSignals / sizeof kFatalSignals[0]; ++i)
        sigaction(kFatalSignals[i], &action, &g_previous[i]);
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
    std::string thread, frame;  // where a fatal signal struck
    std::vector<std::string> records;
    std::string table;
    int64_t elapsedMs = 0;

    // `process` names the child ("the scenario's process").
    Finding Crash(const std::string& process) const {
        if (timedOut)
            return {
                RuleId::kHalCallTimeout, kNoFrame,
                std::string(HalCallName(call)) + " did not return within " + std::to_string(HalCallBoundMs()) + " ms"};
        std::string where = call != HalCall::kNone       ? std::string("during ") + HalCallName(call)
                            : callback != HalCall::kNone ? std::string("in ") + HalCallName(callback)
                                                         : "outside any HAL call";
        std::string site;
        if (!thread.empty()) site += ", " + thread;
        if (!frame.empty()) site += ", in " + frame;
        // A module built against other record layouts (AOSP's camera3.h)
        // reads the checker's streams and requests at the wrong offsets.
        std::string hint = call == HalCall::kConfigure || call == HalCall::kRequest
                               ? "; a likely cause is a module built against other camera headers than this "
                                 "platform's (record layouts differ: see README, Building a module)"
                               : "";
        if (signal != 0)
            return {RuleId::kHalCrash, kNoFrame,
                    process + " died " + where + " of " + SignalName(signal) + " (signal " + std::to_string(signal) +
                        ")" + site + hint};
        return {RuleId::kHalCrash, kNoFrame,
                process + " ended " + where + " with exit code " + std::to_string(exitCode) +
                    " before it finished (exit() in the module, or a sanitizer report above)" + hint};
    }
};

ChildEnd Watch(Child& child) {
    WatchPage& p = Page();
    const int64_t boundNs = int64_t(HalCallBoundMs()) * 1000000;
    ChildEnd end;
    const int64_t startNs = MonotonicNs();
    int64_t signalNs = 0;
    int status = 0;
    for (;;) {
        pid_t r = waitpid(child.pid, &status, WNOHANG);
        if (r == child.pid) break;
        if (r < 0 && errno != EINTR) CheckerFailure("waitpid");
        auto call = HalCall(p.call.load());
        int64_t now = MonotonicNs();
        if (!end.timedOut && call != HalCall::kNone && now - p.sinceNs.load() > boundNs) {
            end.timedOut = true;
            end.call = call;
            // The call's thread is stuck: the process cannot go on. It is
            // reaped by the polling above (a blocking wait for a killed child
            // does not return under qemu user emulation).
            kill(child.pid, SIGKILL);
        }
        // A handler that never returns (a fault inside the dynamic loader)
        // must not keep the run waiting either.
        if (p.signal.load() != 0 && signalNs == 0) signalNs = now;
        if (signalNs != 0 && now - signalNs > boundNs) kill(child.pid, SIGKILL);
        pollfd fds[2] = {{child.out.fd, POLLIN, 0}, {child.err.fd, POLLIN, 0}};
        poll(fds, 2, 10);
        child.out.Pump(false);
        child.err.Pump(false);
    }
    child.out.Pump(true);
    child.err.Pump(true);
    close(child.out.fd);
    close(child.err.fd);
    end.elapsedMs = (MonotonicNs() - startNs) / 1000000;
    end.records = Records();
    end.finished = !end.timedOut && p.finished.load() != 0;
    if (!end.timedOut) end.call = HalCall(p.call.load());
    end.callback = HalCall(p.callback.load());
    end.signal = p.signal.load();
    if (end.signal != 0 && p.crashThread != 0) {
        end.thread = p.crashThread == p.scenarioThread
                         ? "on the scenario's thread"
                         : "on thread " +
                               std::string(p.crashThreadName, strnlen(p.crashThreadName, sizeof p.crashThreadName)) +
                               " (tid " + std::to_string(p.crashThread) + "), not the scenario's";
        end.frame.assign(p.crashFrame, strnlen(p.crashFrame, sizeof p.crashFrame));
    }
    if (end.signal == 0 && WIFSIGNALED(status)) end.signal = WTERMSIG(status);
    if (WIFEXITED(status)) end.exitCode = WEXITSTATUS(status);
    uint32_t n = std::min<uint32_t>(p.tableBytes.load(), sizeof p.table);
    end.table.assign(p.table, n);
    return end;
}

// Child end: what has been recorded stays for the parent, with what came
// after the scenario: late callbacks, findings of the module's start.
[[noreturn]] void EndChild() {
    std::vector<Finding> after = DeviceConnector::UncountedLateCallbacks();
    for (auto& f : TakeUnsunkFindings()) after.push_back(std::move(f));
    for (const auto& f : after) {
        Report::Get().Trace((LevelOf(f) == Level::kMust ? "FAIL " : "WARN ") + Text(f));
        Record("F" + Encode(f));
    }
    Page().finished.store(1);
    fflush(nullptr);
    _exit(0);
}

// Loads and starts the module in a child; "" or what went wrong.
std::string StartModule(ModuleConnector& module) {
    std::string err = module.Load(options().module);
    if (module.module() != nullptr) {
        Dl_info info{};
        if (dladdr(module.module(), &info) != 0) g_moduleBase = uintptr_t(info.dli_fbase);
    }
    if (err.empty()) err = module.Start();
    return err;
}

std::string PartRecord(CasePart::Kind kind, int line, const std::string& file, const std::string& message) {
    return "P" + std::to_string(int(kind)) + kFieldSep + std::to_string(line) + kFieldSep + file + kFieldSep + message;
}

// Stops gtest from running in this process a scenario that ran in a child.
void RanElsewhere() { GTEST_SKIP() << "ran in its own process"; }

// Forks each scenario and keeps its verdict. gtest's own printer still prints
// the run's frame (iterations, suites); the scenarios' lines are the verdict's.
class ScenarioIsolation : public ::testing::EmptyTestEventListener {
public:
    explicit ScenarioIsolation(::testing::TestEventListener* printer) : m_printer(printer) {}

    void OnTestProgramStart(const ::testing::UnitTest& u) override { m_printer->OnTestProgramStart(u); }
    void OnTestIterationStart(const ::testing::UnitTest& u, int i) override {
        g_verdict.BeginIteration();
        m_printer->OnTestIterationStart(u, i);
    }
    void OnEnvironmentsSetUpStart(const ::testing::UnitTest& u) override { m_printer->OnEnvironmentsSetUpStart(u); }
    void OnTestSuiteStart(const ::testing::TestSuite& s) override { m_printer->OnTestSuiteStart(s); }
    void OnTestSuiteEnd(const ::testing::TestSuite& s) override { m_printer->OnTestSuiteEnd(s); }
    void OnEnvironmentsTearDownStart(const ::testing::UnitTest& u) override {
        m_printer->OnEnvironmentsTearDownStart(u);
    }
    void OnTestIterationEnd(const ::testing::UnitTest& u, int) override {
        g_verdict.EndIteration(int64_t(u.elapsed_time()));
    }
    void OnTestProgramEnd(const ::testing::UnitTest&) override {
        if (!g_verdict.WriteJunit()) {
            fprintf(stderr, "hal3_check: cannot write the JUnit report (%s)\n", GTEST_FLAG_GET(output).c_str());
            g_checkerFailed = true;
        }
    }

    void OnTestStart(const ::testing::TestInfo& test) override {
        g_verdict.Start(test.test_suite_name(), test.name());
        Child child = ForkWatched();
        if (child.pid == 0) {
            BecomeChild();
            return;  // gtest runs the scenario here
        }
        ChildEnd end = Watch(child);
        g_verdict.End(Replay(end, test));
        RanElsewhere();
    }

    void OnTestPartResult(const ::testing::TestPartResult& part) override {
        if (!m_child) return;                  // the parent's only part is the marker above
        if (FindingSink::Reporting()) return;  // its finding went to the parent as it is
        CasePart::Kind kind = part.skipped()  ? CasePart::kSkip
                              : part.failed() ? CasePart::kFailure
                                              : CasePart::kSuccess;
        Record(PartRecord(kind, part.line_number(), part.file_name() ? part.file_name() : "", part.message()));
    }

    void OnTestEnd(const ::testing::TestInfo&) override {
        if (m_child) EndChild();
    }

private:
    void BecomeChild() {
        m_child = true;
        BecomeWatched();
        FindingSink::SetParentChannel([](const std::string& record) { Record("F" + record); });
        std::string err = StartModule(ModuleConnector::Get());
        if (!err.empty()) {
            Record(PartRecord(CasePart::kFailure, -1, "", err));
            EndChild();
        }
    }

    // What the child recorded, and how it ended, as the scenario's result;
    // its trace lines and summary go to the report files on the way.
    CaseResult Replay(const ChildEnd& end, const ::testing::TestInfo& test) {
        CaseResult result{test.test_suite_name(), test.name(), {}, end.elapsedMs};
        size_t shown = 0;  // as the child's sink showed them
        for (const auto& r : end.records) {
            Finding finding{};
            if (r[0] == 'F' && Decode(r.substr(1), &finding) && LevelOf(finding) == Level::kMust &&
                shown++ < FindingSink::kShownFailures)
                result.parts.push_back({CasePart::kFailure, "", -1, Text(finding)});
            std::vector<std::string> f = Split(r.substr(1));
            if (r[0] == 'P' && f.size() == 4)
                result.parts.push_back({CasePart::Kind(std::stoi(f[0])), f[2], std::stoi(f[1]), f[3]});
            if (r[0] == 'T') Report::Get().Trace(r.substr(1));
            if (r[0] == 'S') Report::Get().Summary(r.substr(1));
        }
        std::string camera = test.value_param() ? test.value_param() : "";
        camera.erase(std::remove(camera.begin(), camera.end(), '"'), camera.end());
        std::string suite = test.test_suite_name();
        std::string scenario = suite.substr(suite.rfind('/') + 1);
        if (!end.finished) {
            std::string finding = Text(end.Crash("the scenario's process"));
            result.parts.push_back({CasePart::kFailure, "", -1, finding});
            char line[1024];
            snprintf(line, sizeof line, "hal3_check: camera %s %-22s FAIL %s", camera.c_str(), suite.c_str(),
                     finding.c_str());
            Report::Get().Summary(line);
        }
        if (result.Failed() && !end.table.empty()) {
            if (!end.finished)
                fprintf(stderr, "last in-flight table (camera %s, %s):\n%s", camera.c_str(), scenario.c_str(),
                        end.table.c_str());
            Report::Get().WriteFile("inflight_" + camera + "_" + scenario + ".txt",
                                    std::vector<uint8_t>(end.table.begin(), end.table.end()));
        }
        return result;
    }

    std::unique_ptr<::testing::TestEventListener> m_printer;
    bool m_child = false;  // in a scenario's process
};

}  // namespace

int HalCallBoundMs() { return std::max(5000, 2 * options().stallMs); }

int FindCameras(std::string* error, std::vector<std::string>* warnings) {
    Child child = ForkWatched();
    if (child.pid == 0) {
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
    ChildEnd end = Watch(child);
    if (!end.finished) {
        *error = Text(end.Crash("the module's process"));
        return -1;
    }
    long long count = -1;
    for (const auto& r : end.records) {
        Finding f{};
        if (r[0] == 'F' && Decode(r.substr(1), &f)) {
            if (LevelOf(f) == Level::kShould)
                warnings->push_back(Text(f));
            else if (error->empty())
                *error = Text(f);
        }
        if (r[0] == 'E' && error->empty()) *error = r.substr(1);
        if (r[0] == 'W') warnings->push_back(r.substr(1));
        if (r[0] == 'N') count = atoll(r.c_str() + 1);
    }
    constexpr int kMaxCameras = 256;  // a count beyond is a lie, not a phone
    if (error->empty() && (count < 0 || count > kMaxCameras))
        *error = Text({RuleId::kModuleCameras, kNoFrame, "get_number_of_cameras returned " + std::to_string(count)});
    return error->empty() ? int(count) : -1;
}

void IsolateScenarios() {
    auto& listeners = ::testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_xml_generator());  // the verdict writes the JUnit XML
    listeners.Append(new ScenarioIsolation(listeners.Release(listeners.default_result_printer())));  // gtest owns it
}

void ReportModuleFailure(const std::string& finding) {
    g_verdict.BeginIteration();
    g_verdict.Start("Module", "Start");
    g_verdict.End({"Module", "Start", {{CasePart::kFailure, "", -1, finding}}, 0});
    g_verdict.EndIteration(0);
    Report::Get().Summary("hal3_check: module " + std::string(22, ' ') + " FAIL " + finding);
    if (!g_verdict.WriteJunit()) g_checkerFailed = true;
}

RunTotals Totals() { return g_verdict.totals(); }
bool CheckerFailed() { return g_checkerFailed; }

}  // namespace hal3_check

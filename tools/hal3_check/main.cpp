// hal3_check: plays the camera service against a camera HAL module, each
// scenario in a process of its own (see Isolation.h).
#include "Isolation.h"
#include "ModuleConnector.h"
#include "Options.h"
#include "Replay.h"
#include "Report.h"
#include "Timeline.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

namespace {

const char kUsage[] =
    "usage: hal3_check [options] [gtest flags]\n"
    "Plays Android's camera service against a camera HAL module; every scenario runs in a\n"
    "process of its own, every call into the module under a watchdog.\n"
    "  --module=<path>          the module to dlopen (default: hw_get_module(\"camera\"))\n"
    "  --camera=<id>            only this camera (default: every camera of the module)\n"
    "  --out=<dir>              trace, pictures, JPEGs, in-flight tables (default: hal3_check_out)\n"
    "  --frames=<n>             frames per streaming scenario (default: 30)\n"
    "  --stall-ms=<ms>          no progress for this long is a time-out (default: 2000); a single\n"
    "                           call into the module may take max(5000, 2 x this)\n"
    "  --rate-tolerance=<pct>   recording frame intervals may be off by this much (default: 20)\n"
    "  --no-dump                write no frame pictures\n"
    "  --record=<file>          also keep every scenario's calls and callbacks in <file>\n"
    "  --replay=<file>          check a recording (camera.hal3_record.so, --record) instead of a module\n"
    "  --help                   this text, then GoogleTest's own flags (--gtest_filter,\n"
    "                           --gtest_repeat, --gtest_output=xml:<file>, ...)\n"
    "Environment: HAL3_CHECK_TIME_SCALE=<x> multiplies camera3.h's per-call time limits\n"
    "(rule call-time), for sanitizer builds and emulators (default: 1).\n"
    "The verdict is the exit code and the JUnit XML; the module's own output is relayed\n"
    "labelled \"module: \". Exit codes: 0 no failure, 1 findings, 2 the checker could not\n"
    "run (bad options, the module not loadable), 3 the checker itself failed.\n";

enum ExitCode { kPassed = 0, kFindings = 1, kCannotRun = 2, kCheckerFailed = 3 };

// The value of `arg` when it is `name` + an integer within [min, max].
bool Number(const std::string& arg, const char* name, long min, long max, int* out) {
    std::string text = arg.substr(strlen(name));
    char* end = nullptr;
    errno = 0;
    long v = strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno == ERANGE || v < min || v > max) {
        fprintf(stderr, "hal3_check: %s: expected a whole number from %ld to %ld\n", arg.c_str(), min, max);
        return false;
    }
    *out = int(v);
    return true;
}

std::string g_record, g_replay;

// Takes this tool's options out of argv; gtest sees the rest.
bool ParseOptions(int* argc, char** argv, bool* help) {
    hal3_check::Options& o = hal3_check::options();
    int kept = 1;
    bool ok = true;
    for (int i = 1; i < *argc && ok; ++i) {
        std::string a = argv[i];
        auto starts = [&](const char* name) { return a.rfind(name, 0) == 0; };
        if (starts("--module="))
            o.module = a.substr(9);
        else if (starts("--camera="))
            o.camera = a.substr(9);
        else if (starts("--out="))
            o.out = a.substr(6);
        else if (starts("--frames="))
            ok = Number(a, "--frames=", 1, 1000000, &o.frames);
        else if (starts("--stall-ms="))
            ok = Number(a, "--stall-ms=", 1, INT_MAX / 2, &o.stallMs);
        else if (starts("--rate-tolerance="))
            ok = Number(a, "--rate-tolerance=", 0, 100000, &o.rateTolerancePct);
        else if (starts("--record=") || starts("--replay="))
            (starts("--record=") ? g_record : g_replay) = a.substr(9);
        else if (a == "--no-dump")
            o.dumpFrames = false;
        else if (a == "--help" || a == "-h" || a == "-?") {
            *help = true;
            argv[kept++] = argv[i];
        } else if (starts("--") && !starts("--gtest_")) {
            fprintf(stderr, "hal3_check: unknown option %s (--help lists the options)\n", a.c_str());
            ok = false;
        } else
            argv[kept++] = argv[i];
    }
    *argc = kept;
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    bool help = false;
    if (!ParseOptions(&argc, argv, &help)) return kCannotRun;
    if (help) {
        fputs(kUsage, stdout);
        fflush(stdout);
        ::testing::InitGoogleTest(&argc, argv);  // prints its own flags
        return 0;
    }
    const hal3_check::Options& o = hal3_check::options();
    if (!g_replay.empty()) {
        hal3_check::Report::Get().Open(o.out);
        ::testing::InitGoogleTest(&argc, argv);
        return hal3_check::RunReplay(g_replay, o.stallMs);
    }
    // The module is loaded only in children: this process stays free of it.
    std::string err;
    std::vector<std::string> warnings;
    int cameras = hal3_check::FindCameras(&err, &warnings);
    for (const auto& w : warnings) fprintf(stderr, "hal3_check: warning: %s\n", w.c_str());
    // A broken rule is the module's failure and ends in the verdict; anything
    // else (no such file, no HMI symbol) leaves nothing to check.
    bool moduleFailed = cameras < 0 && err.rfind("[rule ", 0) == 0;
    if (cameras < 0 && !moduleFailed) {
        fprintf(stderr, "hal3_check: %s\n", err.c_str());
        return kCannotRun;
    }
    if (!o.camera.empty() && !moduleFailed) {
        char* end = nullptr;
        long id = strtol(o.camera.c_str(), &end, 10);
        if (o.camera.empty() || *end != '\0' || id < 0 || id >= cameras || std::to_string(id) != o.camera) {
            fprintf(stderr, "hal3_check: --camera=%s: the module has %d camera(s)%s\n", o.camera.c_str(), cameras,
                    cameras > 0 ? (", ids 0 to " + std::to_string(cameras - 1)).c_str() : "");
            return kCannotRun;
        }
    }
    std::set_terminate([] {
        fputs("hal3_check: the checker failed (uncaught exception)\n", stderr);
        _exit(kCheckerFailed);
    });
    hal3_check::ModuleConnector::Get().SetNumberOfCameras(std::max(cameras, 0));
    hal3_check::Report::Get().Open(o.out);
    for (const auto& w : warnings) hal3_check::Report::Get().Trace("[module] WARN " + w);
    // Cameras are enumerated while gtest registers the scenarios.
    ::testing::InitGoogleTest(&argc, argv);
    if (moduleFailed) {
        hal3_check::ReportModuleFailure(err);
    } else {
        hal3_check::IsolateScenarios();
        hal3_check::RecordScenarios(g_record);
        int ignored = RUN_ALL_TESTS();  // every scenario is skipped here: the verdict has their results
        (void)ignored;
    }
    hal3_check::RunTotals t = hal3_check::Totals();
    printf("hal3_check: %d scenario run(s), %d failed, %d skipped; trace, frame pictures (%s) and JPEGs in %s\n",
           t.runs, t.failed, t.skipped, hal3_check::Report::PngAvailable() ? "PNG" : "PNG not built",
           hal3_check::Report::Get().dir().c_str());
    return hal3_check::CheckerFailed() ? kCheckerFailed : t.failed ? kFindings : kPassed;
}

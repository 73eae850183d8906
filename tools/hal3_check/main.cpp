// hal3_check: plays the camera service against a camera HAL module.
//   hal3_check [--module=<path>] [--camera=<id>] [--out=<dir>] [--frames=<n>]
//              [--stall-ms=<ms>] [--rate-tolerance=<percent>] [--no-dump] [gtest flags]
#include "ModuleConnector.h"
#include "Report.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

// Takes this tool's options out of argv; gtest sees the rest.
bool ParseOptions(int* argc, char** argv) {
    hal3_check::Options& o = hal3_check::options();
    int kept = 1;
    for (int i = 1; i < *argc; ++i) {
        std::string a = argv[i];
        auto value = [&](const char* name) { return a.rfind(name, 0) == 0 ? a.substr(strlen(name)) : std::string(); };
        if (a.rfind("--module=", 0) == 0) o.module = value("--module=");
        else if (a.rfind("--camera=", 0) == 0) o.camera = value("--camera=");
        else if (a.rfind("--out=", 0) == 0) o.out = value("--out=");
        else if (a.rfind("--frames=", 0) == 0) o.frames = std::stoi(value("--frames="));
        else if (a.rfind("--stall-ms=", 0) == 0) o.stallMs = std::stoi(value("--stall-ms="));
        else if (a.rfind("--rate-tolerance=", 0) == 0) o.rateTolerancePct = std::stoi(value("--rate-tolerance="));
        else if (a == "--no-dump") o.dumpFrames = false;
        else if (a.rfind("--", 0) == 0 && a.rfind("--gtest_", 0) != 0 && a != "--help") {
            fprintf(stderr, "hal3_check: unknown option %s\n", a.c_str());
            return false;
        } else argv[kept++] = argv[i];
    }
    *argc = kept;
    return o.frames > 0 && o.stallMs > 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (!ParseOptions(&argc, argv)) return 2;
    hal3_check::ModuleConnector& module = hal3_check::ModuleConnector::Get();
    std::string err = module.Load(hal3_check::options().module);
    if (err.empty()) err = module.Start();
    if (!err.empty()) {
        fprintf(stderr, "hal3_check: %s\n", err.c_str());
        return 2;
    }
    hal3_check::Report::Get().Open(hal3_check::options().out);
    // Cameras are enumerated while gtest registers the scenarios.
    ::testing::InitGoogleTest(&argc, argv);
    int rc = RUN_ALL_TESTS();
    const auto& report = hal3_check::Report::Get();
    printf("hal3_check: %zu scenario run(s), %d failed; trace, frame pictures (%s) and JPEGs in %s\n",
           report.summaries().size(), ::testing::UnitTest::GetInstance()->failed_test_count(),
           hal3_check::Report::PngAvailable() ? "PNG" : "PNG not built", report.dir().c_str());
    return rc;
}

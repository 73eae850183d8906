// Four streams at 30 fps through a camera module, driven by hal3_check's
// layers with every check on: 1080p preview, 4K YUV, JPEG and a 320x240
// analysis stream. Reports submit-to-final-result latency (p50, p99) and CPU
// time per frame of the camera core and of the checker. The core's share is
// the process CPU time minus the checker thread and the submitting thread;
// it includes the callbacks' copying, which runs on the core's threads.
#include "DeviceConnector.h"
#include "Fixtures.h"
#include "ModuleConnector.h"
#include "Report.h"
#include "ResultChecker.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>

namespace {

using namespace hal3_check;

int64_t CpuNs(clockid_t clock) {
    timespec t{};
    clock_gettime(clock, &t);
    return int64_t(t.tv_sec) * 1000000000 + t.tv_nsec;
}

constexpr int kFormatImplementationDefined = 0x22, kFormatYuv420 = 0x23;
constexpr int kFrames = 150;  // five seconds at 30 fps

// Arg: a JPEG in every n-th request.
void BM_FourStreams30fps(benchmark::State& state) {
    const int jpegPeriod = int(state.range(0));
    options().dumpFrames = false;  // timing only: nothing written
    ModuleConnector& module = ModuleConnector::Get();
    std::string err = module.Load("");
    if (err.empty()) err = module.Start();
    camera_info info{};
    if (!err.empty() || module.Info(0, &info) != 0) {
        state.SkipWithError(("no camera: " + err).c_str());
        return;
    }
    const int64_t stallNs = 3000000000;
    DeviceConnector* device = DeviceConnector::Make();
    ResultChecker checker(LimitsOf(info.static_camera_characteristics, stallNs), nullptr);
    device->Attach(&checker);
    if (device->Open(module, "0") != 0 || device->Initialize() != 0) {
        state.SkipWithError("open or initialize failed");
        return;
    }
    StreamFixture streams(device);
    std::vector<std::string> failures;
    uint32_t blobBytes = uint32_t(GetI32(info.static_camera_characteristics, ANDROID_JPEG_MAX_SIZE, 0));
    int rc = streams.Configure({{kFormatImplementationDefined, 1920, 1080, kUsageHwComposer},
                                {kFormatYuv420, 3840, 2160, kUsageSwReadOften},
                                {kFormatBlob, 1920, 1080, kUsageSwReadOften},
                                {kFormatYuv420, 320, 240, kUsageSwReadOften}},
                               blobBytes, &failures);
    if (rc != 0 || !failures.empty()) {
        state.SkipWithError("the four-stream configuration was refused");
        device->Close();
        return;
    }
    FrameFixture frames(device, &streams, &checker, stallNs, "bench");
    MetadataPtr settings(clone_camera_metadata(device->DefaultSettings(CAMERA3_TEMPLATE_VIDEO_RECORD)));
    int32_t fps[2] = {30, 30};
    Set(settings, ANDROID_CONTROL_AE_TARGET_FPS_RANGE, fps, 2);

    std::vector<int64_t> latencies;
    int64_t coreCpu = 0, checkerCpu = 0, submitCpu = 0;
    for (auto _ : state) {
        int64_t process0 = CpuNs(CLOCK_PROCESS_CPUTIME_ID), self0 = CpuNs(CLOCK_THREAD_CPUTIME_ID), checker0 = checker.CpuNs();
        int64_t wall0 = NowNs();
        for (int i = 0; i < kFrames; ++i)
            if (frames.Submit(settings.get(), i % jpegPeriod == 0 ? std::vector<size_t>{0, 1, 2, 3}
                                                                  : std::vector<size_t>{0, 1, 3}) != 0)
                break;
        bool idle = checker.WaitIdle();
        state.SetIterationTime(double(NowNs() - wall0) / 1e9);
        int64_t self = CpuNs(CLOCK_THREAD_CPUTIME_ID) - self0, check = checker.CpuNs() - checker0;
        submitCpu += self;
        checkerCpu += check;
        coreCpu += CpuNs(CLOCK_PROCESS_CPUTIME_ID) - process0 - self - check;
        for (const auto& f : checker.TakeCompleted()) latencies.push_back(f.doneNs - f.submitNs);
        auto broken = checker.TakeFailures();
        if (!idle || !broken.empty()) {
            state.SkipWithError(("checker: " + (broken.empty() ? std::string("time-out") : broken[0])).c_str());
            break;
        }
    }
    device->Flush();
    checker.WaitIdle();
    device->Close();
    if (latencies.empty()) return;
    std::sort(latencies.begin(), latencies.end());
    double n = double(latencies.size());
    state.counters["frames"] = n;
    state.counters["latency_p50_ms"] = latencies[latencies.size() / 2] / 1e6;
    state.counters["latency_p99_ms"] = latencies[size_t(0.99 * (n - 1))] / 1e6;
    state.counters["core_cpu_ms_per_frame"] = coreCpu / n / 1e6;
    state.counters["checker_cpu_ms_per_frame"] = checkerCpu / n / 1e6;
    state.counters["submit_cpu_ms_per_frame"] = submitCpu / n / 1e6;
}
BENCHMARK(BM_FourStreams30fps)->Arg(1)->Arg(30)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

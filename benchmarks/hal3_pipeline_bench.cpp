// Four streams at 30 fps through a camera module, driven by hal3_check's
// layers with every check on: 1080p preview, 4K YUV, JPEG and a 320x240
// analysis stream. Requests go in as the camera service sends them: as fast
// as each stream's max_buffers lets the buffers come back, so no more than
// max_buffers requests are in flight. Reports submit-to-final-result latency,
// frame intervals (sensor timestamps and arrivals of the final result), and
// CPU time per frame of the camera core and of the checker. The core's share
// is the process CPU time minus the checker thread and the submitting thread;
// it includes the callbacks' copying, which runs on the core's threads. Its
// floor is the time to write the four pictures once with memset, measured in
// the same run.
#include "DeviceConnector.h"
#include "Fixtures.h"
#include "ModuleConnector.h"
#include "Options.h"
#include "RecordingDevice.h"
#include "ResultChecker.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace hal3_check;

int64_t CpuNs(clockid_t clock) {
    timespec t{};
    clock_gettime(clock, &t);
    return int64_t(t.tv_sec) * 1000000000 + t.tv_nsec;
}

constexpr int kFormatImplementationDefined = 0x22, kFormatYuv420 = 0x23;
constexpr int kFrames = 150;  // five seconds at 30 fps
constexpr int32_t kFps = 30;

const std::vector<StreamSpec> kStreams = {{kFormatImplementationDefined, 1920, 1080, kUsageHwComposer},
                                          {kFormatYuv420, 3840, 2160, kUsageSwReadOften},
                                          {HAL_PIXEL_FORMAT_BLOB, 1920, 1080, kUsageSwReadOften},
                                          {kFormatYuv420, 320, 240, kUsageSwReadOften}};

// The value below which `share` of the sorted samples lie.
double Percentile(std::vector<double> samples, double share) {
    if (samples.empty()) return 0;
    std::sort(samples.begin(), samples.end());
    return samples[size_t(share * double(samples.size() - 1))];
}

// The memory floor: one memset of each stream's 4:2:0 picture, median of a
// few passes. The pictures rotate through as many sets as the core has
// buffers per stream, so each pass writes memory the last ones did not, as
// the core does, and not a cache-resident copy.
class MemsetFloor {
public:
    explicit MemsetFloor(uint32_t sets) : m_sets(sets) {
        for (uint32_t set = 0; set < sets; ++set)
            for (const StreamSpec& s : kStreams) m_pictures.emplace_back(size_t{s.width} * s.height * 3 / 2, 0);
    }
    void Sample(int passes) {
        for (int i = 0; i < passes; ++i, m_next = (m_next + 1) % m_sets) {
            const int64_t t0 = NowNs();
            for (size_t p = 0; p < kStreams.size(); ++p) {
                auto& picture = m_pictures[m_next * kStreams.size() + p];
                std::memset(picture.data(), i, picture.size());
            }
            benchmark::ClobberMemory();
            m_samples.push_back(double(NowNs() - t0));
        }
    }
    double MedianNs() const { return Percentile(m_samples, 0.5); }

private:
    const uint32_t m_sets;
    uint32_t m_next = 0;
    std::vector<std::vector<uint8_t>> m_pictures;  // set-major
    std::vector<double> m_samples;
};

// p50 of the intervals between consecutive `times`, and the p99 of their
// distance to `targetNs` in percent of it.
void IntervalCounters(benchmark::State& state, const std::string& name, const std::vector<int64_t>& times,
                      double targetNs) {
    std::vector<double> intervals, off;
    for (size_t i = 1; i < times.size(); ++i) {
        intervals.push_back(double(times[i] - times[i - 1]));
        off.push_back(std::fabs(intervals.back() - targetNs) * 100 / targetNs);
    }
    state.counters[name + "_interval_p50_ms"] = Percentile(intervals, 0.5) / 1e6;
    state.counters[name + "_interval_off_p99_pct"] = Percentile(off, 0.99);
}

// Arg: a JPEG in every n-th request. `record`: every call and callback
// recorded as camera.hal3_record.so records them, to a scratch file.
void FourStreams(benchmark::State& state, bool record) {
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
    RecordingWriter writer;
    const std::string recording = "hal3_pipeline_bench.h3r";
    if (record) {
        unlink(recording.c_str());
        std::string error = writer.Open(recording);
        if (!error.empty()) {
            state.SkipWithError(error.c_str());
            return;
        }
        LiveWriter() = &writer;
    }
    DeviceConnector* device = DeviceConnector::Make();
    FindingSink findings;
    ResultChecker checker(LimitsOf(StaticInfo(info.static_camera_characteristics), stallNs), findings, nullptr);
    device->Attach(&checker);
    if (device->Open(module, "0") != 0 || device->Initialize() != 0) {
        state.SkipWithError("open or initialize failed");
        return;
    }
    StreamFixture streams(device);
    std::vector<Finding> failures;
    uint32_t blobBytes = uint32_t(GetI32(info.static_camera_characteristics, ANDROID_JPEG_MAX_SIZE, 0));
    int rc = streams.Configure(kStreams, blobBytes, &failures);
    if (rc != 0 || !failures.empty()) {
        state.SkipWithError("the four-stream configuration was refused");
        device->Close();
        return;
    }
    FrameFixture frames(device, &streams, &checker, stallNs, "bench");
    MetadataPtr settings(clone_camera_metadata(device->DefaultSettings(CAMERA3_TEMPLATE_VIDEO_RECORD)));
    int32_t fps[2] = {kFps, kFps};
    Set(settings, ANDROID_CONTROL_AE_TARGET_FPS_RANGE, fps, 2);

    const uint32_t maxBuffers = streams.stream(0)->max_buffers;
    MemsetFloor floor(maxBuffers);
    floor.Sample(12);
    std::vector<FrameRecord> records;
    size_t maxInFlight = 0;
    int64_t coreCpu = 0, checkerCpu = 0, submitCpu = 0, processCpu = 0;
    for (auto _ : state) {
        int64_t process0 = CpuNs(CLOCK_PROCESS_CPUTIME_ID), self0 = CpuNs(CLOCK_THREAD_CPUTIME_ID),
                checker0 = checker.CpuNs();
        int64_t wall0 = NowNs();
        for (int i = 0; i < kFrames; ++i) {
            if (frames.Submit(settings.get(), i % jpegPeriod == 0 ? std::vector<size_t>{0, 1, 2, 3}
                                                                  : std::vector<size_t>{0, 1, 3}) != 0)
                break;
            maxInFlight = std::max(maxInFlight, checker.InFlight());
        }
        bool idle = checker.WaitIdle();
        state.SetIterationTime(double(NowNs() - wall0) / 1e9);
        int64_t self = CpuNs(CLOCK_THREAD_CPUTIME_ID) - self0, check = checker.CpuNs() - checker0;
        submitCpu += self;
        checkerCpu += check;
        coreCpu += CpuNs(CLOCK_PROCESS_CPUTIME_ID) - process0 - self - check;
        processCpu += CpuNs(CLOCK_PROCESS_CPUTIME_ID) - process0;
        for (auto& f : checker.TakeCompleted()) records.push_back(std::move(f));
        if (!idle || findings.failures() != 0) {
            state.SkipWithError(
                ("checker: " + (idle ? Text(findings.findings().front()) : std::string("time-out"))).c_str());
            break;
        }
    }
    floor.Sample(12);
    const int depth = GetU8(info.static_camera_characteristics, ANDROID_REQUEST_PIPELINE_MAX_DEPTH, 0);
    device->Flush();
    checker.WaitIdle();
    device->Close();
    LiveWriter() = nullptr;
    writer.Close();
    if (records.empty()) return;
    std::sort(records.begin(), records.end(),
              [](const FrameRecord& a, const FrameRecord& b) { return a.frame < b.frame; });
    std::vector<double> latencies;
    std::vector<int64_t> shutters, arrivals;
    for (const FrameRecord& f : records) {
        latencies.push_back(double(f.doneNs - f.submitNs));
        shutters.push_back(int64_t(f.shutterNs));
        arrivals.push_back(f.doneNs);
    }
    const double n = double(records.size()), frameNs = 1e9 / kFps;
    state.counters["frames"] = n;
    state.counters["latency_p50_ms"] = Percentile(latencies, 0.5) / 1e6;
    state.counters["latency_p99_ms"] = Percentile(latencies, 0.99) / 1e6;
    state.counters["latency_bound_ms"] = (depth + 1) * frameNs / 1e6;  // (pipeline depth + 1) frame intervals
    state.counters["pipeline_depth"] = depth;
    state.counters["max_buffers"] = maxBuffers;
    state.counters["max_in_flight"] = double(maxInFlight);
    IntervalCounters(state, "shutter", shutters, frameNs);
    IntervalCounters(state, "result", arrivals, frameNs);
    state.counters["core_cpu_ms_per_frame"] = coreCpu / n / 1e6;
    state.counters["floor_ms"] = floor.MedianNs() / 1e6;
    state.counters["core_x_floor"] = coreCpu / n / floor.MedianNs();
    state.counters["checker_cpu_ms_per_frame"] = checkerCpu / n / 1e6;
    state.counters["checker_pct_of_interval"] = checkerCpu / n / frameNs * 100;
    state.counters["submit_cpu_ms_per_frame"] = submitCpu / n / 1e6;
    // Everything the process spent, recording included (its writer thread,
    // the encoding on the callers' threads): the recorded run against the
    // plain one gives what recording costs per frame.
    state.counters["process_cpu_ms_per_frame"] = processCpu / n / 1e6;
    if (record) {
        struct stat st {};
        stat(recording.c_str(), &st);
        state.counters["recording_kib_per_frame"] = double(st.st_size) / n / 1024;
        unlink(recording.c_str());
    }
}

void BM_FourStreams30fps(benchmark::State& state) { FourStreams(state, false); }
void BM_FourStreams30fpsRecorded(benchmark::State& state) { FourStreams(state, true); }
BENCHMARK(BM_FourStreams30fps)->Arg(1)->Arg(30)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FourStreams30fpsRecorded)->Arg(30)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

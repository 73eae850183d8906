// Sensor listener costs on the simulated platform: how fast the looper thread
// drains events, how long an injected event takes to reach GetSensorData, and
// how quickly DisableSensor stops the loop (it wakes the 300 ms poll).
#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include <android/sensor_manager/ISensorListener.h>
#include <zelkov_platform/sensor_control.h>

using namespace zelkov;

namespace {

// Events drained per second from a full queue: a burst of the queue's capacity
// queued at once, timed until the queue is empty.
void BM_IntakeRate(benchmark::State& state) {
    const int burst = static_cast<int>(state.range(0));
    zelkov_platform::ResetSensorPlatform();
    zelkov_platform::SetQueueCapacity(static_cast<std::size_t>(burst));
    ISensorListener* listener = LoadSensorListener();
    listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 2);
    std::vector<ASensorEvent> events(static_cast<std::size_t>(burst),
                                     zelkov_platform::MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {0.1f, 0.2f, 0.3f}));
    for (auto _ : state) {
        zelkov_platform::InjectSensorEvents(events.data(), events.size());
        while (zelkov_platform::PendingEventCount() != 0) {
        }
    }
    state.counters["events_per_second"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * burst, benchmark::Counter::kIsRate);
    listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE);
    UnloadSensorListener(&listener);
}
BENCHMARK(BM_IntakeRate)->Arg(8)->Arg(256)->UseRealTime();

using Clock = std::chrono::steady_clock;

double MicrosecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

// Median and 99th percentile (nearest rank) of one sample per iteration.
void ReportPercentiles(benchmark::State& state, std::vector<double> samplesUs) {
    if (samplesUs.empty()) return;
    std::sort(samplesUs.begin(), samplesUs.end());
    state.counters["median_us"] = samplesUs[samplesUs.size() / 2];
    state.counters["p99_us"] = samplesUs[(samplesUs.size() * 99 + 99) / 100 - 1];
}

struct OtherSensor {
    int listenerType;
    int platformType;
    double rateHz;
};
const OtherSensor kOtherSensors[] = {
    {SENSOR_LISTENER_ACCELEROMETER, ASENSOR_TYPE_ACCELEROMETER, 400},
    {SENSOR_LISTENER_ROTATION_VECTOR, ASENSOR_TYPE_ROTATION_VECTOR, 200},
    {SENSOR_LISTENER_LIGHT, ASENSOR_TYPE_LIGHT, 5},
};

// From injecting one gyroscope event to a waiting GetSensorData returning it,
// while the accelerometer, rotation vector and light sensor stream as on a
// device. Their events raise the same new-data flag, so a read may return
// early with an older gyroscope sample and is then repeated.
void BM_InjectToQuery(benchmark::State& state) {
    zelkov_platform::ResetSensorPlatform();
    ISensorListener* listener = LoadSensorListener();
    std::vector<int> streams;
    for (const OtherSensor& other : kOtherSensors) {
        listener->EnableSensor(other.listenerType, 0, 0);
        streams.push_back(zelkov_platform::StartSensorStream(other.platformType, other.rateHz));
    }
    listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 2);
    SensorListenerEvent event{};
    SensorListenerExtraData extra{};
    int64_t stamp = 0;
    std::vector<double> latenciesUs;
    for (auto _ : state) {
        stamp = std::max(stamp + 1, zelkov_platform::BootTimeNs());  // unique and current
        const Clock::time_point start = Clock::now();
        zelkov_platform::InjectSensorEvent(zelkov_platform::MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {1, 2, 3}, stamp));
        do {
            listener->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, true, &extra);
        } while (event.gyro.timestamp != stamp);
        latenciesUs.push_back(MicrosecondsSince(start));
    }
    ReportPercentiles(state, std::move(latenciesUs));
    state.counters["avg_latency_ns"] = static_cast<double>(extra.avg_latency_ns);
    for (int id : streams) zelkov_platform::StopSensorStream(id);
    listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE);
    for (const OtherSensor& other : kOtherSensors) listener->DisableSensor(other.listenerType);
    UnloadSensorListener(&listener);
}
BENCHMARK(BM_InjectToQuery)->UseRealTime()->Unit(benchmark::kMicrosecond);

// DisableSensor of the last type: exit request, looper wake, join, release.
// The looper thread is given 10 ms to settle into its 300 ms poll first, the
// case the wake must cut short (a disable right after the enable instead waits
// for the thread's start-up, a few milliseconds here); the fixed iteration
// count bounds those waits.
void BM_DisableStopsLoop(benchmark::State& state) {
    zelkov_platform::ResetSensorPlatform();
    ISensorListener* listener = LoadSensorListener();
    std::vector<double> stopsUs;
    for (auto _ : state) {
        state.PauseTiming();
        listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        state.ResumeTiming();
        const Clock::time_point start = Clock::now();
        listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE);
        stopsUs.push_back(MicrosecondsSince(start));
    }
    state.counters["max_us"] = *std::max_element(stopsUs.begin(), stopsUs.end());
    ReportPercentiles(state, std::move(stopsUs));
    UnloadSensorListener(&listener);
}
BENCHMARK(BM_DisableStopsLoop)->Iterations(200)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();

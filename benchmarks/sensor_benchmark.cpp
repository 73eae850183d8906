// Sensor listener costs on the simulated platform: how fast the looper thread
// drains events, how long an injected event takes to reach GetSensorData, and
// how quickly DisableSensor stops the loop (it wakes the 300 ms poll).
#include <algorithm>
#include <vector>

#include <benchmark/benchmark.h>

#include <android/sensor_manager/ISensorListener.h>
#include <zelkov_platform/sensor_control.h>

using namespace zelkov;

namespace {

// Events drained per second: a burst queued at once, timed until the queue is empty.
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
    state.SetItemsProcessed(state.iterations() * burst);
    listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE);
    UnloadSensorListener(&listener);
}
BENCHMARK(BM_IntakeRate)->Arg(8)->Arg(256)->UseRealTime();

// From injecting one gyroscope event to a waiting GetSensorData returning it.
void BM_InjectToQuery(benchmark::State& state) {
    zelkov_platform::ResetSensorPlatform();
    ISensorListener* listener = LoadSensorListener();
    listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 2);
    SensorListenerEvent event{};
    SensorListenerExtraData extra{};
    int64_t stamp = 0;
    for (auto _ : state) {
        stamp = std::max(stamp + 1, zelkov_platform::BootTimeNs());  // unique and current
        zelkov_platform::InjectSensorEvent(zelkov_platform::MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {1, 2, 3}, stamp));
        do {
            listener->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, true, &extra);
        } while (event.gyro.timestamp != stamp);
    }
    state.counters["avg_latency_ns"] = static_cast<double>(extra.avg_latency_ns);
    listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE);
    UnloadSensorListener(&listener);
}
BENCHMARK(BM_InjectToQuery)->UseRealTime();

// DisableSensor of the last type: exit request, looper wake, join, release.
void BM_DisableStopsLoop(benchmark::State& state) {
    zelkov_platform::ResetSensorPlatform();
    ISensorListener* listener = LoadSensorListener();
    for (auto _ : state) {
        state.PauseTiming();
        listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0);
        state.ResumeTiming();
        listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE);
    }
    UnloadSensorListener(&listener);
}
BENCHMARK(BM_DisableStopsLoop)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

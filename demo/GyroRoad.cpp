// The gyroscope road of a camera core: load the listener, enable the
// gyroscope with latency statistics, read samples while the simulated device
// replays a recorded hand-held motion, then disable and unload.
#include <chrono>
#include <cstdio>
#include <thread>

#include <android/sensor_manager/ISensorListener.h>
#include <zelkov_platform/sensor_control.h>

#include "Roads.h"

using namespace zelkov;

namespace {

bool RunGyroRoad() {
    zelkov_platform::ResetSensorPlatform();
    ISensorListener* listener = LoadSensorListener();
    bool ok = DemoCheck(listener != nullptr, "LoadSensorListener() hands out the listener");
    ok &= DemoCheck(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 5000, 2) == 0,
                    "EnableSensor(gyroscope, 5000 us, options 2)");
    const char* trace = zelkov_platform::DefaultMotionTracePath();
    ok &= DemoCheck(zelkov_platform::StartTraceReplay(trace, true), "replaying the recorded motion trace");

    SensorListenerEvent event{};
    SensorListenerExtraData extra{-1};
    int reads = 0;
    int64_t first = 0;
    int64_t last = 0;
    const auto start = std::chrono::steady_clock::now();
    // About half a second of the trace; the deadline only bounds a slow run (under valgrind, say).
    while (reads < 100 && std::chrono::steady_clock::now() - start < std::chrono::seconds(5)) {
        if (listener->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, true, &extra) != 0) {
            // No sample yet: give the looper thread the processor instead of spinning.
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            continue;
        }
        if (event.gyro.timestamp == last) continue;
        if (reads == 0) first = event.gyro.timestamp;
        last = event.gyro.timestamp;
        if (reads % 20 == 0) {
            std::printf("  gyro x=%+.4f y=%+.4f z=%+.4f rad/s  t=%lld ns\n", event.gyro.x, event.gyro.y, event.gyro.z,
                        static_cast<long long>(event.gyro.timestamp));
        }
        ++reads;
    }
    double seconds = static_cast<double>(last - first) / 1e9;
    double rate = seconds > 0 ? (reads - 1) / seconds : 0.0;
    std::printf("  %d fresh samples, %.0f Hz seen (the trace records 200 Hz), average latency %lld ns\n", reads, rate,
                static_cast<long long>(extra.avg_latency_ns));
    ok &= DemoCheck(reads > 10, "fresh gyroscope samples arrive");
    ok &= DemoCheck(extra.avg_latency_ns > 0, "the average delivery latency is measured");

    zelkov_platform::StopTraceReplay();
    ok &= DemoCheck(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE) == 0, "DisableSensor(gyroscope) stops the loop");
    ok &= DemoCheck(UnloadSensorListener(&listener) == 0 && listener == nullptr,
                    "UnloadSensorListener deletes the listener and nulls the pointer");
    return ok;
}

}  // namespace

ZELKOV_DEMO_ROAD(50, "sensor listener: the gyroscope road", RunGyroRoad);

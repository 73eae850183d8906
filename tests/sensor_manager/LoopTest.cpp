// The looper thread: one thread for all types, stopped by the last disable,
// woken out of its poll, and made anew after a stop.
#include <algorithm>
#include <atomic>
#include <thread>

#include "SensorTestSupport.h"

using namespace zelkov;
using zelkov_platform::GetSensorPlatformStats;
using zelkov_platform::MakeSensorEvent;
using zelkov_test::WaitUntil;

namespace {

using LoopTest = zelkov_test::SensorTest;

// The next enable after the stop runs a new looper and queue.
TEST_F(LoopTest, TwoTypesShareOneLoopStoppedByTheLastDisable) {
    listener = LoadSensorListener();
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 5000, 0), 0);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_ACCELEROMETER, 5000, 0), 0);
    ASSERT_TRUE(WaitUntil([] { return !zelkov_platform::PollingThreadNames().empty(); }));
    EXPECT_EQ(zelkov_platform::PollingThreadNames().size(), 1u) << "one thread polls for both types";
    EXPECT_EQ(GetSensorPlatformStats().lastPollTimeoutMs, 300);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    EXPECT_EQ(GetSensorPlatformStats().liveLoopers, 1) << "the accelerometer is still on";
    EXPECT_EQ(GetSensorPlatformStats().wakes, 0);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_ACCELEROMETER), 0);
    EXPECT_EQ(GetSensorPlatformStats().wakes, 1) << "the stop cuts the 300 ms poll short";
    EXPECT_EQ(GetSensorPlatformStats().liveLoopers, 0);
    EnableWithSample(SENSOR_LISTENER_GYROSCOPE, MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {1, 2, 3}));
    EXPECT_EQ(GetSensorPlatformStats().loopersCreated, 2);
    EXPECT_EQ(GetSensorPlatformStats().queuesCreated, 2);
}

TEST_F(LoopTest, DestroyingAListenerWithARunningLoopStopsItFirst) {
    auto* orphan = new SensorListener();
    ASSERT_EQ(orphan->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0), 0);
    int stream = zelkov_platform::StartSensorStream(ASENSOR_TYPE_GYROSCOPE, 1000);
    SensorListenerEvent event;
    ASSERT_TRUE(
        WaitUntil([&] { return orphan->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, false, nullptr) == 0; }));
    delete orphan;  // without the disable
    zelkov_platform::StopSensorStream(stream);
    EXPECT_EQ(GetSensorPlatformStats().liveLoopers, 0);
    // The process-wide mask outlives the listener; the next test starts clean.
    g_enabledSensorMask = 0;
}

// Reads racing with a stream see only whole samples (the stream writes seven
// equal values); the thread sanitizer reports a store made without the lock.
TEST_F(LoopTest, ReadsWhileSamplesArriveSeeWholeSamples) {
    listener = LoadSensorListener();
    EnableWithSample(SENSOR_LISTENER_VENDOR_1002A, MakeSensorEvent(0x1002A, {}));
    std::atomic<bool> stop{false};
    std::thread feeder([&] {
        for (float n = 1; !stop; ++n)
            zelkov_platform::InjectSensorEvent(MakeSensorEvent(0x1002A, {n, n, n, n, n, n, n}));
    });
    int torn = 0;
    for (int i = 0; i < 100000; ++i) {
        SensorListenerEvent event{};
        ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_VENDOR_1002A, &event, false, nullptr), 0);
        const float* values = event.vendor_1002a.values;
        torn += std::count(values, values + 7, values[0]) != 7 ? 1 : 0;
    }
    stop = true;
    feeder.join();
    EXPECT_EQ(torn, 0);
}

}  // namespace

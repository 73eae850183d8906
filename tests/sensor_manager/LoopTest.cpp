// The looper thread: one thread for all types, stopped by the last disable,
// woken out of its poll, and made anew after a stop.
#include <string.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_platform::GetSensorPlatformStats;
using zelkov_platform::InjectSensorEvent;
using zelkov_platform::MakeSensorEvent;
using zelkov_test::WaitUntil;

namespace {

using LoopTest = zelkov_test::SensorTest;

TEST_F(LoopTest, TwoTypesShareOneThreadStoppedByTheLastDisable) {
    listener = LoadSensorListener();
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 5000, 0), 0);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_ACCELEROMETER, 5000, 0), 0);
    ASSERT_TRUE(WaitUntil([] { return !zelkov_platform::PollingThreadNames().empty(); }));
    EXPECT_EQ(zelkov_platform::PollingThreadNames().size(), 1u) << "one thread polls for both types";
    EXPECT_EQ(GetSensorPlatformStats().loopersCreated, 1);
    EXPECT_EQ(GetSensorPlatformStats().lastPollTimeoutMs, 300);

    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    EXPECT_EQ(GetSensorPlatformStats().liveLoopers, 1) << "the accelerometer is still on";
    EXPECT_EQ(GetSensorPlatformStats().wakes, 0);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_ACCELEROMETER), 0);
    EXPECT_EQ(GetSensorPlatformStats().wakes, 1) << "the stop cuts the 300 ms poll short";
    EXPECT_EQ(GetSensorPlatformStats().liveLoopers, 0);
}

TEST_F(LoopTest, StartStopStartMakesANewLooperAndQueue) {
    listener = LoadSensorListener();
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0), 0);
    ASSERT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    EnableWithSample(SENSOR_LISTENER_GYROSCOPE, MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {1, 2, 3}));
    zelkov_platform::SensorPlatformStats stats = GetSensorPlatformStats();
    EXPECT_EQ(stats.loopersCreated, 2);
    EXPECT_EQ(stats.queuesCreated, 2);
    EXPECT_EQ(stats.liveLoopers, 1);
}

// A failed read ends its pass only: "reading events failed" for a real error
// (not for -11, try again), and the next event is read.
TEST_F(LoopTest, ReadErrorEndsOnlyThePass) {
    listener = LoadSensorListener();
    EnableWithSample(SENSOR_LISTENER_LIGHT, MakeSensorEvent(ASENSOR_TYPE_LIGHT, {1.0f}));
    const std::string message = std::string("sensor_events_listener: 262: reading events failed: ") + strerror(4);
    for (int error : {-11, -4}) {
        zelkov_test::LogCapture capture;
        zelkov_platform::FailNextGetEvents(error);
        InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_LIGHT, {2.0f}));
        ASSERT_TRUE(WaitUntil([] {
            const std::vector<long> results = zelkov_platform::GetEventsResults();
            return !results.empty() && results.back() < 0;
        }));
        InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_LIGHT, {3.0f}));
        EXPECT_TRUE(WaitUntil([&] { return ReadLight(false) == 3.0f; })) << error;
        EXPECT_EQ(capture.Count(1, message), error == -4 ? 1 : 0);
        zelkov_platform::ClearGetEventsResults();
    }
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

// Under the thread sanitizer: reads racing with a 2 kHz stream only ever see
// whole samples (the stream writes x = y = z).
TEST_F(LoopTest, ReadsWhileSamplesArriveSeeWholeSamples) {
    listener = LoadSensorListener();
    EnableWithSample(SENSOR_LISTENER_ACCELEROMETER, MakeSensorEvent(ASENSOR_TYPE_ACCELEROMETER, {0, 0, 0}));
    std::atomic<bool> stop{false};
    std::thread feeder([&] {
        for (int n = 1; !stop; ++n) {
            const float value = static_cast<float>(n);
            InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_ACCELEROMETER, {value, value, value}));
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
    });
    for (int i = 0; i < 2000; ++i) {
        SensorListenerEvent event{};
        ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_ACCELEROMETER, &event, i % 2 == 0, nullptr), 0);
        EXPECT_TRUE(event.accel.x == event.accel.y && event.accel.y == event.accel.z) << event.accel.x;
    }
    stop = true;
    feeder.join();
}

}  // namespace

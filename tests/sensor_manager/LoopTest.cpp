// The looper thread: one thread for all types, stopped by the last disable,
// woken out of its poll, and made anew after a stop.

#include "SensorTestSupport.h"

using namespace zelkov;
using zelkov_platform::GetSensorPlatformStats;
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

}  // namespace

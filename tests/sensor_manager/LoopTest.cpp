// The looper thread: one thread for all types, stopped by the last disable,
// woken out of its poll, and made anew after a stop.
#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_platform::GetSensorPlatformStats;
using zelkov_test::LogCapture;
using zelkov_test::WaitUntil;
using Peer = zelkov::SensorListenerTestPeer;

namespace {

using LoopTest = zelkov_test::SensorTest;

TEST_F(LoopTest, TwoTypesShareOneThreadStoppedByTheLastDisable) {
    ISensorListener* listener = LoadSensorListener();
    SensorListener& object = Peer::Of(listener);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 5000, 0), 0);
    const void* thread = Peer::Thread(object);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_ACCELEROMETER, 5000, 0), 0);
    EXPECT_EQ(Peer::Thread(object), thread);
    EXPECT_EQ(GetSensorPlatformStats().loopersCreated, 1);
    ASSERT_TRUE(WaitUntil([] { return !zelkov_platform::PollingThreadNames().empty(); }));
    EXPECT_EQ(zelkov_platform::PollingThreadNames().size(), 1u) << "one thread polls for both types";

    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    EXPECT_TRUE(Peer::LoopRunning(object)) << "the accelerometer is still on";
    EXPECT_EQ(GetSensorPlatformStats().wakes, 0);
    LogCapture capture;
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_ACCELEROMETER), 0);
    EXPECT_EQ(capture.Count(16, "stopLoop 0"), 1);
    EXPECT_EQ(GetSensorPlatformStats().wakes, 1) << "the stop cuts the 300 ms poll short";
    EXPECT_FALSE(Peer::LoopRunning(object));
    EXPECT_EQ(Peer::Thread(object), nullptr);
    EXPECT_EQ(UnloadSensorListener(&listener), 0);  // the fixture checks that queue and looper are gone
}

TEST_F(LoopTest, StartStopStartMakesANewThreadLooperAndQueue) {
    ISensorListener* listener = LoadSensorListener();
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0), 0);
    ASSERT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    LogCapture capture;
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0), 0);
    EXPECT_EQ(capture.Count(16, "SensorListener.h: SensorListenerThread: "), 1) << "a new thread object";
    zelkov_platform::SensorPlatformStats stats = GetSensorPlatformStats();
    EXPECT_EQ(stats.loopersCreated, 2);
    EXPECT_EQ(stats.queuesCreated, 2);
    EXPECT_EQ(stats.liveLoopers, 1);
    zelkov_platform::InjectSensorEvent(zelkov_platform::MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {1, 2, 3}));
    EXPECT_TRUE(WaitUntil([&] { return Peer::ValidMask(Peer::Of(listener)) != 0; })) << "the new loop delivers";
    ASSERT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    EXPECT_EQ(UnloadSensorListener(&listener), 0);
}

TEST_F(LoopTest, DestroyingAListenerWithARunningLoopStopsItFirst) {
    auto* listener = new SensorListener();
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0), 0);
    int stream = zelkov_platform::StartSensorStream(ASENSOR_TYPE_GYROSCOPE, 1000);
    ASSERT_TRUE(WaitUntil([&] { return Peer::ValidMask(*listener) != 0; }));
    delete listener;  // without the disable
    zelkov_platform::StopSensorStream(stream);
    EXPECT_EQ(GetSensorPlatformStats().liveLoopers, 0);
}

}  // namespace

// The looper thread: one thread for all types, stopped by the last disable,
// woken out of its poll, and made anew after a stop.
#include <atomic>
#include <thread>

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
    // The process-wide mask outlives the listener; the next test starts clean.
    g_enabledSensorMask = 0;
}

// A reader holding the store's lock keeps the looper from storing: the sample
// and its valid bit appear only once the lock is free.
TEST_F(LoopTest, TheLooperStoresOnlyUnderTheDataLock) {
    listener = LoadSensorListener();
    SensorListener& object = Peer::Of(listener);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_ACCELEROMETER, 0, 0), 0);
    Peer::WithDataLock(object, [&] {
        zelkov_platform::InjectSensorEvent(zelkov_platform::MakeSensorEvent(ASENSOR_TYPE_ACCELEROMETER, {1, 2, 3}));
        EXPECT_FALSE(WaitUntil([&] { return Peer::ValidMask(object) != 0; }, 0.5)) << "stored behind the lock";
    });
    EXPECT_TRUE(WaitUntil([&] { return Peer::ValidMask(object) != 0; }));
}

// Under the thread sanitizer: reads racing with a 2 kHz stream only ever see
// whole samples (the stream writes x = y = z).
TEST_F(LoopTest, ReadsWhileSamplesArriveSeeWholeSamples) {
    listener = LoadSensorListener();
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_ACCELEROMETER, 0, 0), 0);
    std::atomic<bool> stop{false};
    std::thread feeder([&] {
        for (int n = 1; !stop; ++n) {
            const float value = static_cast<float>(n);
            zelkov_platform::InjectSensorEvent(
                zelkov_platform::MakeSensorEvent(ASENSOR_TYPE_ACCELEROMETER, {value, value, value}));
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
    });
    EXPECT_TRUE(WaitUntil([&] { return Peer::ValidMask(Peer::Of(listener)) != 0; }));
    int whole = 0;
    for (int i = 0; i < 2000; ++i) {
        SensorListenerEvent event{};
        if (listener->GetSensorData(SENSOR_LISTENER_ACCELEROMETER, &event, i % 2 == 0, nullptr) != 0) continue;
        EXPECT_TRUE(event.accel.x == event.accel.y && event.accel.y == event.accel.z) << event.accel.x;
        ++whole;
    }
    stop = true;
    feeder.join();
    EXPECT_GT(whole, 0);
}

}  // namespace

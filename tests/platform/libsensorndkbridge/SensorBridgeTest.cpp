// The simulated sensor platform as the listener relies on it: the manager and
// its list, queues bound to loopers that block for real, and the trace source.
// A missing or throwing manager and the live stream are proved through the
// listener in tests/sensor_manager (ControlTest, ModelTest, RoadTest).
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <android/sensor.h>
#include <sensorndkbridge/looper_camera.h>
#include <zelkov_platform/sensor_control.h>

using namespace zelkov_platform;

namespace {

class SensorBridgeTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetSensorPlatform();
        manager = ASensorManager_getInstanceForPackage(nullptr);
        ASSERT_NE(manager, nullptr);
        looper = ALooper_forCamera();
        queue = ASensorManager_createEventQueue(manager, looper, 0, nullptr, nullptr);
        ASSERT_NE(queue, nullptr);
    }
    void TearDown() override {
        ResetSensorPlatform();
        EXPECT_EQ(ASensorManager_destroyEventQueue(manager, queue), 0);
        ALooper_release_forCamera(looper);
        EXPECT_EQ(GetSensorPlatformStats().liveQueues, 0);
        EXPECT_EQ(GetSensorPlatformStats().liveLoopers, 0);
    }
    void Register(int type, int periodUs = 0) {
        ASSERT_EQ(ASensorEventQueue_registerSensor(queue, ASensorManager_getDefaultSensor(manager, type), periodUs, 0),
                  0);
    }
    ASensorManager* manager = nullptr;
    ALooper* looper = nullptr;
    ASensorEventQueue* queue = nullptr;
};

TEST_F(SensorBridgeTest, ManagerListsTheConfiguredSensors) {
    SetSensorList({{ASENSOR_TYPE_GYROSCOPE, "Gyro", 7}, {0x10029, "HRM", 9}});
    ASensorList list = nullptr;
    ASSERT_EQ(ASensorManager_getSensorList(manager, &list), 2);
    EXPECT_EQ(ASensor_getType(list[0]), ASENSOR_TYPE_GYROSCOPE);
    EXPECT_EQ(ASensor_getType(list[1]), 0x10029);
    EXPECT_EQ(ASensorManager_getDefaultSensor(manager, 0x10029), list[1]);
    EXPECT_EQ(ASensorManager_getDefaultSensor(manager, ASENSOR_TYPE_LIGHT), nullptr);
    EXPECT_EQ(ASensor_getType(nullptr), ASENSOR_TYPE_INVALID);

    SetSensorList({});
    EXPECT_EQ(ASensorManager_getSensorList(manager, &list), 0);
}

TEST_F(SensorBridgeTest, EventsReachOnlyQueuesWithTheSensorRegisteredInOrder) {
    EXPECT_EQ(InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_LIGHT, {1})), 0);
    Register(ASENSOR_TYPE_LIGHT, 20000);
    EXPECT_EQ(RegisteredSamplingPeriodUs(ASENSOR_TYPE_LIGHT), 20000);
    for (int i = 0; i < 5; ++i) InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_LIGHT, {static_cast<float>(i)}));

    ASensorEvent events[3];
    ASSERT_EQ(ASensorEventQueue_getEvents(queue, events, 3), 3);
    EXPECT_EQ(events[0].data[0], 0.0f);
    EXPECT_EQ(events[2].data[0], 2.0f);
    ASSERT_EQ(ASensorEventQueue_getEvents(queue, events, 3), 2);
    EXPECT_EQ(events[1].data[0], 4.0f);
    EXPECT_EQ(ASensorEventQueue_getEvents(queue, events, 3), 0);

    EXPECT_EQ(ASensorEventQueue_disableSensor(queue, ASensorManager_getDefaultSensor(manager, ASENSOR_TYPE_LIGHT)), 0);
    EXPECT_EQ(InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_LIGHT, {1})), 0);
    EXPECT_EQ(ASensorEventQueue_disableSensor(queue, nullptr), -22);
}

TEST_F(SensorBridgeTest, FullQueueDropsTheOldestAndCountsThem) {
    SetQueueCapacity(4);
    Register(ASENSOR_TYPE_GYROSCOPE);
    for (int i = 0; i < 6; ++i) InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {static_cast<float>(i)}));
    EXPECT_EQ(GetSensorPlatformStats().droppedEvents, 2u);
    ASensorEvent events[8];
    ASSERT_EQ(ASensorEventQueue_getEvents(queue, events, 8), 4);
    EXPECT_EQ(events[0].data[0], 2.0f);
}

TEST_F(SensorBridgeTest, ChosenReadErrorIsReturnedOnce) {
    FailNextGetEvents(-4);
    ASensorEvent event;
    EXPECT_EQ(ASensorEventQueue_getEvents(queue, &event, 1), -4);
    EXPECT_EQ(ASensorEventQueue_getEvents(queue, &event, 1), 0);
}

TEST_F(SensorBridgeTest, PollReportsEventsTimeOutAndWake) {
    EXPECT_EQ(ALooper_pollOnce_camera(looper, 1, nullptr, nullptr, nullptr), ALOOPER_POLL_TIMEOUT);
    Register(ASENSOR_TYPE_ACCELEROMETER);
    InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_ACCELEROMETER, {1, 2, 3}));
    EXPECT_EQ(ALooper_pollOnce_camera(looper, 0, nullptr, nullptr, nullptr), ALOOPER_POLL_CALLBACK);
    EXPECT_EQ(ALooper_pollOnce_camera(nullptr, 0, nullptr, nullptr, nullptr), ALOOPER_POLL_ERROR);

    ASensorEvent event;
    ASSERT_EQ(ASensorEventQueue_getEvents(queue, &event, 1), 1);
    // A poll without limit ends only by the wake from another thread.
    std::thread waker([this] { ALooper_wake(looper); });
    EXPECT_EQ(ALooper_pollOnce_camera(looper, -1, nullptr, nullptr, nullptr), ALOOPER_POLL_WAKE);
    waker.join();
}

TEST_F(SensorBridgeTest, BlockedPollReturnsWhenAnEventArrives) {
    Register(ASENSOR_TYPE_GYROSCOPE);
    std::thread injector([] { InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {1, 2, 3})); });
    EXPECT_EQ(ALooper_pollOnce_camera(looper, -1, nullptr, nullptr, nullptr), ALOOPER_POLL_CALLBACK);
    injector.join();
}

TEST_F(SensorBridgeTest, TimestampsAreInTheBootTimeBase) {
    Register(ASENSOR_TYPE_GYROSCOPE);
    const int64_t before = BootTimeNs();
    InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {}));
    const int64_t after = BootTimeNs();
    ASensorEvent event;
    ASSERT_EQ(ASensorEventQueue_getEvents(queue, &event, 1), 1);
    EXPECT_GE(event.timestamp, before);
    EXPECT_LE(event.timestamp, after);
    EXPECT_EQ(event.version, static_cast<int32_t>(sizeof(ASensorEvent)));
}

TEST_F(SensorBridgeTest, ShippedTraceReplaysItsSamples) {
    const int samples = CountTraceSamples(DefaultMotionTracePath());
    ASSERT_GT(samples, 100);
    EXPECT_EQ(CountTraceSamples("/nonexistent/trace.txt"), 0);
    EXPECT_FALSE(StartTraceReplay("/nonexistent/trace.txt", false));

    Register(ASENSOR_TYPE_GYROSCOPE);
    Register(ASENSOR_TYPE_ACCELEROMETER);
    SetQueueCapacity(static_cast<std::size_t>(samples));
    ASSERT_TRUE(StartTraceReplay(DefaultMotionTracePath(), false));
    int received = 0;
    ASensorEvent events[8];
    while (received < samples) {
        ASSERT_EQ(ALooper_pollOnce_camera(looper, -1, nullptr, nullptr, nullptr), ALOOPER_POLL_CALLBACK);
        received += static_cast<int>(ASensorEventQueue_getEvents(queue, events, 8));
    }
    StopTraceReplay();
    EXPECT_EQ(received, samples);
    EXPECT_EQ(GetSensorPlatformStats().droppedEvents, 0u);
}

}  // namespace

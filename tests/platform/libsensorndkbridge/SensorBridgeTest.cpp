// The simulated sensor platform as the listener relies on it: the manager and
// its list, queues bound to loopers whose polls take the ready signal, and the
// aborts where the device would crash. A missing or throwing manager, read
// errors and streams are proved through the listener in tests/sensor_manager.
// Every blocking poll is bounded, so a fault fails instead of hanging.
#include <thread>

#include <gtest/gtest.h>

#include <android/sensor.h>
#include <sensorndkbridge/looper_camera.h>
#include <zelkov_platform/sensor_control.h>

using namespace zelkov_platform;

namespace {

constexpr int kBoundMs = 10000;  // a poll that should end long before this

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
    const ASensor* Sensor(int type) { return ASensorManager_getDefaultSensor(manager, type); }
    int Poll(int timeoutMs) { return ALooper_pollOnce_camera(looper, timeoutMs, nullptr, nullptr, nullptr); }
    void Inject(int type, float value = 0) { InjectSensorEvent(MakeSensorEvent(type, {value})); }
    ASensorManager* manager = nullptr;
    ALooper* looper = nullptr;
    ASensorEventQueue* queue = nullptr;
};

TEST_F(SensorBridgeTest, ManagerListsTheConfiguredSensors) {
    SetSensorList({{ASENSOR_TYPE_GYROSCOPE, "Gyro", 7}, {0x10029, "HRM", 9}});
    ASensorList list = nullptr;
    ASSERT_EQ(ASensorManager_getSensorList(manager, &list), 2);
    EXPECT_EQ(ASensorManager_getSensorList(manager, nullptr), 2) << "the count without the list";
    EXPECT_EQ(ASensorManager_getSensorList(nullptr, &list), -22);
    EXPECT_EQ(Sensor(0x10029), list[1]);
    EXPECT_EQ(Sensor(ASENSOR_TYPE_LIGHT), nullptr);
    EXPECT_EQ(ASensor_getType(nullptr), ASENSOR_TYPE_INVALID);
}

TEST_F(SensorBridgeTest, EventsReachOnlyQueuesWithTheSensorRegisteredInOrder) {
    Inject(ASENSOR_TYPE_LIGHT, 9);
    ASSERT_EQ(ASensorEventQueue_enableSensor(queue, Sensor(ASENSOR_TYPE_LIGHT)), 0);
    EXPECT_EQ(RegisteredSamplingPeriodUs(ASENSOR_TYPE_LIGHT), 200000) << "the platform's normal delay";
    for (int i = 1; i <= 5; ++i) Inject(ASENSOR_TYPE_LIGHT, static_cast<float>(i));
    ASensorEvent events[3];
    ASSERT_EQ(ASensorEventQueue_getEvents(queue, events, 3), 3);
    EXPECT_EQ(events[0].data[0], 1.0f) << "the event before the registration never arrived";
    ASSERT_EQ(ASensorEventQueue_getEvents(queue, events, 3), 2);
    EXPECT_EQ(events[1].data[0], 5.0f);
    EXPECT_EQ(ASensorEventQueue_disableSensor(queue, Sensor(ASENSOR_TYPE_LIGHT)), 0);
    EXPECT_EQ(InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_LIGHT, {1})), 0);
    EXPECT_EQ(ASensorEventQueue_disableSensor(nullptr, nullptr), -22) << "a null queue is checked first";
    EXPECT_EQ(ASensorEventQueue_getEvents(nullptr, events, 3), -22);
}

TEST_F(SensorBridgeTest, EachPollTakesTheReadySignalAndAWakeWaitsBehindEvents) {
    int fd = -1, events = -1;
    void* data = &fd;
    EXPECT_EQ(ALooper_pollOnce_camera(looper, 0, &fd, &events, &data), ALOOPER_POLL_TIMEOUT);
    EXPECT_EQ(fd, 0);
    EXPECT_EQ(events, 0);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(ALooper_pollOnce_camera(nullptr, 0, nullptr, nullptr, nullptr), ALOOPER_POLL_ERROR);

    ASSERT_EQ(ASensorEventQueue_registerSensor(queue, Sensor(ASENSOR_TYPE_ACCELEROMETER), 0, 0), 0);
    Inject(ASENSOR_TYPE_ACCELEROMETER);
    EXPECT_EQ(Poll(0), ALOOPER_POLL_CALLBACK);
    EXPECT_EQ(Poll(0), ALOOPER_POLL_TIMEOUT) << "the queue still holds its event but signals only a new one";
    Inject(ASENSOR_TYPE_ACCELEROMETER);
    ALooper_wake(looper);
    EXPECT_EQ(Poll(0), ALOOPER_POLL_CALLBACK) << "events before the wake";
    EXPECT_EQ(Poll(0), ALOOPER_POLL_WAKE) << "the wake stayed pending";
    EXPECT_EQ(Poll(0), ALOOPER_POLL_TIMEOUT);
    EXPECT_EQ(GetSensorPlatformStats().wakes, 1);

    // Blocked polls end by an event or a wake from another thread.
    std::thread injector([this] { Inject(ASENSOR_TYPE_ACCELEROMETER); });
    EXPECT_EQ(Poll(kBoundMs), ALOOPER_POLL_CALLBACK);
    injector.join();
    std::thread waker([this] { ALooper_wake(looper); });
    EXPECT_EQ(Poll(kBoundMs), ALOOPER_POLL_WAKE);
    waker.join();
}

TEST_F(SensorBridgeTest, DestroyingANullOrUnknownQueue) {
    ASensorEventQueue* other = ASensorManager_createEventQueue(manager, looper, 0, nullptr, nullptr);
    EXPECT_EQ(ASensorManager_destroyEventQueue(manager, other), 0);
    EXPECT_EQ(ASensorManager_destroyEventQueue(manager, other), 0) << "no longer known: left alone";
    EXPECT_EQ(ASensorManager_destroyEventQueue(manager, nullptr), -22);
    EXPECT_EQ(ASensorManager_destroyEventQueue(nullptr, queue), -22);
    EXPECT_EQ(ASensorManager_createEventQueue(manager, nullptr, 0, nullptr, nullptr), nullptr);
}

// Where the device dereferences a null handle, the stand-in stops at once.
TEST_F(SensorBridgeTest, NullHandlesTheDeviceDereferencesAbort) {
    ASensorEvent event;
    ASSERT_EQ(ASensorEventQueue_registerSensor(queue, Sensor(ASENSOR_TYPE_GYROSCOPE), 0, 0), 0);
    Inject(ASENSOR_TYPE_GYROSCOPE);
    EXPECT_DEATH(ASensorEventQueue_disableSensor(queue, nullptr),
                 "^libsensorndkbridge: ASensorEventQueue_disableSensor: null sensor \\(the device dereferences it\\)");
    EXPECT_DEATH(ASensorEventQueue_registerSensor(queue, nullptr, 0, 0), "registerSensor: null sensor");
    EXPECT_DEATH(ASensorEventQueue_enableSensor(queue, nullptr), "enableSensor: null sensor");
    EXPECT_DEATH(ALooper_wake(nullptr), "ALooper_wake: null looper");
    EXPECT_DEATH(ASensorEventQueue_getEvents(queue, nullptr, 1), "getEvents: null event buffer");
    EXPECT_EQ(ASensorEventQueue_getEvents(queue, &event, 1), 1) << "the parent still has its event";
}

}  // namespace

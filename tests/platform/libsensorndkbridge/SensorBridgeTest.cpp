// The simulated sensor platform as the listener relies on it: the manager and
// its list, queues bound to loopers whose polls take the ready signal, and the
// aborts where the device would crash. A missing or throwing manager, read
// errors and streams are proved through the listener in tests/sensor_manager.
// Every blocking poll is bounded, so a fault fails instead of hanging.
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

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
    ASensorEventQueue* NewQueue() { return ASensorManager_createEventQueue(manager, looper, 0, nullptr, nullptr); }
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

TEST_F(SensorBridgeTest, DefaultSensorHasTheTypesDefaultWakeUpFlag) {
    std::vector<SimulatedSensor> sensors = {{ASENSOR_TYPE_PROXIMITY, "Proximity", 10},
                                            {ASENSOR_TYPE_PROXIMITY, "Proximity wake-up", 11},
                                            {ASENSOR_TYPE_ACCELEROMETER, "Accel wake-up", 12},
                                            {ASENSOR_TYPE_ACCELEROMETER, "Accel", 13},
                                            {ASENSOR_TYPE_ACCELEROMETER, "Accel 2", 14}};
    sensors[1].wakeUp = sensors[2].wakeUp = true;
    SetSensorList(sensors);
    const struct {
        int type;
        int handle;  // ASENSOR_INVALID: none
    } cases[] = {{ASENSOR_TYPE_PROXIMITY, 11}, {ASENSOR_TYPE_ACCELEROMETER, 13}, {ASENSOR_TYPE_LIGHT, ASENSOR_INVALID}};
    for (const auto& c : cases) EXPECT_EQ(ASensor_getHandle(Sensor(c.type)), c.handle) << c.type;
    sensors = {{ASENSOR_TYPE_PROXIMITY, "Proximity", 10}};
    SetSensorList(sensors);
    EXPECT_EQ(Sensor(ASENSOR_TYPE_PROXIMITY), nullptr) << "no wake-up proximity sensor";
}

TEST_F(SensorBridgeTest, RegistrationClampsThePeriodAndCanBeRefused) {
    SimulatedSensor accel(ASENSOR_TYPE_ACCELEROMETER, "Accel", 1);
    accel.minDelayUs = 2500;
    accel.maxDelayUs = 100000;
    SimulatedSensor light(ASENSOR_TYPE_LIGHT, "Light", 2);  // on change: no bounds
    SimulatedSensor gyro(ASENSOR_TYPE_GYROSCOPE, "Gyro", 3);
    gyro.refusesRegistration = true;
    SetSensorList({accel, light, gyro});
    const struct {
        int type;
        int requestedUs;
        int registeredUs;
    } periods[] = {{ASENSOR_TYPE_ACCELEROMETER, 0, 2500},
                   {ASENSOR_TYPE_ACCELEROMETER, 5000, 5000},
                   {ASENSOR_TYPE_ACCELEROMETER, 1000000, 100000},
                   {ASENSOR_TYPE_LIGHT, 0, 0},
                   {ASENSOR_TYPE_LIGHT, 1000000, 1000000}};
    for (const auto& c : periods) {
        EXPECT_EQ(ASensorEventQueue_registerSensor(queue, Sensor(c.type), c.requestedUs, 0), 0);
        EXPECT_EQ(RegisteredSamplingPeriodUs(c.type), c.registeredUs) << c.type << " at " << c.requestedUs;
    }
    EXPECT_EQ(ASensorEventQueue_setEventRate(queue, Sensor(ASENSOR_TYPE_ACCELEROMETER), 20000), 0);
    EXPECT_EQ(RegisteredSamplingPeriodUs(ASENSOR_TYPE_ACCELEROMETER), 20000);

    EXPECT_EQ(ASensorEventQueue_registerSensor(queue, Sensor(ASENSOR_TYPE_GYROSCOPE), 0, 0), -22);
    EXPECT_EQ(RegisteredSamplingPeriodUs(ASENSOR_TYPE_GYROSCOPE), -1);
    const ASensor* oldLight = Sensor(ASENSOR_TYPE_LIGHT);
    SetSensorList({accel});
    EXPECT_EQ(ASensorEventQueue_registerSensor(queue, oldLight, 0, 0), -22) << "no longer listed";
    EXPECT_EQ(ASensorEventQueue_registerSensor(nullptr, nullptr, 0, 0), -22);
    EXPECT_EQ(ASensorEventQueue_setEventRate(nullptr, nullptr, 0), -22);
}

// Events go by sensor handle: a second sensor of the registered type does not
// reach the queue, and every delivered event names its sensor.
TEST_F(SensorBridgeTest, EventsCarryTheHandleOfTheirSensorAndGoByIt) {
    SetSensorList({{ASENSOR_TYPE_ACCELEROMETER, "Accel", 31}, {ASENSOR_TYPE_ACCELEROMETER, "Accel 2", 32}});
    ASSERT_EQ(ASensorEventQueue_enableSensor(queue, Sensor(ASENSOR_TYPE_ACCELEROMETER)), 0);
    ASensorEvent fromSecond = MakeSensorEvent(ASENSOR_TYPE_ACCELEROMETER, {2});
    fromSecond.sensor = 32;
    EXPECT_EQ(InjectSensorEvent(fromSecond), 0);
    Inject(ASENSOR_TYPE_ACCELEROMETER, 1);
    ASensorEvent event;
    ASSERT_EQ(ASensorEventQueue_getEvents(queue, &event, 1), 1);
    EXPECT_EQ(event.sensor, 31);
    EXPECT_EQ(event.data[0], 1.0f);
}

TEST_F(SensorBridgeTest, AdditionalInfoEventsOnlyWhenRequested) {
    ASSERT_EQ(ASensorEventQueue_enableSensor(queue, Sensor(ASENSOR_TYPE_GYROSCOPE)), 0);
    ASensorEvent info = MakeSensorEvent(ASENSOR_TYPE_ADDITIONAL_INFO, {1});
    info.sensor = ASensor_getHandle(Sensor(ASENSOR_TYPE_GYROSCOPE));
    EXPECT_EQ(InjectSensorEvent(info, true), 0) << "not even to every queue";
    EXPECT_EQ(ASensorEventQueue_hasEvents(queue), 0);
    EXPECT_EQ(ASensorEventQueue_requestAdditionalInfoEvents(queue, true), 0);
    EXPECT_EQ(InjectSensorEvent(info), 1);
    EXPECT_EQ(ASensorEventQueue_hasEvents(queue), 1);
    ASensorEvent event;
    ASSERT_EQ(ASensorEventQueue_getEvents(queue, &event, 1), 1);
    EXPECT_EQ(event.type, ASENSOR_TYPE_ADDITIONAL_INFO);
    EXPECT_EQ(ASensorEventQueue_requestAdditionalInfoEvents(nullptr, true), -22);
    EXPECT_EQ(ASensorEventQueue_hasEvents(nullptr), -22);
}

// The service refuses to disable a sensor that no queue has enabled.
TEST_F(SensorBridgeTest, DisablingASensorEnabledOnNoQueueIsRefused) {
    ASensorEventQueue* other = NewQueue();
    const ASensor* light = Sensor(ASENSOR_TYPE_LIGHT);
    EXPECT_EQ(ASensorEventQueue_disableSensor(queue, light), -22);
    ASSERT_EQ(ASensorEventQueue_enableSensor(other, light), 0);
    EXPECT_EQ(ASensorEventQueue_disableSensor(queue, light), 0) << "enabled on another queue";
    EXPECT_EQ(ASensorEventQueue_disableSensor(other, light), 0);
    EXPECT_EQ(ASensorEventQueue_disableSensor(other, light), -22);
    EXPECT_EQ(ASensorManager_destroyEventQueue(manager, other), 0);
}

TEST_F(SensorBridgeTest, AnInjectedReadErrorKeepsTheNullChecks) {
    FailNextGetEvents(-4);
    ASensorEvent event;
    EXPECT_EQ(ASensorEventQueue_getEvents(nullptr, &event, 1), -22);
    EXPECT_EQ(ASensorEventQueue_getEvents(queue, &event, 1), -4);
    EXPECT_EQ(ASensorEventQueue_getEvents(queue, &event, 1), 0);
}

TEST_F(SensorBridgeTest, ResetLeavesNoQueueReady) {
    ASSERT_EQ(ASensorEventQueue_enableSensor(queue, Sensor(ASENSOR_TYPE_LIGHT)), 0);
    Inject(ASENSOR_TYPE_LIGHT);
    ResetSensorPlatform();
    EXPECT_EQ(Poll(0), ALOOPER_POLL_TIMEOUT);
    EXPECT_EQ(ASensorEventQueue_hasEvents(queue), 0);
}

// Streams inject nothing once stopped, one by one or all by a reset.
TEST_F(SensorBridgeTest, StoppedStreamsInjectNothingMore) {
    const int light = StartSensorStream(ASENSOR_TYPE_LIGHT, 2000);
    StartSensorStream(ASENSOR_TYPE_ACCELEROMETER, 2000);
    StartSensorStream(ASENSOR_TYPE_GYROSCOPE, 2000);
    auto injected = [] { return GetSensorPlatformStats().injectedEvents; };
    const auto waitForMore = [&](uint64_t than) {
        for (int i = 0; i < kBoundMs && injected() <= than; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return injected() > than;
    };
    EXPECT_TRUE(waitForMore(0));
    StopSensorStream(light);
    ResetSensorPlatform();  // zeroes the counters and stops the other two
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(injected(), 0u);
}

// The wake comes while the poll is blocked (the poller is known to the
// platform only once it waits): it ends that poll, long before its time-out.
TEST_F(SensorBridgeTest, WakeEndsAPollInProgress) {
    std::thread waker([this] {
        EXPECT_TRUE([] {
            for (int i = 0; i < kBoundMs && PollingThreadNames().empty(); ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            return !PollingThreadNames().empty();
        }());
        ALooper_wake(looper);
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Poll(kBoundMs), ALOOPER_POLL_WAKE);
    const auto waited = std::chrono::steady_clock::now() - start;
    waker.join();
    EXPECT_LT(waited, std::chrono::milliseconds(kBoundMs / 2)) << "the wake did not end the poll";
}

TEST_F(SensorBridgeTest, NullManagerOrLooperArguments) {
    EXPECT_EQ(ASensorManager_destroyEventQueue(manager, nullptr), -22);
    EXPECT_EQ(ASensorManager_destroyEventQueue(nullptr, queue), -22);
    EXPECT_EQ(ASensorManager_createEventQueue(manager, nullptr, 0, nullptr, nullptr), nullptr);
    EXPECT_EQ(ASensorManager_createEventQueue(nullptr, looper, 0, nullptr, nullptr), nullptr);
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
    EXPECT_DEATH(ASensorEventQueue_setEventRate(queue, nullptr, 0), "setEventRate: null sensor");
    EXPECT_DEATH(ALooper_wake(nullptr), "ALooper_wake: null looper");
    EXPECT_DEATH(ASensorEventQueue_getEvents(queue, nullptr, 1), "getEvents: null event buffer");
    EXPECT_EQ(ASensorEventQueue_getEvents(queue, &event, 1), 1) << "the parent still has its event";
}

// A destroyed queue or a released looper is freed memory on the device: every
// call that would use it stops with its name.
TEST_F(SensorBridgeTest, DestroyedQueuesAndReleasedLoopersAbort) {
    ASensorEventQueue* gone = NewQueue();
    ASSERT_EQ(ASensorManager_destroyEventQueue(manager, gone), 0);
    ALooper* released = ALooper_forCamera();
    ALooper_release_forCamera(released);
    const ASensor* light = Sensor(ASENSOR_TYPE_LIGHT);
    ASensorEvent event;
    const struct {
        const char* call;
        std::function<void()> use;
    } uses[] = {
        {"ASensorEventQueue_getEvents", [&] { ASensorEventQueue_getEvents(gone, &event, 1); }},
        {"ASensorEventQueue_registerSensor", [&] { ASensorEventQueue_registerSensor(gone, light, 0, 0); }},
        {"ASensorEventQueue_disableSensor", [&] { ASensorEventQueue_disableSensor(gone, light); }},
        {"ASensorEventQueue_hasEvents", [&] { ASensorEventQueue_hasEvents(gone); }},
        {"ASensorManager_destroyEventQueue", [&] { ASensorManager_destroyEventQueue(manager, gone); }},
        {"ALooper_pollOnce_camera", [&] { ALooper_pollOnce_camera(released, 0, nullptr, nullptr, nullptr); }},
        {"ASensorManager_createEventQueue",
         [&] { ASensorManager_createEventQueue(manager, released, 0, nullptr, nullptr); }},
        {"ALooper_wake", [&] { ALooper_wake(released); }},
        {"ALooper_release_forCamera", [&] { ALooper_release_forCamera(released); }},
    };
    for (const auto& use : uses) {
        EXPECT_DEATH(use.use(), std::string("^libsensorndkbridge: ") + use.call + ": .* (released|destroyed)");
    }
}

}  // namespace

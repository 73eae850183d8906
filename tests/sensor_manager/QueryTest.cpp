// GetSensorData: its checks in order, the copy of one member, and the wait.
// A wait woken by a notification must end well before the 2 s time-out.
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_platform::InjectSensorEvent;
using zelkov_platform::MakeSensorEvent;
using zelkov_test::Clock;
using zelkov_test::LogCapture;
using zelkov_test::SecondsSince;
using zelkov_test::WaitUntil;
using Peer = zelkov::SensorListenerTestPeer;

namespace {

class QueryTest : public zelkov_test::SensorTest {
protected:
    void SetUp() override {
        SensorTest::SetUp();
        listener = LoadSensorListener();
    }
    // Enables `type`, waits until the looper has stored `event`, and reads it
    // once so that the next waiting read has to wait.
    void EnableWithSample(int type, const ASensorEvent& event) {
        ASSERT_EQ(listener->EnableSensor(type, 0, 0), 0);
        InjectSensorEvent(event);
        ASSERT_TRUE(WaitUntil([&] { return (Peer::ValidMask(object()) & type) != 0; }));
        SensorListenerEvent ignored;
        ASSERT_EQ(listener->GetSensorData(type, &ignored, false, nullptr), 0);
    }
    SensorListener& object() { return Peer::Of(listener); }
    float ReadLight(bool wait) {
        SensorListenerEvent event{};
        EXPECT_EQ(listener->GetSensorData(SENSOR_LISTENER_LIGHT, &event, wait, nullptr), 0);
        return event.light;
    }
};

TEST_F(QueryTest, ChecksRunInOrderEnabledValidSupported) {
    SensorListenerEvent event;
    LogCapture capture;
    EXPECT_EQ(listener->GetSensorData(256, &event, false, nullptr), -22);
    EXPECT_EQ(capture.Count(1, "GetSensorData: 543: Sensor(256) is not enabled yet!"), 1);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_ACCELEROMETER, 0, 0), 0);
    EXPECT_EQ(listener->GetSensorData(SENSOR_LISTENER_ACCELEROMETER, &event, false, nullptr), -11);
    EXPECT_EQ(capture.Count(16, "GetSensorData: 550: Sensor(1) valid data is not coming yet!"), 1);
    InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_ACCELEROMETER, {1, 2, 3}));
    ASSERT_TRUE(WaitUntil([&] { return Peer::ValidMask(object()) != 0; }));
    EXPECT_EQ(listener->GetSensorData(3, &event, false, nullptr), -22);
    EXPECT_EQ(capture.Count(1, "GetSensorData: 724: Sensor Listener doesn't support the sensor type!(3)"), 1);
}

TEST_F(QueryTest, CopiesOnlyTheRequestedMember) {
    EnableWithSample(SENSOR_LISTENER_ACCELEROMETER, MakeSensorEvent(ASENSOR_TYPE_ACCELEROMETER, {1.5f, 2.5f, 3.5f}));
    SensorListenerEvent event{};
    event.gyro.x = event.light = event.alc.value = event.vendor_1002f = event.rotation.w = 7;
    ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_ACCELEROMETER, &event, false, nullptr), 0);
    EXPECT_EQ(event.accel.x, 1.5f);
    EXPECT_EQ(event.accel.z, 3.5f);
    for (float other : {event.gyro.x, event.light, event.alc.value, event.vendor_1002f, event.rotation.w})
        EXPECT_EQ(other, 7);
}

TEST_F(QueryTest, AlcReportsTheChipCodeAsSensorType) {
    zelkov_test::SetRearLightNameFile("als\n");
    EnableWithSample(SENSOR_LISTENER_ALC, MakeSensorEvent(0x10029, {12.0f, 1, 2, 3, 4, 5, 6}));
    SensorListenerEvent event{};
    ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_ALC, &event, false, nullptr), 0);
    EXPECT_EQ(event.alc.sensor_type, 1000.0f);
    EXPECT_EQ(event.alc.value, 12.0f);
    EXPECT_EQ(event.alc.extra[5], 6.0f);
}

// Neither a wake-up without a notification nor a sample of the past ends the
// wait: the read returns the sample that arrives next, long before 2 s.
TEST_F(QueryTest, WaitingReadReturnsWithTheNextSample) {
    EnableWithSample(SENSOR_LISTENER_LIGHT, MakeSensorEvent(ASENSOR_TYPE_LIGHT, {1.0f}));
    std::thread feeder([&] {
        EXPECT_TRUE(WaitUntil([&] { return Peer::Waiting(object()) == 1; }));
        Peer::SpuriousWake(object());
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_LIGHT, {2.0f}));
    });
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(ReadLight(true), 2.0f);
    EXPECT_LT(SecondsSince(start), 1.0);
    feeder.join();
    const Clock::time_point again = Clock::now();
    InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_LIGHT, {3.0f}));
    ASSERT_TRUE(WaitUntil([&] { return Peer::NewData(object()); }));
    EXPECT_EQ(ReadLight(true), 3.0f) << "new data already there: no wait";
    EXPECT_LT(SecondsSince(again), 1.0);
}

// A reads while nothing arrives and times out after 2 s; B, which started
// waiting a second later, is still woken by the next sample. Should B reach
// its wait only after A is gone (a loaded machine), nothing is lost: B is
// then woken all the same.
TEST_F(QueryTest, WaitTimesOutAfterTwoSecondsWithoutStrandingAnotherReader) {
    EnableWithSample(SENSOR_LISTENER_LIGHT, MakeSensorEvent(ASENSOR_TYPE_LIGHT, {1.0f}));
    double waitedA = 0;
    std::atomic<bool> doneA{false};
    float lightB = 0;
    Clock::time_point returnedB;
    std::thread a([&] {
        const Clock::time_point start = Clock::now();
        EXPECT_EQ(ReadLight(true), 1.0f);
        waitedA = SecondsSince(start);
        doneA = true;
    });
    EXPECT_TRUE(WaitUntil([&] { return Peer::Waiting(object()) == 1; }));
    std::this_thread::sleep_for(std::chrono::seconds(1));
    std::thread b([&] {
        lightB = ReadLight(true);
        returnedB = Clock::now();
    });
    WaitUntil([&] { return doneA || Peer::Waiting(object()) == 2; });
    a.join();
    EXPECT_GT(waitedA, 1.5);
    EXPECT_LT(waitedA, 4.0);
    EXPECT_TRUE(WaitUntil([&] { return Peer::Waiting(object()) == 1; })) << "B waits";
    const Clock::time_point injected = Clock::now();
    InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_LIGHT, {2.0f}));
    b.join();
    EXPECT_EQ(lightB, 2.0f);
    EXPECT_LT(std::chrono::duration<double>(returnedB - injected).count(), 0.5) << "B's own time-out is 1 s away";
}

TEST_F(QueryTest, WaitingReadIsWokenWhenTheLastTypeIsDisabled) {
    EnableWithSample(SENSOR_LISTENER_LIGHT, MakeSensorEvent(ASENSOR_TYPE_LIGHT, {7.0f}));
    Clock::time_point returned;
    std::thread reader([&] {
        EXPECT_EQ(ReadLight(true), 7.0f);
        returned = Clock::now();
    });
    EXPECT_TRUE(WaitUntil([&] { return Peer::Waiting(object()) == 1; }));
    const Clock::time_point disabled = Clock::now();
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_LIGHT), 0);
    reader.join();
    EXPECT_LT(std::chrono::duration<double>(returned - disabled).count(), 1.0);
}

// A reader past the enabled check when the last type goes off, and on the
// store's lock only after the stop notified: it finds the type off and does
// not wait. The stop is made by hand under the lock to fix that order.
TEST_F(QueryTest, ReaderThatMissedTheStopDoesNotWait) {
    EnableWithSample(SENSOR_LISTENER_LIGHT, MakeSensorEvent(ASENSOR_TYPE_LIGHT, {5.0f}));
    float light = 0;
    double waited = 0;
    std::thread reader;
    Peer::WithDataLock(object(), [&] {
        reader = std::thread([&] {
            const Clock::time_point start = Clock::now();
            light = ReadLight(true);
            waited = SecondsSince(start);
        });
        WaitUntil([&] { return Peer::Readers(object()) == 1; });
        std::this_thread::sleep_for(std::chrono::milliseconds(200));  // past the check, on the lock
        g_enabledSensorMask &= ~SENSOR_LISTENER_LIGHT;
        Peer::NotifyWaitersLocked(object());
    });
    reader.join();
    EXPECT_EQ(light, 5.0f);
    EXPECT_LT(waited, 1.0) << "the 2 s wait for a notification already given";
}

// The deleting unload waits for readers still inside the call: woken by the
// stop, they come back to the store's lock after the disable has returned.
// The readers run at idle priority on the test thread's CPU, so they come
// back only once the test thread blocks: without the wait, after the delete.
TEST_F(QueryTest, UnloadWaitsForReadersStillInsideTheCall) {
    EnableWithSample(SENSOR_LISTENER_LIGHT, MakeSensorEvent(ASENSOR_TYPE_LIGHT, {6.0f}));
    cpu_set_t everywhere;
    ASSERT_EQ(pthread_getaffinity_np(pthread_self(), sizeof(everywhere), &everywhere), 0);
    cpu_set_t one;
    CPU_ZERO(&one);
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &everywhere)) {
            CPU_SET(cpu, &one);
            break;
        }
    }
    ASSERT_EQ(pthread_setaffinity_np(pthread_self(), sizeof(one), &one), 0);
    const int kReaders = 4;
    std::vector<std::thread> readers;
    std::atomic<int> returned{0};
    for (int i = 0; i < kReaders; ++i) {
        readers.emplace_back([&] {
            sched_param idle{};
            pthread_setschedparam(pthread_self(), SCHED_IDLE, &idle);
            SensorListenerEvent event{};
            if (listener->GetSensorData(SENSOR_LISTENER_LIGHT, &event, true, nullptr) == 0) ++returned;
        });
    }
    EXPECT_TRUE(WaitUntil([&] { return Peer::Waiting(object()) == kReaders; }));
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_LIGHT), 0);
    EXPECT_EQ(UnloadSensorListener(&listener), 0);
    EXPECT_EQ(listener, nullptr);
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(pthread_setaffinity_np(pthread_self(), sizeof(everywhere), &everywhere), 0);
    EXPECT_EQ(returned.load(), kReaders);
}

}  // namespace

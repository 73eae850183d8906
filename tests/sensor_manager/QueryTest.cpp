// GetSensorData: its checks in order, the copy of one member, and the wait.
// A wait woken by a notification must end well before the 2 s time-out.
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_platform::InjectSensorEvent;
using zelkov_platform::MakeSensorEvent;
using zelkov_test::Clock;
using zelkov_test::SecondsSince;

namespace {

using QueryTest = zelkov_test::LoadedSensorTest;

// Long enough for a reader thread to have begun its wait.
void LetReadersWait() { std::this_thread::sleep_for(std::chrono::milliseconds(200)); }

// The checks run in this order, each with its message; a read that passes
// them writes the requested member only.
TEST_F(QueryTest, ChecksRunInOrderEnabledValidSupported) {
    SensorListenerEvent event{};
    zelkov_test::LogCapture capture;
    EXPECT_EQ(listener->GetSensorData(256, &event, false, nullptr), -22);
    EXPECT_EQ(capture.Count(1, "GetSensorData: 543: Sensor(256) is not enabled yet!"), 1);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_ACCELEROMETER, 0, 0), 0);
    EXPECT_EQ(listener->GetSensorData(SENSOR_LISTENER_ACCELEROMETER, &event, false, nullptr), -11);
    EXPECT_EQ(capture.Count(16, "GetSensorData: 550: Sensor(1) valid data is not coming yet!"), 1);
    EnableWithSample(SENSOR_LISTENER_LIGHT, MakeSensorEvent(ASENSOR_TYPE_LIGHT, {1.5f}));
    EXPECT_EQ(listener->GetSensorData(5, &event, false, nullptr), -22);
    EXPECT_EQ(capture.Count(1, "GetSensorData: 724: Sensor Listener doesn't support the sensor type!(5)"), 1);
    event.accel.z = event.gyro.x = event.alc.value = event.vendor_1002f = event.rotation.w = 7;
    ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_LIGHT, &event, false, nullptr), 0);
    EXPECT_EQ(event.light, 1.5f);
    for (float other : {event.accel.z, event.gyro.x, event.alc.value, event.vendor_1002f, event.rotation.w})
        EXPECT_EQ(other, 7);
}

// A waiting read ends with the next sample, at once when the last type is
// switched off, and after 2 s with the previous sample when nothing comes.
TEST_F(QueryTest, WaitingReadEndsAtTheNextSampleTheStopOrTheTimeOut) {
    const struct {
        const char* what;
        std::function<void()> meanwhile;
        float light;
        double minSeconds, maxSeconds;
    } cases[] = {
        {"sample", [] { InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_LIGHT, {2.0f})); }, 2.0f, 0, 1.0},
        {"nothing", [] {}, 2.0f, 1.5, 4.0},
        {"stop", [this] { EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_LIGHT), 0); }, 2.0f, 0, 1.0},
    };
    EnableWithSample(SENSOR_LISTENER_LIGHT, MakeSensorEvent(ASENSOR_TYPE_LIGHT, {1.0f}));
    for (const auto& c : cases) {
        std::thread other([&] {
            LetReadersWait();
            c.meanwhile();
        });
        const Clock::time_point start = Clock::now();
        EXPECT_EQ(ReadLight(true), c.light) << c.what;
        const double waited = SecondsSince(start);
        other.join();
        EXPECT_GE(waited, c.minSeconds) << c.what;
        EXPECT_LT(waited, c.maxSeconds) << c.what;
    }
}

// The deleting unload waits for readers still inside the call: woken by the
// stop, they come back to the store's lock after the disable has returned.
// Moved to idle priority on this thread's CPU once they wait, they come back
// only when this thread blocks: without the wait, after the delete.
TEST_F(QueryTest, UnloadWaitsForReadersStillInsideTheCall) {
    EnableWithSample(SENSOR_LISTENER_LIGHT, MakeSensorEvent(ASENSOR_TYPE_LIGHT, {6.0f}));
    std::atomic<int> returned{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) readers.emplace_back([&] { returned += ReadLight(true) == 6.0f ? 1 : 0; });
    LetReadersWait();
    cpu_set_t everywhere, one;
    ASSERT_EQ(pthread_getaffinity_np(pthread_self(), sizeof(everywhere), &everywhere), 0);
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    const sched_param idle{};
    for (std::thread& reader : readers) {
        EXPECT_EQ(pthread_setaffinity_np(reader.native_handle(), sizeof(one), &one), 0);
        EXPECT_EQ(pthread_setschedparam(reader.native_handle(), SCHED_IDLE, &idle), 0);
    }
    ASSERT_EQ(pthread_setaffinity_np(pthread_self(), sizeof(one), &one), 0);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_LIGHT), 0);
    EXPECT_EQ(UnloadSensorListener(&listener), 0);
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(pthread_setaffinity_np(pthread_self(), sizeof(everywhere), &everywhere), 0);
    EXPECT_EQ(returned.load(), 4);
}

// A wait ends on a notification only: a spurious wake-up of the condition
// leaves it waiting, and a wait that timed out leaves the others notified.
TEST(WaitForSampleTest, OnlyANotificationEndsAWait) {
    std::mutex lock;
    std::condition_variable cond;
    uint64_t notifySeq = 0;
    int waiting = 0;
    auto wait = [&](int milliseconds) {
        std::unique_lock<std::mutex> held(lock);
        WaitForSample(cond, held, notifySeq, waiting, std::chrono::milliseconds(milliseconds));
    };
    auto waiters = [&] {
        std::lock_guard<std::mutex> held(lock);
        return waiting;
    };
    std::atomic<bool> longDone{false};
    std::thread longWait([&] {
        wait(5000);
        longDone = true;
    });
    ASSERT_TRUE(zelkov_test::WaitUntil([&] { return waiters() == 1; }));
    std::thread([&] { wait(50); }).join();
    {
        std::lock_guard<std::mutex> held(lock);
        cond.notify_all();  // spurious
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(longDone) << "a spurious wake-up ended the wait";
    {
        std::lock_guard<std::mutex> held(lock);
        NotifySampleWaiters(cond, notifySeq, waiting);
    }
    EXPECT_TRUE(zelkov_test::WaitUntil([&] { return longDone.load(); }, 2.0));
    longWait.join();
}

}  // namespace

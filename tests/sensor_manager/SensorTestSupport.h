#ifndef ZELKOV_TESTS_SENSOR_MANAGER_SENSOR_TEST_SUPPORT_H
#define ZELKOV_TESTS_SENSOR_MANAGER_SENSOR_TEST_SUPPORT_H

#include <chrono>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <android/sensor_manager/internal/SensorListener.h>
#include <sensorndkbridge/looper_camera.h>
#include <zelkov_platform/sensor_control.h>

namespace zelkov {

// The tests' window into the listener's private state.
struct SensorListenerTestPeer {
    static SensorListener& Of(ISensorListener* listener) { return *static_cast<SensorListener*>(listener); }

    // Gives a listener a looper and a queue without a thread, so passes can be
    // run one by one; the queue takes every injected event.
    static void AttachQueue(SensorListener& listener) {
        listener.m_looper = ALooper_forCamera();
        listener.m_event_queue = ASensorManager_createEventQueue(ASensorManager_getInstanceForPackage(nullptr),
                                                                  listener.m_looper, 0, nullptr, nullptr);
    }
    static void DetachQueue(SensorListener& listener) {
        ASensorManager_destroyEventQueue(ASensorManager_getInstanceForPackage(nullptr), listener.m_event_queue);
        ALooper_release_forCamera(listener.m_looper);
    }
    static bool Pass(SensorListener& listener) { return listener.sensorLooperThread(); }

    static SensorListenerEvent Store(SensorListener& listener) {
        std::lock_guard<std::mutex> lock(listener.m_data_lock);
        return listener.m_sensor_data;
    }
    static bool NewData(SensorListener& listener) {
        std::lock_guard<std::mutex> lock(listener.m_data_lock);
        return listener.m_new_data;
    }
    static int Waiting(SensorListener& listener) {
        std::lock_guard<std::mutex> lock(listener.m_data_lock);
        return listener.m_waiting;
    }
    // Wakes the waiting queries as a spurious wake-up would: no notification.
    static void SpuriousWake(SensorListener& listener) {
        std::lock_guard<std::mutex> lock(listener.m_data_lock);
        listener.m_data_cond.notify_all();
    }
    static uint32_t ValidMask(SensorListener& listener) { return listener.m_valid_mask.load(); }
    static int Options(SensorListener& listener) { return listener.m_options; }
    // Control-side state; read only while no control call runs.
    static const void* Thread(SensorListener& listener) { return listener.m_thread.get(); }
    static bool LoopRunning(SensorListener& listener) { return listener.m_loop_running; }
};

}  // namespace zelkov

namespace zelkov_test {

// Sets what the sysfs name files hold for getAlcStatus; null: the file is absent.
void SetHrmNameFile(const char* content);
void SetRearLightNameFile(const char* content);

// Polls `condition` until it holds or `seconds` pass; returns the last result.
bool WaitUntil(const std::function<bool()>& condition, double seconds = 10.0);

using Clock = std::chrono::steady_clock;
inline double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Every listener test starts from a fresh platform, no listener loaded and
// both name files absent, and checks on exit that no listener is left. A
// test that loads into `listener` has its enables given back and its load
// released at the end.
class SensorTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    zelkov::ISensorListener* listener = nullptr;
};

}  // namespace zelkov_test

#endif

#ifndef ZELKOV_TESTS_SENSOR_MANAGER_SENSOR_LISTENER_TEST_PEER_H
#define ZELKOV_TESTS_SENSOR_MANAGER_SENSOR_LISTENER_TEST_PEER_H

// The window of the listener's tests and of the intake fuzz target into its
// private state. The listener's class is hidden in the library: a program
// using this builds the listener's source into itself.

#include <mutex>

#include <android/sensor_manager/internal/SensorListener.h>
#include <sensorndkbridge/looper_camera.h>

namespace zelkov {

struct SensorListenerTestPeer {
    static SensorListener& Of(ISensorListener* listener) { return *static_cast<SensorListener*>(listener); }

    // Gives a listener a looper and a queue without a thread, so passes can be
    // run one by one.
    static void AttachQueue(SensorListener& listener) {
        listener.m_looper = ALooper_forCamera();
        listener.m_event_queue = ASensorManager_createEventQueue(ASensorManager_getInstanceForPackage(nullptr),
                                                                 listener.m_looper, 0, nullptr, nullptr);
    }
    static void DetachQueue(SensorListener& listener) {
        ASensorManager_destroyEventQueue(ASensorManager_getInstanceForPackage(nullptr), listener.m_event_queue);
        ALooper_release_forCamera(listener.m_looper);
        listener.m_event_queue = nullptr;
        listener.m_looper = nullptr;
    }
    static bool Pass(SensorListener& listener) { return listener.sensorLooperThread(); }
    static void Configure(SensorListener& listener, int options, int hrmCode) {
        std::lock_guard<std::mutex> lock(listener.m_data_lock);
        listener.m_options = options;
        listener.m_hrm_sensor_type = hrmCode;
    }

    static SensorListenerEvent Store(SensorListener& listener) {
        std::lock_guard<std::mutex> lock(listener.m_data_lock);
        return listener.m_sensor_data;
    }
    static SensorListenerExtraDataInternal Latencies(SensorListener& listener) {
        std::lock_guard<std::mutex> lock(listener.m_data_lock);
        return listener.m_extra_data;
    }
    static bool NewData(SensorListener& listener) {
        std::lock_guard<std::mutex> lock(listener.m_data_lock);
        return listener.m_new_data;
    }
    static int Waiting(SensorListener& listener) {
        std::lock_guard<std::mutex> lock(listener.m_data_lock);
        return listener.m_waiting;
    }
    // Runs `body` holding the store's lock, as a reader copying a sample does.
    template <typename Body>
    static void WithDataLock(SensorListener& listener, Body body) {
        std::lock_guard<std::mutex> lock(listener.m_data_lock);
        body();
    }
    static int Readers(SensorListener& listener) { return listener.m_readers.load(); }
    // What a stop does under the store's lock: wakes every wait in progress.
    // Called inside WithDataLock.
    static void NotifyWaitersLocked(SensorListener& listener) { listener.notifyWaitersLocked(); }
    // Wakes the waiting queries as a spurious wake-up would: no notification.
    static void SpuriousWake(SensorListener& listener) {
        std::lock_guard<std::mutex> lock(listener.m_data_lock);
        listener.m_data_cond.notify_all();
    }
    static uint32_t ValidMask(SensorListener& listener) { return listener.m_valid_mask.load(); }
    static int Options(SensorListener& listener) {
        std::lock_guard<std::mutex> lock(listener.m_data_lock);
        return listener.m_options;
    }
    // Control-side state; read only while no control call runs.
    static const void* Thread(SensorListener& listener) { return listener.m_thread.get(); }
    static bool LoopRunning(SensorListener& listener) { return listener.m_loop_running; }
};

}  // namespace zelkov

#endif

#ifndef ZELKOV_ANDROID_SENSOR_MANAGER_INTERNAL_SENSOR_LISTENER_H
#define ZELKOV_ANDROID_SENSOR_MANAGER_INTERNAL_SENSOR_LISTENER_H

#include <stdint.h>

#include <atomic>
#include <condition_variable>
#include <mutex>

#include <android/looper.h>
#include <android/sensor.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>
#include <utils/Thread.h>

#include <android/internal/ZelLog.h>
#include <android/sensor_manager/ISensorListener.h>

namespace zelkov {

// Gyroscope delivery latencies: the last 30 and their sum, in nanoseconds.
// A fixed ring, so that recording one never allocates under the store's lock.
struct SensorListenerExtraDataInternal {
    static constexpr int64_t kMaxLatencies = 30;
    int64_t latency_sum = 0;
    int64_t latency_count = 0;  // entries in the ring, up to kMaxLatencies
    int64_t latencies[kMaxLatencies] = {};
    int64_t oldest = 0;  // index of the oldest entry once the ring is full

    // The i-th latency counted from the oldest, for i below latency_count.
    int64_t At(int64_t i) const { return latencies[(oldest + i) % kMaxLatencies]; }
};

// The platform sensor type of a SensorListenerType bit; 0 (with a message)
// for an unsupported value.
int sensorMatching(int type);

class SensorListener : public android::RefBase, public ISensorListener {
public:
    SensorListener();
    ~SensorListener() override;

    int EnableSensor(int type, int samplingPeriodUs, int options) override;
    int DisableSensor(int type) override;
    int GetSensorData(int type, SensorListenerEvent* event, bool wait, SensorListenerExtraData* extra) override;

    // The platform sensor manager, or null (also when the lookup throws).
    static ASensorManager* getSensorManager();
    // The HRM chip code read from sysfs (1000: rear light sensor, no HRM).
    static int getAlcStatus();
    // One pass of the looper thread: poll, then drain the queue into the store.
    bool sensorLooperThread();

private:
    friend struct SensorListenerTestPeer;

    // Runs sensorLooperThread until asked to exit.
    class SensorListenerThread : public android::Thread {
    public:
        explicit SensorListenerThread(SensorListener* listener) : android::Thread(false), m_listener(listener) {
            ZEL_LOGT("%s is called!", "SensorListenerThread");
        }
        ~SensorListenerThread() override { ZEL_LOGT("%s is called!", "~SensorListenerThread"); }

    private:
        bool threadLoop() override {
            m_listener->sensorLooperThread();
            return true;
        }

        SensorListener* m_listener;
    };

    bool initSensor(int type, int samplingPeriodUs);
    int startLoop();
    int stopLoop();
    // Stops and joins the thread, then releases the queue and the looper.
    void endLoop();
    // Fetches the platform list again, keeping the previous one for the log.
    void refreshSensorList(ASensorManager* manager);
    bool isTypeListed(int type);
    // Stores one event under m_data_lock; returns the type bit it filled, 0 if dropped.
    uint32_t storeEventLocked(const ASensorEvent& event, int64_t now);
    // Ends every wait in progress: a sample was stored, or the control side
    // wants the readers to look again. Called with m_data_lock held.
    void notifyWaitersLocked();
    // `now` is read before the store's lock is taken: 0 when the clock failed.
    void recordLatencyLocked(int64_t now, int64_t timestamp);
    // The body of GetSensorData, run while the call is counted in m_readers;
    // `lock` (of m_data_lock) may be left held.
    int readSample(int type, SensorListenerEvent* event, bool wait, SensorListenerExtraData* extra,
                   std::unique_lock<std::mutex>& lock);

    ASensorEventQueue* m_event_queue = nullptr;
    SensorListenerEvent m_sensor_data{};
    SensorListenerExtraDataInternal m_extra_data;
    int32_t m_options = 1;
    std::mutex m_data_lock;
    std::condition_variable m_data_cond;
    int m_waiting = 0;          // queries waiting on m_data_cond
    uint64_t m_notify_seq = 0;  // advanced by every notification; a wait ends only when it moves
    bool m_new_data = false;
    // Calls inside GetSensorData; the destructor waits until none is left, so
    // a reader still on its way out never touches a freed listener.
    std::atomic<int> m_readers{0};
    std::condition_variable m_readers_gone;
    std::atomic<uint32_t> m_valid_mask{0};
    int32_t m_hrm_sensor_type = 0;
    android::sp<SensorListenerThread> m_thread;
    ASensorList m_sen_list = nullptr;
    ASensorList m_prev_sen_list = nullptr;
    ALooper* m_looper = nullptr;
    int32_t m_num_sensors = 0;
    int32_t m_prev_num_sensors = 0;
    bool m_loop_running = false;
};

// Process-wide state of the listener.
extern SensorListener* g_sensorListener;
extern int32_t g_sensorListenerLoadCount;
extern android::Mutex g_sensorListenerLock;
extern std::atomic<int32_t> g_enabledSensorMask;
extern int32_t g_dualSensorMask;

}  // namespace zelkov

// The implementations behind LoadSensorListener and UnloadSensorListener.
extern "C" zelkov::ISensorListener* _LoadSensorListener();
extern "C" int _UnloadSensorListener(zelkov::ISensorListener** listener);

#endif

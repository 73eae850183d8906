#ifndef ZELKOV_ANDROID_SENSOR_MANAGER_INTERNAL_SENSOR_LISTENER_H
#define ZELKOV_ANDROID_SENSOR_MANAGER_INTERNAL_SENSOR_LISTENER_H

#include <stdint.h>

#include <atomic>
#include <chrono>
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

    // Adds one latency; once the ring is full it takes the oldest one's place.
    void Record(int64_t latency);
    // The i-th latency counted from the oldest, for i below latency_count.
    int64_t At(int64_t i) const { return latencies[(oldest + i) % kMaxLatencies]; }
};

// Wakes the queries that wait for a sample. A wait ends at the first
// notification given after it began, or at its time-out; a spurious wake-up
// of the condition does not end it. Used with the store's lock held.
struct SampleSignal {
    void NotifyLocked();
    void WaitLocked(std::unique_lock<std::mutex>& lock, std::chrono::milliseconds timeout);

    std::condition_variable m_cond;
    int m_waiting = 0;          // waits in progress
    uint64_t m_notify_seq = 0;  // advanced by every notification
};

// The platform sensor type of a SensorListenerType bit; 0 (with a message)
// for an unsupported value.
int sensorMatching(int type);

// The latest sample of every type, with what the looper keeps beside it.
// m_data_lock guards every member but itself and m_valid_mask, which is read
// without it.
struct SampleStore {
    // Stores one platform event as the looper does, under m_data_lock, and
    // returns the type bit it filled, 0 for an event that is dropped. A
    // gyroscope event adds its delivery latency (`now` minus its timestamp;
    // none when `now` is 0) while m_options has bit 2; a type-16 event keeps
    // its six extra values only while m_hrm_sensor_type is 1000 (a rear light
    // sensor). A stored sample raises m_new_data and wakes the waiting queries.
    uint32_t Put(const ASensorEvent& event, int64_t now);

    SensorListenerEvent m_sensor_data{};
    SensorListenerExtraDataInternal m_extra_data;
    int32_t m_options = 1;
    std::mutex m_data_lock;
    // Notified when a sample is stored, or when the control side wants the
    // waiting queries to look again.
    SampleSignal m_data_cond;
    bool m_new_data = false;
    std::atomic<uint32_t> m_valid_mask{0};  // types that delivered a sample
    int32_t m_hrm_sensor_type = 0;
};

// The HRM sensor type code for what sysfs holds: `hrmName` is the line read
// from the HRM chip's name file ("" when none could be read, null when the
// file does not open); `rearLightPresent` tells whether the rear light
// sensor's name file opens. Logs what getAlcStatus logs.
int AlcStatusOf(const char* hrmName, bool rearLightPresent);

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
    // The body of GetSensorData, run while the call is counted in m_readers;
    // `lock` (of the store's m_data_lock) may be left held.
    int readSample(int type, SensorListenerEvent* event, bool wait, SensorListenerExtraData* extra,
                   std::unique_lock<std::mutex>& lock);

    ASensorEventQueue* m_event_queue = nullptr;
    SampleStore m_store;
    // Calls inside GetSensorData; the destructor waits until none is left, so
    // a reader still on its way out never touches a freed listener.
    std::atomic<int> m_readers{0};
    std::condition_variable m_readers_gone;
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

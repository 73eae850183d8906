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

// The platform sensor type of a SensorListenerType bit; 0 (with a message)
// for an unsupported value.
int sensorMatching(int type);

// Stores one platform event into `store` and returns the type bit it filled,
// 0 for an event that is dropped. A gyroscope event adds its delivery latency
// (`now` minus its timestamp; none when `now` is 0) to `stats` while
// `options` has bit 2; a type-16 event keeps its six extra values only while
// `hrmSensorType` is 1000 (a rear light sensor). The looper calls it on the
// listener's members under m_data_lock, then raises m_new_data, wakes the
// waiting queries and sets the bit in m_valid_mask.
uint32_t StoreSensorEvent(const ASensorEvent& event, int64_t now, int32_t options, int32_t hrmSensorType,
                          SensorListenerEvent& store, SensorListenerExtraDataInternal& stats);

// The wait handshake between the queries and the looper, on the listener's
// m_data_cond, m_notify_seq and m_waiting, all under m_data_lock. A wait ends
// at the first notification given after it began, or at its time-out; a
// spurious wake-up of the condition does not end it.
void NotifySampleWaiters(std::condition_variable& cond, uint64_t& notifySeq, int waiting);
void WaitForSample(std::condition_variable& cond, std::unique_lock<std::mutex>& lock, const uint64_t& notifySeq,
                   int& waiting, std::chrono::milliseconds timeout);

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
    // Ends every wait in progress: a sample was stored, or the control side
    // wants the readers to look again. Called with m_data_lock held.
    void notifyWaitersLocked();
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

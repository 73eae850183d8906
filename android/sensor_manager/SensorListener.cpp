#include "internal/SensorListener.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <chrono>
#include <exception>

#include <sensorndkbridge/looper_camera.h>
#include <utils/ThreadDefs.h>

// A few messages carry a fixed function label and line that log readers key on.
#define SENSOR_LOG_AT(bit, level, label, line, format, ...)                                                       \
    do {                                                                                                          \
        if (__zelkov_log_status() & (bit)) {                                                                      \
            __zelkov_log_print((level), "Zelkov", "%s: %s: %d: " format, ZEL_LOG_BASENAME(__FILE__), label, line, \
                               ##__VA_ARGS__);                                                                    \
        }                                                                                                         \
    } while (0)

namespace zelkov {

SensorListener* g_sensorListener = nullptr;
int32_t g_sensorListenerLoadCount = 0;
android::Mutex g_sensorListenerLock;
std::atomic<int32_t> g_enabledSensorMask{0};
int32_t g_dualSensorMask = 0;

namespace {

constexpr int kPlatformDeviceOrientation = 27;
constexpr int kPlatformAlc = 0x10029;
constexpr int kPlatformVendor1002A = 0x1002A;
constexpr int kPlatformVendor1002F = 0x1002F;
constexpr int kPollTimeoutMs = 300;
constexpr int kEventBatch = 8;
constexpr int kRearLightOnly = 1000;

struct TypeMapping {
    int bit;
    int platformType;
};

constexpr TypeMapping kTypeTable[] = {
    {SENSOR_LISTENER_ACCELEROMETER, ASENSOR_TYPE_ACCELEROMETER},
    {SENSOR_LISTENER_GYROSCOPE, ASENSOR_TYPE_GYROSCOPE},
    {SENSOR_LISTENER_LIGHT, ASENSOR_TYPE_LIGHT},
    {SENSOR_LISTENER_DEVICE_ORIENTATION, kPlatformDeviceOrientation},
    {SENSOR_LISTENER_ALC, kPlatformAlc},
    {SENSOR_LISTENER_VENDOR_1002A, kPlatformVendor1002A},
    {SENSOR_LISTENER_VENDOR_1002F, kPlatformVendor1002F},
    {SENSOR_LISTENER_ROTATION_VECTOR, ASENSOR_TYPE_ROTATION_VECTOR},
};

// The platform type of a supported bit, 0 otherwise; silent.
int platformTypeOf(int type) {
    for (const TypeMapping& mapping : kTypeTable) {
        if (mapping.bit == type) return mapping.platformType;
    }
    return 0;
}

bool isSupportedType(int type) { return platformTypeOf(type) != 0; }

int64_t bootTimeNs() {
    struct timespec ts {};
    if (clock_gettime(CLOCK_BOOTTIME, &ts) != 0) return 0;
    return static_cast<int64_t>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}

int64_t wrappingAdd(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

int64_t wrappingSub(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}

struct HrmChip {
    const char* name;
    int code;
};

// Compared in this order; the first match wins.
constexpr HrmChip kHrmChips[] = {
    {"MAX86900", 0}, {"MAX86907B", 1}, {"MAX86909", 3}, {"MAX86902", 2}, {"ADPD143RI", 4},
    {"MAX86906", 0}, {"MAX86917", 1},  {"SFH7832", 6},  {"MAX86915", 7},
};
constexpr int kUnknownHrmChip = 1;
constexpr char kHrmNamePath[] = "/sys/class/sensors/hrm_sensor/name";
constexpr char kRearLightNamePath[] = "/sys/class/sensors/als_rear/name";

}  // namespace

int sensorMatching(int type) {
    int platformType = platformTypeOf(type);
    if (platformType == 0) ZEL_LOGE("Sensor Listener doesn't support the sensor type!(%d)", type);
    return platformType;
}

// ---- Model ----

ASensorManager* SensorListener::getSensorManager() {
    try {
        return ASensorManager_getInstanceForPackage(nullptr);
    } catch (const std::exception& error) {
        ZEL_LOGE("Failed to get SensorManager. msg=%s", error.what());
        return nullptr;
    }
}

// ---- Construction and control ----

SensorListener::SensorListener() {
    ZEL_LOGT("%s is called!", "SensorListener");
    // The listener is created and deleted plainly, never through sp<>; with a
    // weak lifetime RefBase frees its reference record on such a delete.
    extendObjectLifetime(OBJECT_LIFETIME_WEAK);
    g_enabledSensorMask = 0;
    g_dualSensorMask = 0;
    ASensorManager* manager = getSensorManager();
    if (manager == nullptr) return;
    m_num_sensors = ASensorManager_getSensorList(manager, &m_sen_list);
    ZEL_LOGT("numSensors=%d", m_num_sensors);
}

SensorListener::~SensorListener() {
    ZEL_LOGT("%s is called!", "~SensorListener");
    // Deleted without the matching disables: the thread must not outlive the
    // members its passes use.
    if (m_thread != nullptr) endLoop();
    m_thread = nullptr;
    // Readers still inside GetSensorData (waiting, or woken by the stop and
    // not yet back on the lock) finish before the members go away.
    std::unique_lock<std::mutex> lock(m_data_lock);
    notifyWaitersLocked();
    m_readers_gone.wait(lock, [this] { return m_readers.load() == 0; });
}

void SensorListener::refreshSensorList(ASensorManager* manager) {
    m_prev_sen_list = m_sen_list;
    m_prev_num_sensors = m_num_sensors;
    m_num_sensors = ASensorManager_getSensorList(manager, &m_sen_list);
}

bool SensorListener::isTypeListed(int type) {
    int i = 0;
    for (; i < m_num_sensors; ++i) {
        if (ASensor_getType(m_sen_list[i]) == sensorMatching(type)) break;
    }
    return i < m_num_sensors;
}

int SensorListener::EnableSensor(int type, int samplingPeriodUs, int options) {
    ZEL_LOGT("%s is called!(%d)", "EnableSensor", type);
    android::Mutex::Autolock guard(g_sensorListenerLock);
    ASensorManager* manager = getSensorManager();
    if (manager == nullptr) {
        ZEL_LOGE("ASensorManager is NULL");
        return -ENODEV;
    }
    refreshSensorList(manager);
    ZEL_LOGD("enableSensor : numSensors=%d/%d, m_sen_list = %p/%p", m_num_sensors, m_prev_num_sensors,
             static_cast<const void*>(m_sen_list), static_cast<const void*>(m_prev_sen_list));
    if (!isTypeListed(type)) {
        ZEL_LOGE("Unsupported sensor type is ordered!(%d)", type);
        return -ENODEV;
    }
    if ((g_enabledSensorMask & type) != 0) {
        g_dualSensorMask |= type;
        ZEL_LOGE("sensor(%d) is already enabled! %d/%d", type, g_enabledSensorMask.load(), g_dualSensorMask);
        return 0;
    }
    int period = samplingPeriodUs >= 0 ? samplingPeriodUs : 0;
    if (options != 0) {
        // Read by the looper and the query under the store's lock.
        std::lock_guard<std::mutex> lock(m_data_lock);
        m_options = options;
    }
    int status = startLoop();
    if (status != 0) {
        ZEL_LOGE("startLoop() failed(%d)!!", status);
        return status;
    }
    initSensor(type, period);
    return 0;
}

bool SensorListener::initSensor(int type, int samplingPeriodUs) {
    ZEL_LOGT("%s is called!(%d/%d)", "initSensor", type, g_enabledSensorMask.load());
    ASensorManager* manager = getSensorManager();
    if (manager == nullptr) {
        ZEL_LOGE("ASensorManager is NULL");
        return true;
    }
    if (m_event_queue == nullptr) {
        ZEL_LOGE("m_event_queue is not created!");
        return true;
    }
    if (type == 0 || (g_enabledSensorMask & type) == type) return true;
    if (!isSupportedType(type)) {
        ZEL_LOGE("Sensor Listener doesn't support the sensor type!(%d)", type);
        std::lock_guard<std::mutex> lock(m_data_lock);
        notifyWaitersLocked();
        return false;
    }
    g_enabledSensorMask |= type;
    const ASensor* sensor = ASensorManager_getDefaultSensor(manager, platformTypeOf(type));
    // The platform dereferences the sensor: a list that changed under us gives none.
    if (sensor != nullptr) ASensorEventQueue_registerSensor(m_event_queue, sensor, samplingPeriodUs, 0);
    if (type == SENSOR_LISTENER_ALC) {
        int code = getAlcStatus();
        std::lock_guard<std::mutex> lock(m_data_lock);
        m_hrm_sensor_type = code;
    }
    return true;
}

int SensorListener::DisableSensor(int type) {
    ZEL_LOGT("%s is called!(%d)", "DisableSensor", type);
    android::Mutex::Autolock guard(g_sensorListenerLock);
    if (g_sensorListener == nullptr) {
        ZEL_LOGE("check g_sensorListener");
        return 0;
    }
    ASensorManager* manager = getSensorManager();
    if (manager == nullptr) {
        ZEL_LOGE("ASensorManager is NULL");
        return -ENODEV;
    }
    refreshSensorList(manager);
    ZEL_LOGD("disableSensor : numSensors=%d/%d, m_sen_list = %p/%p", m_num_sensors, m_prev_num_sensors,
             static_cast<const void*>(m_sen_list), static_cast<const void*>(m_prev_sen_list));
    if (!isTypeListed(type)) {
        ZEL_LOGE("Unsupported sensor type is ordered!(%d)", type);
        return -ENODEV;
    }
    if ((g_dualSensorMask & type) != 0) {
        g_dualSensorMask &= ~type;
        ZEL_LOGE("dual sensor type is ordered!(%d) %d/%d", type, g_enabledSensorMask.load(), g_dualSensorMask);
        return -ENODEV;
    }
    if (!isSupportedType(type)) {
        // Listed only because the platform lists a sensor of type 0.
        ZEL_LOGE("Sensor Listener doesn't support the sensor type!(%d)", type);
        return -EINVAL;
    }
    int platformType = -1;  // no platform sensor has it: an off type disables nothing
    if ((g_enabledSensorMask & type) != 0) {
        g_enabledSensorMask &= ~type;
        platformType = platformTypeOf(type);
    }
    // An off type has no sensor (the platform would dereference it), and
    // without a loop there is no queue: nothing to disable then.
    const ASensor* sensor = ASensorManager_getDefaultSensor(manager, platformType);
    if (sensor != nullptr && m_event_queue != nullptr) ASensorEventQueue_disableSensor(m_event_queue, sensor);
    stopLoop();
    return 0;
}

// ---- Looper thread lifecycle ----

int SensorListener::startLoop() {
    ZEL_LOGT("%s is called! (%d)", "startLoop", g_enabledSensorMask.load());
    ASensorManager* manager = getSensorManager();
    if (manager == nullptr) {
        ZEL_LOGE("ASensorManager is NULL");
        return -ENODEV;
    }
    if (m_thread == nullptr) m_thread = new SensorListenerThread(this);
    if (m_loop_running) return 0;
    m_looper = ALooper_forCamera();
    if (m_event_queue == nullptr) {
        m_event_queue = ASensorManager_createEventQueue(manager, m_looper, 0, nullptr, nullptr);
    }
    android::status_t status = m_thread->run("sensor_looper_thread", android::PRIORITY_DEFAULT, 0);
    if (status == android::NO_ERROR) {
        m_loop_running = true;
        return 0;
    }
    if (status == android::INVALID_OPERATION) {
        ZEL_LOGT("thread already running ?!?");
        m_loop_running = true;
        return status;
    }
    ZEL_LOGE("couldn't run thread");
    // Give back what this start took, so the next one begins afresh with a
    // queue bound to its own looper.
    m_thread = nullptr;
    ASensorManager_destroyEventQueue(manager, m_event_queue);
    m_event_queue = nullptr;
    ALooper_release_forCamera(m_looper);
    m_looper = nullptr;
    return status;
}

int SensorListener::stopLoop() {
    ZEL_LOGT("%s is called! (%d)", "stopLoop", g_enabledSensorMask.load());
    if (m_thread == nullptr) return 0;
    if ((g_enabledSensorMask | g_dualSensorMask) != 0) return 0;
    ZEL_LOGT("stopLoop %d", g_enabledSensorMask.load());
    endLoop();
    return 0;
}

void SensorListener::endLoop() {
    // Exit request before the wake, so the woken pass ends with it pending.
    m_thread->requestExit();
    ALooper_wake(m_looper);
    m_thread->join();
    m_thread = nullptr;
    ASensorManager* manager = getSensorManager();
    if (manager != nullptr) {
        ASensorManager_destroyEventQueue(manager, m_event_queue);
    } else {
        ZEL_LOGE("ASensorManager is NULL");
    }
    m_event_queue = nullptr;
    {
        // Only after the join: every pass takes this lock.
        std::lock_guard<std::mutex> lock(m_data_lock);
        notifyWaitersLocked();  // a waiting query sees the loop gone
    }
    ALooper_release_forCamera(m_looper);
    m_loop_running = false;
    m_looper = nullptr;
}

// ---- Event intake ----

bool SensorListener::sensorLooperThread() {
    if (ALooper_pollOnce_camera(m_looper, kPollTimeoutMs, nullptr, nullptr, nullptr) != ALOOPER_POLL_CALLBACK) {
        return true;
    }
    ASensorEvent events[kEventBatch];
    memset(events, 0, sizeof(events));
    ssize_t count;
    while ((count = ASensorEventQueue_getEvents(m_event_queue, events, kEventBatch)) >= 1) {
        for (ssize_t i = 0; i < count; ++i) {
            // The clock is read before the lock, which a real-time reader may be waiting for.
            const int64_t now = events[i].type == ASENSOR_TYPE_GYROSCOPE ? bootTimeNs() : 0;
            // Per event, so a waiting reader can take over inside a batch.
            std::lock_guard<std::mutex> store(m_data_lock);
            const uint32_t bit =
                StoreSensorEvent(events[i], now, m_options, m_hrm_sensor_type, m_sensor_data, m_extra_data);
            if (bit == 0) continue;
            m_new_data = true;
            notifyWaitersLocked();
            m_valid_mask |= bit;
        }
    }
    if (count != 0 && count != -EAGAIN) {
        SENSOR_LOG_AT(1, ZEL_DEBUG_LEVEL_ERROR, "sensor_events_listener", 262, "reading events failed: %s",
                      strerror(static_cast<int>(-count)));
    }
    return true;
}

uint32_t StoreSensorEvent(const ASensorEvent& event, int64_t now, int32_t options, int32_t hrmSensorType,
                          SensorListenerEvent& store, SensorListenerExtraDataInternal& stats) {
    const float* data = event.data;
    switch (event.type) {
        case ASENSOR_TYPE_ACCELEROMETER:
            store.accel = {data[0], data[1], data[2]};
            return SENSOR_LISTENER_ACCELEROMETER;
        case ASENSOR_TYPE_GYROSCOPE:
            // Timestamps come from the platform unchecked: the difference wraps in
            // two's complement rather than overflow.
            if ((options & 2) != 0 && now != 0) stats.Record(wrappingSub(now, event.timestamp));
            store.gyro = {data[0], data[1], data[2], event.timestamp};
            return SENSOR_LISTENER_GYROSCOPE;
        case ASENSOR_TYPE_LIGHT: store.light = data[0]; return SENSOR_LISTENER_LIGHT;
        case kPlatformDeviceOrientation:
            // Written so that NaN fails too.
            if (!(data[0] >= 0.0f && data[0] <= 3.0f)) return 0;
            store.orientation = static_cast<uint32_t>(data[0]);
            return SENSOR_LISTENER_DEVICE_ORIENTATION;
        case ASENSOR_TYPE_ROTATION_VECTOR:
            store.rotation = {data[0], data[1], data[2], data[3], data[4], event.timestamp};
            return SENSOR_LISTENER_ROTATION_VECTOR;
        case kPlatformAlc:
            if (data[0] == -1.0f || data[0] == -2.0f) {
                memcpy(&store.alc.status, &data[1], sizeof(store.alc.status));
            } else {
                store.alc.value = data[0];
                if (hrmSensorType == kRearLightOnly) {
                    memcpy(store.alc.extra, &data[1], sizeof(store.alc.extra));
                }
            }
            return SENSOR_LISTENER_ALC;
        case kPlatformVendor1002A:
            memcpy(store.vendor_1002a.values, data, sizeof(store.vendor_1002a.values));
            return SENSOR_LISTENER_VENDOR_1002A;
        case kPlatformVendor1002F: store.vendor_1002f = data[0]; return SENSOR_LISTENER_VENDOR_1002F;
        default: return 0;
    }
}

void SensorListenerExtraDataInternal::Record(int64_t latency) {
    // The sum wraps like the latencies it adds up.
    latency_sum = wrappingAdd(latency_sum, latency);
    if (latency_count < kMaxLatencies) {
        latencies[latency_count++] = latency;
        return;
    }
    latency_sum = wrappingSub(latency_sum, latencies[oldest]);
    latencies[oldest] = latency;
    oldest = (oldest + 1) % kMaxLatencies;
}

void NotifySampleWaiters(std::condition_variable& cond, uint64_t& notifySeq, int waiting) {
    ++notifySeq;
    if (waiting > 0) cond.notify_all();
}

void WaitForSample(std::condition_variable& cond, std::unique_lock<std::mutex>& lock, const uint64_t& notifySeq,
                   int& waiting, std::chrono::milliseconds timeout) {
    const uint64_t seen = notifySeq;
    ++waiting;
    cond.wait_for(lock, timeout, [&] { return notifySeq != seen; });
    --waiting;
}

void SensorListener::notifyWaitersLocked() { NotifySampleWaiters(m_data_cond, m_notify_seq, m_waiting); }

// ---- Query ----

int SensorListener::GetSensorData(int type, SensorListenerEvent* event, bool wait, SensorListenerExtraData* extra) {
    m_readers.fetch_add(1);
    std::unique_lock<std::mutex> lock(m_data_lock, std::defer_lock);
    const int result = readSample(type, event, wait, extra, lock);
    // The last touch of the listener: the destructor may run once this lock is released.
    if (!lock.owns_lock()) lock.lock();
    if (m_readers.fetch_sub(1) == 1) m_readers_gone.notify_all();
    return result;
}

int SensorListener::readSample(int type, SensorListenerEvent* event, bool wait, SensorListenerExtraData* extra,
                               std::unique_lock<std::mutex>& lock) {
    if ((g_enabledSensorMask.load() & type) == 0) {
        SENSOR_LOG_AT(1, ZEL_DEBUG_LEVEL_ERROR, "GetSensorData", 543, "Sensor(%d) is not enabled yet!", type);
        return -EINVAL;
    }
    if ((m_valid_mask.load() & static_cast<uint32_t>(type)) == 0) {
        SENSOR_LOG_AT(16, ZEL_DEBUG_LEVEL_TRACE, "GetSensorData", 550, "Sensor(%d) valid data is not coming yet!",
                      type);
        return -EAGAIN;
    }
    if (!isSupportedType(type)) {
        SENSOR_LOG_AT(1, ZEL_DEBUG_LEVEL_ERROR, "GetSensorData", 724,
                      "Sensor Listener doesn't support the sensor type!(%d)", type);
        return -EINVAL;
    }
    // The copy is made under the store's lock, so it never mixes two samples.
    lock.lock();
    // Checked again under the lock: a stop that cleared the mask and notified
    // before this reader got here would otherwise leave it waiting 2 s.
    if (wait && !m_new_data && (g_enabledSensorMask.load() & type) != 0) {
        // One notification or 2 s on the steady clock, whichever comes first.
        WaitForSample(m_data_cond, lock, m_notify_seq, m_waiting, std::chrono::seconds(2));
    }
    const SensorListenerEvent& store = m_sensor_data;
    switch (type) {
        case SENSOR_LISTENER_ACCELEROMETER: event->accel = store.accel; break;
        case SENSOR_LISTENER_GYROSCOPE:
            event->gyro = store.gyro;
            if (extra != nullptr) {
                bool haveAverage = (m_options & 2) != 0 && m_extra_data.latency_count > 0;
                extra->avg_latency_ns = haveAverage ? m_extra_data.latency_sum / m_extra_data.latency_count : -1;
            }
            break;
        case SENSOR_LISTENER_LIGHT: event->light = store.light; break;
        case SENSOR_LISTENER_DEVICE_ORIENTATION: event->orientation = store.orientation; break;
        case SENSOR_LISTENER_ALC:
            event->alc = store.alc;
            event->alc.sensor_type = static_cast<float>(m_hrm_sensor_type);
            break;
        case SENSOR_LISTENER_VENDOR_1002A: event->vendor_1002a = store.vendor_1002a; break;
        case SENSOR_LISTENER_VENDOR_1002F: event->vendor_1002f = store.vendor_1002f; break;
        case SENSOR_LISTENER_ROTATION_VECTOR: event->rotation = store.rotation; break;
    }
    m_new_data = false;
    return 0;
}

// ---- Light sensor chip identification ----

int AlcStatusOf(const char* hrmName, bool rearLightPresent) {
    int code = kUnknownHrmChip;
    if (hrmName == nullptr) {
        SENSOR_LOG_AT(1, ZEL_DEBUG_LEVEL_ERROR, "getAlcStatus", 832, "ERR:failed to open hrm alc sensor's name");
        if (rearLightPresent) {
            code = kRearLightOnly;
        } else {
            SENSOR_LOG_AT(1, ZEL_DEBUG_LEVEL_ERROR, "getAlcStatus", 838, "ERR:failed to open als rear sensor's name");
        }
    } else if (hrmName[0] == '\0') {
        SENSOR_LOG_AT(1, ZEL_DEBUG_LEVEL_ERROR, "getAlcStatus", 850, "ERR:failed to read hrm alc sensor's name");
    } else {
        // The last character read (normally the newline) is left out.
        const size_t length = strlen(hrmName) - 1;
        for (const HrmChip& chip : kHrmChips) {
            if (strncmp(hrmName, chip.name, length) == 0) {
                code = chip.code;
                break;
            }
        }
    }
    SENSOR_LOG_AT(16, ZEL_DEBUG_LEVEL_TRACE, "getAlcStatus", 897, "HRM sensor type: %d", code);
    return code;
}

int SensorListener::getAlcStatus() {
    FILE* hrm = fopen(kHrmNamePath, "r");
    if (hrm == nullptr) {
        // The rear light sensor's file is only looked for, never read.
        FILE* rearLight = fopen(kRearLightNamePath, "r");
        const bool rearLightPresent = rearLight != nullptr;
        if (rearLightPresent) fclose(rearLight);
        return AlcStatusOf(nullptr, rearLightPresent);
    }
    char name[24];
    memset(name, 0, sizeof(name));
    const bool read = fgets(name, sizeof(name), hrm) != nullptr;
    fclose(hrm);
    return AlcStatusOf(read ? name : "", false);
}

// ---- Loader ----

}  // namespace zelkov

using zelkov::g_sensorListener;
using zelkov::g_sensorListenerLoadCount;

extern "C" zelkov::ISensorListener* _LoadSensorListener() {
    android::Mutex::Autolock guard(zelkov::g_sensorListenerLock);
    ZEL_LOGT("%s is called! g_sensorListener(%p)", "_LoadSensorListener", static_cast<void*>(g_sensorListener));
    if (g_sensorListener == nullptr) {
        g_sensorListener = new zelkov::SensorListener();
        g_sensorListenerLoadCount = 1;
    } else {
        ++g_sensorListenerLoadCount;
    }
    return g_sensorListener;
}

extern "C" int _UnloadSensorListener(zelkov::ISensorListener** listener) {
    android::Mutex::Autolock guard(zelkov::g_sensorListenerLock);
    ZEL_LOGT("%s is called! g_sensorListener(%p)", "_UnloadSensorListener", static_cast<void*>(g_sensorListener));
    --g_sensorListenerLoadCount;
    if ((zelkov::g_enabledSensorMask | zelkov::g_dualSensorMask) != 0) return 0;
    if (g_sensorListenerLoadCount > 0) return 0;
    if (listener == nullptr || g_sensorListener == nullptr) {
        ZEL_LOGE("NULL pointer is ordered!!");
        return -EINVAL;
    }
    delete *listener;  // the object the caller's pointer designates, through the interface
    *listener = nullptr;
    g_sensorListener = nullptr;
    return 0;
}

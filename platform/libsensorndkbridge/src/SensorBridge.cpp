// The simulated sensor platform: one sensor manager, event queues bound to
// loopers, and the control side that feeds them. One lock guards all of it;
// each looper has its own condition to wake its poller, notified once the lock
// is free (so the woken poller does not block on it at once), and shared, so
// that a looper released meanwhile leaves the condition alive. Queues and loopers
// are known by a registry of live objects, so a call on a destroyed one is
// caught before anything is read from it.
#include <errno.h>
#include <math.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <vector>

#include <android/looper.h>
#include <android/sensor.h>
#include <sensorndkbridge/looper_camera.h>
#include <zelkov_platform/sensor_control.h>

struct ASensor {
    zelkov_platform::SimulatedSensor info;
};

struct ASensorManager {};

struct ALooper {
    std::shared_ptr<std::condition_variable> wakeup = std::make_shared<std::condition_variable>();
    bool woken = false;
    int polls = 0;  // polls in progress
    std::vector<ASensorEventQueue*> queues;
    // Queues that received an event since the last poll; a poll takes them all,
    // so a queue left non-empty signals again only with its next event.
    std::set<ASensorEventQueue*> ready;
};

struct Registration {
    const ASensor* sensor;
    int periodUs;     // as clamped by the service
    uint64_t serial;  // order of registrations across all queues
};

struct ASensorEventQueue {
    ALooper* looper = nullptr;
    std::deque<ASensorEvent> events;
    std::map<int, Registration> registered;  // by sensor handle
    bool additionalInfo = false;
};

namespace {

constexpr std::size_t kDefaultCapacity = 256;
constexpr int32_t kNormalDelayUs = 200000;  // the platform's SENSOR_DELAY_NORMAL

struct Platform {
    std::mutex lock;
    ASensorManager manager;
    zelkov_platform::SensorManagerMode mode = zelkov_platform::SensorManagerMode::kAvailable;
    std::string throwMessage;
    // Sensors are never freed: a caller may still hold an old list.
    std::vector<std::unique_ptr<ASensor>> allSensors;
    std::vector<std::vector<ASensorRef>> lists;  // every list handed out; the last is current
    std::set<ALooper*> loopers;                  // live
    std::set<ASensorEventQueue*> queues;         // live
    ALooper* processLooper = nullptr;            // ALooper_forThread's, never released
    std::size_t capacity = kDefaultCapacity;
    int pendingError = 0;
    uint64_t registrations = 0;
    zelkov_platform::SensorPlatformStats stats{};
    std::vector<long> getEventsResults;
    std::map<pid_t, std::string> pollers;
};

Platform& P() {
    static Platform* platform = new Platform;  // outlives every static destructor that may still poll
    return *platform;
}

void SetListLocked(Platform& p, const std::vector<zelkov_platform::SimulatedSensor>& sensors) {
    std::vector<ASensorRef> list;
    for (const auto& sensor : sensors) {
        p.allSensors.push_back(std::unique_ptr<ASensor>(new ASensor{sensor}));
        list.push_back(p.allSensors.back().get());
    }
    p.lists.push_back(std::move(list));
}

const std::vector<ASensorRef>& CurrentList(Platform& p) {
    if (p.lists.empty()) SetListLocked(p, zelkov_platform::DefaultSensors());
    return p.lists.back();
}

// The types whose default sensor is a wake-up sensor; every other type's
// default is a non-wake-up one (the platform's SensorManager::getDefaultSensor).
bool DefaultIsWakeUp(int type) {
    switch (type) {
        case ASENSOR_TYPE_PROXIMITY:
        case ASENSOR_TYPE_SIGNIFICANT_MOTION:
        case 22:  // tilt detector
        case 23:  // wake gesture
        case 24:  // glance gesture
        case 25:  // pick-up gesture
        case 26:  // wrist tilt gesture
        case ASENSOR_TYPE_LOW_LATENCY_OFFBODY_DETECT:
        case 36:  // hinge angle
            return true;
        default: return false;
    }
}

ASensorRef DefaultSensorLocked(Platform& p, int type) {
    for (ASensorRef sensor : CurrentList(p)) {
        if (sensor->info.type == type && sensor->info.wakeUp == DefaultIsWakeUp(type)) return sensor;
    }
    return nullptr;
}

bool ListedLocked(Platform& p, const ASensor* sensor) {
    const std::vector<ASensorRef>& list = CurrentList(p);
    return std::any_of(list.begin(), list.end(),
                       [sensor](ASensorRef listed) { return listed->info.handle == sensor->info.handle; });
}

// Where the device dereferences a null or stale handle: one line, then abort.
[[noreturn]] void Misuse(const char* call, const char* rule) {
    fprintf(stderr, "libsensorndkbridge: %s: %s\n", call, rule);
    fflush(stderr);
    abort();
}

// A queue the caller may use: -EINVAL for null (the platform checks that), a
// stop for one that is not live (the device would read freed memory).
int CheckQueueLocked(Platform& p, const ASensorEventQueue* queue, const char* call) {
    if (queue == nullptr) return -EINVAL;
    if (p.queues.count(const_cast<ASensorEventQueue*>(queue)) == 0) {
        Misuse(call, "queue destroyed or never created (the device uses freed memory)");
    }
    return 0;
}

void CheckLooperLocked(Platform& p, const ALooper* looper, const char* call) {
    if (looper == nullptr) Misuse(call, "null looper (the device dereferences it)");
    if (p.loopers.count(const_cast<ALooper*>(looper)) == 0) {
        Misuse(call, "looper released or never created (the device uses freed memory)");
    }
}

void CheckSensor(const ASensor* sensor, const char* call) {
    if (sensor == nullptr) Misuse(call, "null sensor (the device dereferences it)");
}

void RememberPoller(Platform& p) {
    thread_local const pid_t tid = static_cast<pid_t>(gettid());  // a system call: once per thread
    if (p.pollers.count(tid) != 0) return;
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof(name));
    p.pollers[tid] = name;
}

ALooper* NewLooperLocked(Platform& p) {
    auto* looper = new ALooper;
    p.loopers.insert(looper);
    ++p.stats.loopersCreated;
    return looper;
}

// Not counted in the stats, which follow the camera loopers.
ALooper* ProcessLooper(Platform& p) {
    if (p.processLooper == nullptr) {
        p.processLooper = new ALooper;
        p.loopers.insert(p.processLooper);
    }
    return p.processLooper;
}

int PollLocked(Platform& p, std::unique_lock<std::mutex>& lock, ALooper* looper, int timeoutMillis) {
    RememberPoller(p);
    ++looper->polls;
    auto ready = [looper] { return looper->woken || !looper->ready.empty(); };
    if (timeoutMillis < 0) {
        looper->wakeup->wait(lock, ready);
    } else {
        looper->wakeup->wait_for(lock, std::chrono::milliseconds(timeoutMillis), ready);
    }
    --looper->polls;
    // Ready queues come first; a wake that arrived meanwhile stays pending.
    if (!looper->ready.empty()) {
        looper->ready.clear();
        return ALOOPER_POLL_CALLBACK;
    }
    if (looper->woken) {
        looper->woken = false;
        return ALOOPER_POLL_WAKE;
    }
    return ALOOPER_POLL_TIMEOUT;
}

void ClearPollOutputs(int* outFd, int* outEvents, void** outData) {
    if (outFd != nullptr) *outFd = 0;
    if (outEvents != nullptr) *outEvents = 0;
    if (outData != nullptr) *outData = nullptr;
}

// The service's registration: the period clamped to the sensor's bounds (the
// upper first, so the lower wins), refused for a sensor it no longer lists or
// whose batch or activate fails. The bridge answers a refusal with -EINVAL.
int RegisterLocked(Platform& p, ASensorEventQueue* queue, const ASensor* sensor, int32_t samplingPeriodUs) {
    if (!ListedLocked(p, sensor) || sensor->info.refusesRegistration) {
        queue->registered.erase(sensor->info.handle);
        return -EINVAL;
    }
    int32_t period = samplingPeriodUs;
    if (sensor->info.maxDelayUs > 0 && period > sensor->info.maxDelayUs) period = sensor->info.maxDelayUs;
    if (period < sensor->info.minDelayUs) period = sensor->info.minDelayUs;
    queue->registered[sensor->info.handle] = Registration{sensor, period, ++p.registrations};
    return 0;
}

int RegisterSensor(ASensorEventQueue* queue, const ASensor* sensor, int32_t samplingPeriodUs, const char* call) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    if (CheckQueueLocked(p, queue, call) != 0) return -EINVAL;
    CheckSensor(sensor, call);
    return RegisterLocked(p, queue, sensor, samplingPeriodUs);
}

}  // namespace

// ---- The NDK sensor API ----

extern "C" {

ASensorManager* ASensorManager_getInstanceForPackage(const char* /*packageName*/) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    switch (p.mode) {
        case zelkov_platform::SensorManagerMode::kAvailable: return &p.manager;
        case zelkov_platform::SensorManagerMode::kMissing: return nullptr;
        case zelkov_platform::SensorManagerMode::kThrows: throw std::runtime_error(p.throwMessage);
    }
    return nullptr;
}

ASensorManager* ASensorManager_getInstance() { return ASensorManager_getInstanceForPackage(nullptr); }

int ASensorManager_getSensorList(ASensorManager* manager, ASensorList* list) {
    if (manager == nullptr) return -EINVAL;
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    const std::vector<ASensorRef>& current = CurrentList(p);
    // The platform's list is an array allocated with new[]: never null, also when empty.
    static ASensorRef const kEmptyList[1] = {nullptr};
    if (list != nullptr) *list = current.empty() ? kEmptyList : current.data();
    return static_cast<int>(current.size());
}

ASensor const* ASensorManager_getDefaultSensor(ASensorManager* manager, int type) {
    if (manager == nullptr) return nullptr;
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    return DefaultSensorLocked(p, type);
}

ASensorEventQueue* ASensorManager_createEventQueue(ASensorManager* manager, ALooper* looper, int /*ident*/,
                                                   ALooper_callbackFunc /*callback*/, void* /*data*/) {
    if (manager == nullptr || looper == nullptr) return nullptr;
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    CheckLooperLocked(p, looper, "ASensorManager_createEventQueue");
    auto* queue = new ASensorEventQueue;
    queue->looper = looper;
    looper->queues.push_back(queue);
    p.queues.insert(queue);
    ++p.stats.queuesCreated;
    return queue;
}

int ASensorManager_destroyEventQueue(ASensorManager* manager, ASensorEventQueue* queue) {
    if (manager == nullptr || queue == nullptr) return -EINVAL;
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    CheckQueueLocked(p, queue, "ASensorManager_destroyEventQueue");
    p.queues.erase(queue);
    if (queue->looper != nullptr) {
        auto& attached = queue->looper->queues;
        attached.erase(std::remove(attached.begin(), attached.end(), queue), attached.end());
        queue->looper->ready.erase(queue);
    }
    delete queue;
    return 0;
}

int ASensorEventQueue_registerSensor(ASensorEventQueue* queue, ASensor const* sensor, int32_t samplingPeriodUs,
                                     int64_t /*maxBatchReportLatencyUs*/) {
    return RegisterSensor(queue, sensor, samplingPeriodUs, "ASensorEventQueue_registerSensor");
}

int ASensorEventQueue_enableSensor(ASensorEventQueue* queue, ASensor const* sensor) {
    return RegisterSensor(queue, sensor, kNormalDelayUs, "ASensorEventQueue_enableSensor");
}

int ASensorEventQueue_setEventRate(ASensorEventQueue* queue, ASensor const* sensor, int32_t usec) {
    // The platform registers the sensor again, with no batching.
    return RegisterSensor(queue, sensor, usec, "ASensorEventQueue_setEventRate");
}

int ASensorEventQueue_disableSensor(ASensorEventQueue* queue, ASensor const* sensor) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    if (CheckQueueLocked(p, queue, "ASensorEventQueue_disableSensor") != 0) return -EINVAL;
    CheckSensor(sensor, "ASensorEventQueue_disableSensor");
    // The service refuses to disable a sensor that no queue has enabled.
    const int handle = sensor->info.handle;
    const bool active = std::any_of(p.queues.begin(), p.queues.end(), [handle](const ASensorEventQueue* live) {
        return live->registered.count(handle) != 0;
    });
    queue->registered.erase(handle);
    return active ? 0 : -EINVAL;
}

int ASensorEventQueue_hasEvents(ASensorEventQueue* queue) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    if (CheckQueueLocked(p, queue, "ASensorEventQueue_hasEvents") != 0) return -EINVAL;
    return queue->events.empty() ? 0 : 1;
}

int ASensorEventQueue_requestAdditionalInfoEvents(ASensorEventQueue* queue, bool enable) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    if (CheckQueueLocked(p, queue, "ASensorEventQueue_requestAdditionalInfoEvents") != 0) return -EINVAL;
    queue->additionalInfo = enable;
    return 0;
}

ssize_t ASensorEventQueue_getEvents(ASensorEventQueue* queue, ASensorEvent* events, size_t count) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    if (CheckQueueLocked(p, queue, "ASensorEventQueue_getEvents") != 0) return -EINVAL;
    if (events == nullptr && count != 0 && !queue->events.empty()) {
        Misuse("ASensorEventQueue_getEvents", "null event buffer (the device copies events into it)");
    }
    ssize_t result;
    if (p.pendingError != 0) {
        result = p.pendingError;
        p.pendingError = 0;
    } else {
        std::size_t n = std::min(count, queue->events.size());
        std::copy_n(queue->events.begin(), n, events);
        queue->events.erase(queue->events.begin(), queue->events.begin() + static_cast<std::ptrdiff_t>(n));
        result = static_cast<ssize_t>(n);
    }
    if (p.getEventsResults.size() < 100000) p.getEventsResults.push_back(static_cast<long>(result));
    return result;
}

// The sensor's description; a null sensor answers the platform's invalid values.
const char* ASensor_getName(ASensor const* sensor) { return sensor != nullptr ? sensor->info.name.c_str() : nullptr; }

const char* ASensor_getVendor(ASensor const* sensor) {
    return sensor != nullptr ? sensor->info.vendor.c_str() : nullptr;
}

int ASensor_getType(ASensor const* sensor) { return sensor != nullptr ? sensor->info.type : ASENSOR_TYPE_INVALID; }

float ASensor_getResolution(ASensor const* sensor) {
    return sensor != nullptr ? sensor->info.resolution : ASENSOR_RESOLUTION_INVALID;
}

int ASensor_getMinDelay(ASensor const* sensor) {
    return sensor != nullptr ? sensor->info.minDelayUs : ASENSOR_DELAY_INVALID;
}

int ASensor_getFifoMaxEventCount(ASensor const* sensor) {
    return sensor != nullptr ? sensor->info.fifoMaxEventCount : ASENSOR_FIFO_COUNT_INVALID;
}

int ASensor_getFifoReservedEventCount(ASensor const* sensor) {
    return sensor != nullptr ? sensor->info.fifoReservedEventCount : ASENSOR_FIFO_COUNT_INVALID;
}

const char* ASensor_getStringType(ASensor const* sensor) {
    return sensor != nullptr ? sensor->info.stringType.c_str() : nullptr;
}

// Not in the NDK header; the platform's bridge exports it all the same.
float ASensor_getMaxRange(ASensor const* sensor) { return sensor != nullptr ? sensor->info.maxRange : nanf(""); }

int ASensor_getHandle(ASensor const* sensor) { return sensor != nullptr ? sensor->info.handle : ASENSOR_INVALID; }

int ASensor_getReportingMode(ASensor const* sensor) {
    if (sensor == nullptr) return AREPORTING_MODE_INVALID;
    const int mode = sensor->info.reportingMode;
    return mode >= AREPORTING_MODE_CONTINUOUS && mode <= AREPORTING_MODE_SPECIAL_TRIGGER ? mode
                                                                                         : AREPORTING_MODE_INVALID;
}

bool ASensor_isWakeUpSensor(ASensor const* sensor) { return sensor != nullptr && sensor->info.wakeUp; }

// The simulated sensors offer no direct channel.
bool ASensor_isDirectChannelTypeSupported(ASensor const* /*sensor*/, int /*channelType*/) { return false; }

int ASensor_getHighestDirectReportRateLevel(ASensor const* /*sensor*/) { return ASENSOR_DIRECT_RATE_STOP; }

// The platform's bridge has one looper for the process, whatever the thread.
ALooper* ALooper_forThread() {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    return ProcessLooper(p);
}

ALooper* ALooper_prepare(int /*opts*/) { return ALooper_forThread(); }

int ALooper_pollOnce(int timeoutMillis, int* outFd, int* outEvents, void** outData) {
    ClearPollOutputs(outFd, outEvents, outData);
    Platform& p = P();
    std::unique_lock<std::mutex> lock(p.lock);
    return PollLocked(p, lock, ProcessLooper(p), timeoutMillis);
}

ALooper* ALooper_forCamera(void) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    return NewLooperLocked(p);
}

int ALooper_pollOnce_camera(ALooper* looper, int timeoutMillis, int* outFd, int* outEvents, void** outData) {
    ClearPollOutputs(outFd, outEvents, outData);
    if (looper == nullptr) return ALOOPER_POLL_ERROR;
    Platform& p = P();
    std::unique_lock<std::mutex> lock(p.lock);
    CheckLooperLocked(p, looper, "ALooper_pollOnce_camera");
    return PollLocked(p, lock, looper, timeoutMillis);
}

void ALooper_wake(ALooper* looper) {
    Platform& p = P();
    std::shared_ptr<std::condition_variable> wakeup;
    {
        std::lock_guard<std::mutex> guard(p.lock);
        CheckLooperLocked(p, looper, "ALooper_wake");
        ++p.stats.wakes;
        looper->woken = true;
        wakeup = looper->wakeup;
    }
    wakeup->notify_all();
}

void ALooper_release_forCamera(ALooper* looper) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    CheckLooperLocked(p, looper, "ALooper_release_forCamera");
    if (looper == p.processLooper) Misuse("ALooper_release_forCamera", "the process looper is not released");
    if (looper->polls != 0)
        Misuse("ALooper_release_forCamera", "looper still polled (the poll would use freed memory)");
    p.loopers.erase(looper);
    for (ASensorEventQueue* queue : looper->queues) queue->looper = nullptr;
    delete looper;
}

}  // extern "C"

// ---- Control ----

namespace zelkov_platform {

std::vector<SimulatedSensor> DefaultSensors() {
    return {
        {ASENSOR_TYPE_ACCELEROMETER, "Simulated Accelerometer", 1},
        {ASENSOR_TYPE_MAGNETIC_FIELD, "Simulated Magnetometer", 2},
        {ASENSOR_TYPE_GYROSCOPE, "Simulated Gyroscope", 3},
        {ASENSOR_TYPE_LIGHT, "Simulated Light", 4},
        {ASENSOR_TYPE_ROTATION_VECTOR, "Simulated Rotation Vector", 5},
        {27, "Simulated Device Orientation", 6},
        {0x10029, "Simulated HRM/ALC", 7},
        {0x1002A, "Simulated Private 1002A", 8},
        {0x1002F, "Simulated Private 1002F", 9},
    };
}

void ResetSensorPlatform() {
    StopTraceReplay();
    StopAllSensorStreams();
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    SetListLocked(p, DefaultSensors());
    p.mode = SensorManagerMode::kAvailable;
    p.capacity = kDefaultCapacity;
    p.pendingError = 0;
    p.getEventsResults.clear();
    p.pollers.clear();
    p.stats = SensorPlatformStats{};
    for (ASensorEventQueue* queue : p.queues) queue->events.clear();
    for (ALooper* live : p.loopers) live->ready.clear();  // nothing left to signal
}

void SetSensorList(const std::vector<SimulatedSensor>& sensors) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    SetListLocked(p, sensors);
}

void SetSensorManagerMode(SensorManagerMode mode, const char* message) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    p.mode = mode;
    p.throwMessage = message != nullptr ? message : "";
}

void SetQueueCapacity(std::size_t capacity) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    p.capacity = std::max<std::size_t>(capacity, 1);
}

int64_t BootTimeNs() {
    timespec ts{};
    clock_gettime(CLOCK_BOOTTIME, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}

ASensorEvent MakeSensorEvent(int type, std::initializer_list<float> data, int64_t timestamp) {
    ASensorEvent event;
    std::memset(&event, 0, sizeof(event));
    event.version = sizeof(ASensorEvent);
    event.type = type;
    event.timestamp = timestamp != 0 ? timestamp : BootTimeNs();
    std::size_t i = 0;
    for (float value : data) {
        if (i == 16) break;
        event.data[i++] = value;
    }
    return event;
}

int InjectSensorEvents(const ASensorEvent* events, std::size_t count, bool toEveryQueue) {
    Platform& p = P();
    std::unique_lock<std::mutex> guard(p.lock);
    std::vector<ASensorEvent> stamped(events, events + count);
    for (ASensorEvent& event : stamped) {
        if (event.sensor != 0) continue;
        ASensorRef source = DefaultSensorLocked(p, event.type);
        if (source != nullptr) event.sensor = source->info.handle;
    }
    int reached = 0;
    std::vector<std::shared_ptr<std::condition_variable>> toWake;
    for (ASensorEventQueue* queue : p.queues) {
        bool hit = false;
        for (const ASensorEvent& event : stamped) {
            if (!toEveryQueue && queue->registered.count(event.sensor) == 0) continue;
            if (event.type == ASENSOR_TYPE_ADDITIONAL_INFO && !queue->additionalInfo) continue;
            if (queue->events.size() >= p.capacity) {
                queue->events.pop_front();
                ++p.stats.droppedEvents;
            }
            queue->events.push_back(event);
            hit = true;
        }
        if (hit) {
            ++reached;
            // A queue already ready has had its looper woken.
            if (queue->looper != nullptr && queue->looper->ready.insert(queue).second) {
                toWake.push_back(queue->looper->wakeup);
            }
        }
    }
    p.stats.injectedEvents += count;
    guard.unlock();
    for (const auto& pollerWakeup : toWake) pollerWakeup->notify_all();
    return reached;
}

void FailNextGetEvents(int error) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    p.pendingError = error;
}

SensorPlatformStats GetSensorPlatformStats() {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    SensorPlatformStats stats = p.stats;
    stats.liveLoopers = static_cast<int>(p.loopers.size()) - (p.processLooper != nullptr ? 1 : 0);
    stats.liveQueues = static_cast<int>(p.queues.size());
    return stats;
}

std::size_t PendingEventCount() {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    std::size_t pending = 0;
    for (const ASensorEventQueue* queue : p.queues) pending += queue->events.size();
    return pending;
}

int RegisteredSamplingPeriodUs(int type) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    const Registration* last = nullptr;
    for (const ASensorEventQueue* queue : p.queues) {
        for (const auto& entry : queue->registered) {
            const Registration& registration = entry.second;
            if (registration.sensor->info.type != type) continue;
            if (last == nullptr || registration.serial > last->serial) last = &registration;
        }
    }
    return last != nullptr ? last->periodUs : -1;
}

std::vector<long> GetEventsResults() {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    return p.getEventsResults;
}

void ClearGetEventsResults() {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    p.getEventsResults.clear();
}

std::vector<int> PollingThreadIds() {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    std::vector<int> ids;
    for (const auto& poller : p.pollers) ids.push_back(static_cast<int>(poller.first));
    return ids;
}

std::vector<std::string> PollingThreadNames() {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    std::vector<std::string> names;
    for (const auto& poller : p.pollers) names.push_back(poller.second);
    return names;
}

}  // namespace zelkov_platform

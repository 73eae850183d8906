// The simulated sensor platform: one sensor manager, event queues bound to
// loopers, and the control side that feeds them. One lock guards all of it;
// each looper has its own condition to wake its poller.
#include <errno.h>
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
    int type;
    std::string name;
    int handle;
};

struct ASensorManager {};

struct ALooper {
    std::condition_variable cond;
    bool woken = false;
    std::vector<ASensorEventQueue*> queues;
    // Queues that received an event since the last poll; a poll takes them all,
    // so a queue left non-empty signals again only with its next event.
    std::set<ASensorEventQueue*> ready;
};

struct ASensorEventQueue {
    ALooper* looper = nullptr;
    std::deque<ASensorEvent> events;
    std::map<int, int> periodByType;  // registered sensors: type -> sampling period (us)
};

namespace {

constexpr std::size_t kDefaultCapacity = 256;

struct Platform {
    std::mutex lock;
    ASensorManager manager;
    zelkov_platform::SensorManagerMode mode = zelkov_platform::SensorManagerMode::kAvailable;
    std::string throwMessage;
    // Sensors are never freed: a caller may still hold an old list.
    std::vector<std::unique_ptr<ASensor>> allSensors;
    std::vector<std::vector<ASensorRef>> lists;  // every list handed out; the last is current
    std::set<ALooper*> loopers;
    std::set<ASensorEventQueue*> queues;
    std::size_t capacity = kDefaultCapacity;
    int pendingError = 0;
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
        p.allSensors.push_back(std::unique_ptr<ASensor>(new ASensor{sensor.type, sensor.name, sensor.handle}));
        list.push_back(p.allSensors.back().get());
    }
    p.lists.push_back(std::move(list));
}

const std::vector<ASensorRef>& CurrentList(Platform& p) {
    if (p.lists.empty()) SetListLocked(p, zelkov_platform::DefaultSensors());
    return p.lists.back();
}

// Where the device dereferences a null or stale handle: one line, then abort.
[[noreturn]] void Misuse(const char* call, const char* rule) {
    fprintf(stderr, "libsensorndkbridge: %s: %s\n", call, rule);
    fflush(stderr);
    abort();
}

void RememberPoller(Platform& p) {
    pid_t tid = static_cast<pid_t>(gettid());
    if (p.pollers.count(tid) != 0) return;
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof(name));
    p.pollers[tid] = name;
}

}  // namespace

// ---- The NDK sensor API ----

extern "C" {

ASensorManager* ASensorManager_getInstanceForPackage(const char* /*packageName*/) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    switch (p.mode) {
    case zelkov_platform::SensorManagerMode::kAvailable:
        return &p.manager;
    case zelkov_platform::SensorManagerMode::kMissing:
        return nullptr;
    case zelkov_platform::SensorManagerMode::kThrows:
        throw std::runtime_error(p.throwMessage);
    }
    return nullptr;
}

int ASensorManager_getSensorList(ASensorManager* manager, ASensorList* list) {
    if (manager == nullptr) return -EINVAL;
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    const std::vector<ASensorRef>& current = CurrentList(p);
    if (list != nullptr) *list = current.empty() ? nullptr : current.data();
    return static_cast<int>(current.size());
}

ASensor const* ASensorManager_getDefaultSensor(ASensorManager* manager, int type) {
    if (manager == nullptr) return nullptr;
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    for (ASensorRef sensor : CurrentList(p)) {
        if (sensor->type == type) return sensor;
    }
    return nullptr;
}

int ASensor_getType(ASensor const* sensor) {
    return sensor != nullptr ? sensor->type : ASENSOR_TYPE_INVALID;
}

ASensorEventQueue* ASensorManager_createEventQueue(ASensorManager* manager, ALooper* looper, int /*ident*/,
                                                   ALooper_callbackFunc /*callback*/, void* /*data*/) {
    if (manager == nullptr || looper == nullptr) return nullptr;
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
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
    // The device deletes whatever it is given and answers OK; a queue this
    // platform never made (or made and already destroyed) is left alone.
    if (p.queues.erase(queue) == 0) return 0;
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
    if (queue == nullptr) return -EINVAL;
    if (sensor == nullptr) Misuse("ASensorEventQueue_registerSensor", "null sensor (the device dereferences it)");
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    queue->periodByType[sensor->type] = samplingPeriodUs;
    return 0;
}

int ASensorEventQueue_enableSensor(ASensorEventQueue* queue, ASensor const* sensor) {
    if (queue == nullptr) return -EINVAL;
    if (sensor == nullptr) Misuse("ASensorEventQueue_enableSensor", "null sensor (the device dereferences it)");
    return ASensorEventQueue_registerSensor(queue, sensor, 200000, 0);  // the platform's normal delay
}

int ASensorEventQueue_disableSensor(ASensorEventQueue* queue, ASensor const* sensor) {
    if (queue == nullptr) return -EINVAL;
    if (sensor == nullptr) Misuse("ASensorEventQueue_disableSensor", "null sensor (the device dereferences it)");
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    queue->periodByType.erase(sensor->type);
    return 0;
}

ssize_t ASensorEventQueue_getEvents(ASensorEventQueue* queue, ASensorEvent* events, size_t count) {
    if (queue == nullptr) return -EINVAL;
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
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

ALooper* ALooper_forCamera(void) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    auto* looper = new ALooper;
    p.loopers.insert(looper);
    ++p.stats.loopersCreated;
    return looper;
}

int ALooper_pollOnce_camera(ALooper* looper, int timeoutMillis, int* outFd, int* outEvents, void** outData) {
    if (outFd != nullptr) *outFd = 0;
    if (outEvents != nullptr) *outEvents = 0;
    if (outData != nullptr) *outData = nullptr;
    if (looper == nullptr) return ALOOPER_POLL_ERROR;
    Platform& p = P();
    std::unique_lock<std::mutex> lock(p.lock);
    RememberPoller(p);
    auto ready = [looper] { return looper->woken || !looper->ready.empty(); };
    if (timeoutMillis < 0) {
        looper->cond.wait(lock, ready);
    } else {
        looper->cond.wait_for(lock, std::chrono::milliseconds(timeoutMillis), ready);
    }
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

void ALooper_wake(ALooper* looper) {
    if (looper == nullptr) Misuse("ALooper_wake", "null looper (the device dereferences it)");
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    if (p.loopers.count(looper) == 0) return;
    ++p.stats.wakes;
    looper->woken = true;
    looper->cond.notify_all();
}

void ALooper_release_forCamera(ALooper* looper) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    if (p.loopers.erase(looper) == 0) return;
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
    for (int id = 1; id < 1024; ++id) StopSensorStream(id);
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
    std::lock_guard<std::mutex> guard(p.lock);
    int reached = 0;
    for (ASensorEventQueue* queue : p.queues) {
        bool hit = false;
        for (std::size_t i = 0; i < count; ++i) {
            if (!toEveryQueue && queue->periodByType.count(events[i].type) == 0) continue;
            if (queue->events.size() >= p.capacity) {
                queue->events.pop_front();
                ++p.stats.droppedEvents;
            }
            queue->events.push_back(events[i]);
            hit = true;
        }
        if (hit) {
            ++reached;
            if (queue->looper != nullptr) {
                queue->looper->ready.insert(queue);
                queue->looper->cond.notify_all();
            }
        }
    }
    p.stats.injectedEvents += count;
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
    stats.liveLoopers = static_cast<int>(p.loopers.size());
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
    for (const ASensorEventQueue* queue : p.queues) {
        auto found = queue->periodByType.find(type);
        if (found != queue->periodByType.end()) return found->second;
    }
    return -1;
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

std::vector<std::string> PollingThreadNames() {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    std::vector<std::string> names;
    for (const auto& poller : p.pollers) names.push_back(poller.second);
    return names;
}

}  // namespace zelkov_platform

// The NDK sensor API (<android/sensor.h>) of the simulated platform: the
// manager, its sensor list and the event queues.
#include <errno.h>
#include <math.h>

#include <algorithm>
#include <stdexcept>

#include "SensorPlatform.h"

using zelkov_platform::SensorManagerMode;
using namespace zelkov_platform::bridge;

namespace {

constexpr int32_t kNormalDelayUs = 200000;  // the platform's SENSOR_DELAY_NORMAL

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

extern "C" {

ASensorManager* ASensorManager_getInstanceForPackage(const char* /*packageName*/) {
    Platform& p = P();
    std::lock_guard<std::mutex> guard(p.lock);
    switch (p.mode) {
        case SensorManagerMode::kAvailable: return &p.manager;
        case SensorManagerMode::kMissing: return nullptr;
        case SensorManagerMode::kThrows: throw std::runtime_error(p.throwMessage);
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

}  // extern "C"

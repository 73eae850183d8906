// The test control of the simulated platform (<zelkov_platform/sensor_control.h>).
#include <time.h>

#include <algorithm>
#include <cstring>

#include "SensorPlatform.h"

namespace zelkov_platform {

using namespace bridge;

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

#ifndef ZELKOV_PLATFORM_SENSORNDKBRIDGE_SENSOR_PLATFORM_H
#define ZELKOV_PLATFORM_SENSORNDKBRIDGE_SENSOR_PLATFORM_H

// The simulated sensor platform: one sensor manager, event queues bound to
// loopers, and the control side that feeds them. One lock guards all of it;
// each looper has its own condition to wake its poller, notified once the lock
// is free (so the woken poller does not block on it at once), and shared, so
// that a looper released meanwhile leaves the condition alive. Queues and loopers
// are known by a registry of live objects, so a call on a destroyed one is
// caught before anything is read from it.

#include <stdint.h>
#include <sys/types.h>

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <android/looper.h>
#include <android/sensor.h>
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

namespace zelkov_platform {
namespace bridge {

constexpr std::size_t kDefaultCapacity = 256;

struct Platform {
    std::mutex lock;
    ASensorManager manager;
    SensorManagerMode mode = SensorManagerMode::kAvailable;
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
    SensorPlatformStats stats{};
    std::vector<long> getEventsResults;
    std::map<pid_t, std::string> pollers;
};

// The one platform of the process.
Platform& P();

// The helpers named ...Locked are called with P().lock held.
void SetListLocked(Platform& p, const std::vector<SimulatedSensor>& sensors);
const std::vector<ASensorRef>& CurrentList(Platform& p);
// The platform's SensorManager::getDefaultSensor: the first listed sensor of
// the type whose wake-up flag is the type's default.
ASensorRef DefaultSensorLocked(Platform& p, int type);
bool ListedLocked(Platform& p, const ASensor* sensor);

// Where the device dereferences a null or stale handle: one line, then abort.
[[noreturn]] void Misuse(const char* call, const char* rule);
// A queue the caller may use: -EINVAL for null (the platform checks that), a
// stop for one that is not live (the device would read freed memory).
int CheckQueueLocked(Platform& p, const ASensorEventQueue* queue, const char* call);
void CheckLooperLocked(Platform& p, const ALooper* looper, const char* call);
void CheckSensor(const ASensor* sensor, const char* call);

}  // namespace bridge
}  // namespace zelkov_platform

#endif

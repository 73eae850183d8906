#include "SensorPlatform.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>

namespace zelkov_platform {
namespace bridge {
namespace {

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

}  // namespace

Platform& P() {
    static Platform* platform = new Platform;  // outlives every static destructor that may still poll
    return *platform;
}

void SetListLocked(Platform& p, const std::vector<SimulatedSensor>& sensors) {
    std::vector<ASensorRef> list;
    for (const auto& sensor : sensors) {
        p.allSensors.push_back(std::unique_ptr<ASensor>(new ASensor{sensor}));
        list.push_back(p.allSensors.back().get());
    }
    p.lists.push_back(std::move(list));
}

const std::vector<ASensorRef>& CurrentList(Platform& p) {
    if (p.lists.empty()) SetListLocked(p, DefaultSensors());
    return p.lists.back();
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

void Misuse(const char* call, const char* rule) {
    fprintf(stderr, "libsensorndkbridge: %s: %s\n", call, rule);
    fflush(stderr);
    abort();
}

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

}  // namespace bridge
}  // namespace zelkov_platform

// The loopers of the simulated platform: the process looper of
// <android/looper.h> and the camera loopers of <sensorndkbridge/looper_camera.h>.
#include <pthread.h>
#include <unistd.h>

#include <chrono>

#include <sensorndkbridge/looper_camera.h>

#include "SensorPlatform.h"

using namespace zelkov_platform::bridge;

namespace {

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
    p.stats.lastPollTimeoutMs = timeoutMillis;
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

}  // namespace

extern "C" {

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

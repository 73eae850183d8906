#ifndef ZELKOV_PLATFORM_SENSOR_CONTROL_H
#define ZELKOV_PLATFORM_SENSOR_CONTROL_H

// Test control of the simulated sensor platform behind the sensor bridge.
// Events injected here reach every live event queue on which a sensor of the
// event's type is registered (or every live queue, when asked), wake the
// loopers of those queues, and carry CLOCK_BOOTTIME timestamps unless the
// caller sets one.

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <android/sensor.h>

namespace zelkov_platform {

// One sensor of the device, as the sensor service describes it. Made from its
// type, name and handle; the rest may be set afterwards.
struct SimulatedSensor {
    SimulatedSensor(int type, std::string name, int handle) : type(type), name(std::move(name)), handle(handle) {}

    int type;
    std::string name;
    int handle;  // what ASensor_getHandle answers and events carry in `sensor`
    bool wakeUp = false;
    int minDelayUs = 0;  // registrations are clamped to [minDelayUs, maxDelayUs]; 0: no bound
    int maxDelayUs = 0;
    bool refusesRegistration = false;  // the service fails its batch or activate
    int reportingMode = 0;             // AREPORTING_MODE_CONTINUOUS
    std::string vendor = "Zelkov";
    std::string stringType;  // ASensor_getStringType; empty answers ""
    float resolution = 0.01f;
    float maxRange = 100.0f;
    int fifoMaxEventCount = 0;
    int fifoReservedEventCount = 0;
};

enum class SensorManagerMode {
    kAvailable,  // ASensorManager_getInstanceForPackage returns the manager
    kMissing,    // it returns null
    kThrows,     // it throws std::runtime_error with the chosen message
};

// A typical device: accelerometer, magnetometer, gyroscope, light, rotation
// vector, device orientation and the three device-private sensors.
std::vector<SimulatedSensor> DefaultSensors();

// Back to the default device: default list, manager available, no pending
// read error, no streams or replay, queue capacity 256, logs cleared; the
// live queues are emptied and no looper has a queue ready (a pending wake
// stays). Queues and loopers stay live: their owners release them.
void ResetSensorPlatform();

void SetSensorList(const std::vector<SimulatedSensor>& sensors);
void SetSensorManagerMode(SensorManagerMode mode, const char* message = "sensor service unavailable");
// Capacity of every queue; when full, the oldest event is dropped.
void SetQueueCapacity(std::size_t capacity);

// Now in the CLOCK_BOOTTIME base, in nanoseconds.
int64_t BootTimeNs();
// An event of `type` with data[0..] = `data` and the timestamp `timestamp`
// (now when 0).
ASensorEvent MakeSensorEvent(int type, std::initializer_list<float> data, int64_t timestamp = 0);

// Returns the number of queues reached. All events of one call are queued
// atomically, so a reader sees them together. An event whose `sensor` is 0
// comes from the default sensor of its type (ASensorManager_getDefaultSensor),
// and carries that sensor's handle; it reaches the queues on which that handle
// is registered. Additional-info events reach only the queues that asked for
// them (ASensorEventQueue_requestAdditionalInfoEvents), also with `toEveryQueue`.
int InjectSensorEvents(const ASensorEvent* events, std::size_t count, bool toEveryQueue = false);
inline int InjectSensorEvent(const ASensorEvent& event, bool toEveryQueue = false) {
    return InjectSensorEvents(&event, 1, toEveryQueue);
}

// The next ASensorEventQueue_getEvents call (on any queue) returns `error`
// (a negative number) instead of reading.
void FailNextGetEvents(int error);

// Events of `type` at `rateHz` with a slowly varying synthetic signal,
// injected by the platform's one stream thread (shared by all streams, as a
// device's sensor events reach a process through one service thread).
// Returns an id for StopSensorStream.
int StartSensorStream(int type, double rateHz);
// Once these return, the stopped streams inject nothing more.
void StopSensorStream(int id);
void StopAllSensorStreams();

// The motion trace shipped with the bridge.
const char* DefaultMotionTracePath();
// Replays a trace ("<milliseconds> <type> <value>..." lines, '#' comments) at
// real time, stamping each event with the current boot time; with `loop` it
// starts over at the end. Returns false when the file has no sample.
bool StartTraceReplay(const char* path, bool loop);
void StopTraceReplay();
// Samples in a trace file (0 when unreadable).
int CountTraceSamples(const char* path);

// Observation.
struct SensorPlatformStats {
    int liveLoopers;  // from ALooper_forCamera, not yet released (ALooper_forThread's is not counted)
    int liveQueues;
    int loopersCreated;
    int queuesCreated;
    uint64_t droppedEvents;
    uint64_t injectedEvents;
    int wakes;              // ALooper_wake calls on live loopers
    int lastPollTimeoutMs;  // asked for by the poll begun last
};
SensorPlatformStats GetSensorPlatformStats();
// Events waiting in all live queues.
std::size_t PendingEventCount();
// Sampling period, as clamped by the service, of the last registration of a
// sensor of `type` still registered on a live queue, or -1 when none is.
int RegisteredSamplingPeriodUs(int type);
// Every ASensorEventQueue_getEvents result since the last reset or clear.
std::vector<long> GetEventsResults();
void ClearGetEventsResults();
// Names of the distinct threads that have polled a looper since the last reset.
std::vector<std::string> PollingThreadNames();
// Their thread ids (as gettid), in the same order.
std::vector<int> PollingThreadIds();

}  // namespace zelkov_platform

#endif

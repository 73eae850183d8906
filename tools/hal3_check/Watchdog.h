#ifndef HAL3_CHECK_WATCHDOG_H
#define HAL3_CHECK_WATCHDOG_H
// What a scenario's process leaves for the process that watches it: the HAL
// call in progress and since when (the watcher ends a call that overruns its
// bound), the callback in progress, the fatal signal, the latest in-flight
// table and the scenario's findings so far. It lives in one shared mapping,
// so it survives the death of the process that wrote it. Without a watcher
// (benchmarks) every mark is a no-op.
//
// CallMark is the one path into the module: besides the watchdog's mark, it
// holds each device call to camera3.h's time limit (rule call-time) and
// checks that the process's own descriptors survived the call (rule
// process-fds).

#include "Finding.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace hal3_check {

// The module and device entry points, as named in the findings.
enum class HalCall : int32_t {
    kNone,
    kModuleLoad,
    kModuleInit,
    kVendorTagOps,
    kSetCallbacks,
    kNumberOfCameras,
    kCameraInfo,
    kOpen,
    kInitialize,
    kDefaultSettings,
    kConfigure,
    kRequest,
    kFlush,
    kClose,
    kResultCallback,
    kNotifyCallback,
};
const char* HalCallName(HalCall call);

struct WatchPage {
    std::atomic<int32_t> call;      // HalCall made by the scenario's thread
    std::atomic<int64_t> sinceNs;   // CLOCK_MONOTONIC when it began
    std::atomic<int32_t> callback;  // HalCall of the callback being handled
    std::atomic<int32_t> signal;    // the fatal signal caught, or 0
    std::atomic<int32_t> finished;  // the process ran to its end
    // Where the fatal signal struck, written by the signal handler.
    int32_t scenarioThread;  // the thread id that runs the scenario
    int32_t crashThread;
    char crashThreadName[16];
    char crashFrame[256];  // the innermost frame in the module or the checker, or ""
    std::atomic<uint32_t> tableBytes;
    char table[32 * 1024];
    std::atomic<uint32_t> logBytes;  // records appended by the scenario
    char log[1024 * 1024];
};

// The page of this process, or null when nothing watches it.
WatchPage* watchPage();
void SetWatchPage(WatchPage* page);
int64_t MonotonicNs();

// camera3.h's time limit of a device call, before scaling, or 0 for none.
// process_capture_request's depends on the frame interval: its caller says.
int64_t CallLimitNs(HalCall call);
// HAL3_CHECK_TIME_SCALE: sanitizers and emulators run the module slower.
double TimeScale();

// Marks a HAL call (or a callback) in progress for its lifetime.
class CallMark {
public:
    explicit CallMark(HalCall call) : CallMark(call, CallLimitNs(call)) {}
    CallMark(HalCall call, int64_t limitNs);
    ~CallMark();
    CallMark(const CallMark&) = delete;
    CallMark& operator=(const CallMark&) = delete;

private:
    HalCall m_call;
    int64_t m_limitNs;
    int64_t m_startNs;
};

// The descriptors this process holds that the module must leave alone; each
// call's end compares their identity (device and inode) with these.
void WatchDescriptors(const std::vector<int>& fds);
// A finding of the call path: to the running scenario's sink, or kept for
// the end of the process while there is none (module start).
void Flag(Finding finding);
std::vector<Finding> TakeUnsunkFindings();

// Keeps the latest in-flight table for a report after a crash or time-out.
void SaveInFlightTable(const std::string& table);

}  // namespace hal3_check

#endif  // HAL3_CHECK_WATCHDOG_H

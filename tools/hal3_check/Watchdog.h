#ifndef HAL3_CHECK_WATCHDOG_H
#define HAL3_CHECK_WATCHDOG_H
// What a scenario's process leaves for the process that watches it: the HAL
// call in progress and since when (the watcher ends a call that overruns its
// bound), the callback in progress, the fatal signal, the latest in-flight
// table and the scenario's findings so far. It lives in one shared mapping,
// so it survives the death of the process that wrote it. Without a watcher
// (benchmarks) every mark is a no-op.

#include <atomic>
#include <cstdint>
#include <string>

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
    std::atomic<uint32_t> tableBytes;
    char table[32 * 1024];
    std::atomic<uint32_t> logBytes;  // records appended by the scenario
    char log[256 * 1024];
};

// The page of this process, or null when nothing watches it.
WatchPage* watchPage();
void SetWatchPage(WatchPage* page);
int64_t MonotonicNs();

// Marks a HAL call (or a callback) in progress for its lifetime.
class CallMark {
public:
    explicit CallMark(HalCall call);
    ~CallMark();
    CallMark(const CallMark&) = delete;
    CallMark& operator=(const CallMark&) = delete;

private:
    HalCall m_call;
};

// Keeps the latest in-flight table for a report after a crash or time-out.
void SaveInFlightTable(const std::string& table);

}  // namespace hal3_check

#endif  // HAL3_CHECK_WATCHDOG_H

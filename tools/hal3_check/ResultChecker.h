#ifndef HAL3_CHECK_RESULT_CHECKER_H
#define HAL3_CHECK_RESULT_CHECKER_H
// Holds a camera device to the camera3 result rules. The device's callbacks
// only copy what they are given and queue it; one checker thread takes the
// queue in order and keeps the in-flight table: which frames are out, their
// shutter, partial results, buffers and error notifications. Every broken
// rule becomes one finding (Finding.h) handed to the scenario's sink. Everything the device hands over is bounded
// before it is read: counts against the request, metadata validated before
// it is cloned.

#include "FindingSink.h"
#include "Metadata.h"

#include <hardware/camera3.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace hal3_check {

int64_t NowNs();  // steady clock

struct ReturnedBuffer {
    camera3_stream_t* stream;
    // As submitted: the module may return a pointer to its own copy of the
    // handle, so a returned buffer is matched by the handle it points at.
    buffer_handle_t* handle;
    int status;
    int acquireFence = -1, releaseFence = -1;
    buffer_handle_t value = nullptr;  // *handle when the device returned it
};

// What the checker needs of the camera's static metadata and the run.
struct CheckerLimits {
    uint32_t partialCount = 1;      // android.request.partialResultCount
    int pipelineMaxDepth = 0;       // android.request.pipelineMaxDepth; 0: not checked
    int64_t stallNs = 0;            // no progress for this long is a time-out
    std::set<uint32_t> resultKeys;  // android.request.availableResultKeys; empty: not checked
};
// The stall time is what the camera service waits for a buffer the device
// holds (Camera3Stream.cpp getBuffer: 3 s plus the stream's durations) from the
// longest advertised frame and stall durations, or `stallNs` if longer.
CheckerLimits LimitsOf(const StaticInfo& staticInfo, int64_t stallNs);

// A frame the device has finished with, as the scenario sees it.
struct FrameRecord {
    uint32_t frame = 0;
    int64_t submitNs = 0, doneNs = 0;
    uint64_t shutterNs = 0;
    bool errorRequest = false, errorResult = false, errorBuffer = false;
    MetadataPtr result;  // every partial merged; null when none came
    std::vector<ReturnedBuffer> buffers;
};

class ResultChecker {
public:
    // Runs on the checker thread for each returned buffer; its findings go to the sink.
    using Inspector = std::function<void(uint32_t frame, const ReturnedBuffer&, FindingSink&)>;
    using TraceSink = std::function<void(const std::string&)>;

    // Findings go to `findings`, which outlives the checker; frame lines to `trace`.
    ResultChecker(const CheckerLimits& limits, FindingSink& findings, TraceSink trace);
    ~ResultChecker();

    // Callback side: copy and queue, nothing else.
    void OnResult(const camera3_capture_result_t* result);
    void OnNotify(const camera3_notify_msg_t* msg);

    // Submitting thread, before process_capture_request / when it fails.
    void OnSubmit(const camera3_capture_request_t& request);
    void OnSubmitFailed(uint32_t frame);

    // Around the device's flush: error buffers returned meanwhile may come
    // back out of order.
    void BeginFlush();
    void EndFlush();
    // A call returned -ENODEV: from now on only close may be called.
    void DeviceLost(const std::string& call);
    // ERROR_DEVICE came or a call returned -ENODEV.
    bool deviceError();

    void SetInspector(Inspector inspector);
    // Waits until every queued callback has been checked.
    void Sync();
    // Waits until nothing is in flight (or the device failed fatally); on a
    // stall (no progress for the stall time) records what is missing and the
    // in-flight table, and returns false.
    bool WaitIdle();
    size_t InFlight();
    std::vector<FrameRecord> TakeCompleted();
    // A finding from outside, in order with the checker's own.
    void Fail(Finding finding);
    std::string InFlightTable();
    uint32_t errorFrames();
    // CPU time of the checker thread so far.
    int64_t CpuNs();

private:
    struct Event;
    struct Pending {
        camera3_stream_t* stream;
        buffer_handle_t* handle;  // as submitted
        buffer_handle_t value;    // what it pointed at
        bool returned = false;
        int status = CAMERA3_BUFFER_STATUS_OK;
        uint32_t overtakenBy = 0;  // a later frame's buffer of this stream came back first
    };
    struct Entry {
        int64_t submitNs = 0;
        bool zslStill = false;  // android.control.enableZsl in a still capture: its own order, older timestamps
        bool shutter = false, anyMetadata = false, finalMetadata = false, finalNonEmpty = false;
        bool errorRequest = false, errorResult = false;
        uint64_t shutterNs = 0;
        int64_t sensorNs = -1;
        std::set<uint32_t> partials, keys;
        std::set<camera3_stream_t*> errorBuffers;
        std::vector<Pending> buffers;
        MetadataPtr result;
    };

    void Push(Event&& e);
    void Run();
    void Handle(Event& e);
    void HandleResult(Event& e);
    void HandleNotify(const camera3_notify_msg_t& msg);
    void HandleMetadata(Event& e, Entry& entry);
    void MergeMetadata(Entry& entry, MetadataPtr metadata);
    void HandleBuffer(uint32_t frame, Entry& entry, const ReturnedBuffer& b);
    bool BufferOrder(uint32_t frame, Pending& p, const ReturnedBuffer& b);
    void WaitReleaseFence(uint32_t frame, int fence);
    void HandleShutter(const camera3_shutter_msg_t& shutter);
    void HandleError(const camera3_error_msg_t& err);
    void MaybeComplete(uint32_t frame, int64_t arrivalNs);
    void CheckStatesAtOpen(uint32_t frame, const camera_metadata_t* result);
    void FlagUnnotifiedErrorBuffers();
    Entry* Lookup(uint32_t frame, const char* what);
    void ExplainStall();
    void Flag(RuleId rule, int64_t frame, std::string detail) { m_findings.Add({rule, frame, std::move(detail)}); }
    void Flag(RuleId rule, std::string detail) { Flag(rule, kNoFrame, std::move(detail)); }
    std::string InFlightTableLocked();

    const CheckerLimits m_limits;
    FindingSink& m_findings;
    TraceSink m_trace;
    Inspector m_inspector;

    std::mutex m_queueMutex;
    std::condition_variable m_queueCv;
    std::deque<Event> m_queue;
    uint64_t m_pushed = 0;
    bool m_stop = false;
    std::map<uint32_t, uint32_t> m_requestBuffers;  // buffers of each submitted frame, to bound results
    bool m_lastZslStill = false;                    // of the last settings submitted (a null repeats them)

    // Checker state, guarded by stateMutex_.
    std::mutex m_stateMutex;
    std::condition_variable m_stateCv;
    uint64_t m_handled = 0;
    int64_t m_lastProgressNs = 0;
    std::map<uint32_t, Entry> m_inFlight;
    enum class Ended { kNormally, kByErrorRequest, kByErrorResultBeforeShutter };
    std::map<uint32_t, Ended> m_done;     // finished frames
    std::set<uint32_t> m_stallExplained;  // frames already named by a time-out
    // Error buffers of finished frames still waiting for their ERROR_BUFFER.
    std::map<uint32_t, std::set<camera3_stream_t*>> m_unnotified;
    std::map<camera3_stream_t*, std::deque<uint32_t>> m_streamQueues;
    // Frame order of shutters and final results; ZSL still captures keep their own.
    struct Order {
        bool any = false;
        uint32_t last = 0;
        // False when `frame` comes after the last one.
        bool Behind(uint32_t frame) const { return any && frame <= last; }
        void Take(uint32_t frame) { any = true, last = std::max(last, frame); }
    };
    Order m_shutterOrder[2], m_finalOrder[2];  // [zslStill]
    bool m_deviceError = false, m_flushing = false, m_anyCompleted = false, m_anyShutter = false;
    std::set<uint32_t> m_unlistedKeys;  // result keys already named as not listed
    uint64_t m_lastShutterNs = 0;
    uint32_t m_errorFrames = 0;
    std::vector<FrameRecord> m_completed;
    int64_t m_cpuNs = 0;

    std::thread m_thread;
};

}  // namespace hal3_check

#endif  // HAL3_CHECK_RESULT_CHECKER_H

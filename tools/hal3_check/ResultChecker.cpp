#include "ResultChecker.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <sstream>

namespace hal3_check {

int64_t NowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

struct ResultChecker::Event {
    enum Kind { kSubmit, kSubmitFailed, kResult, kNotify, kBarrier } kind;
    explicit Event(Kind k) : kind(k) {}
    uint32_t frame = 0;
    uint32_t partial = 0;
    MetadataPtr metadata;
    std::vector<ReturnedBuffer> buffers;
    bool inputBuffer = false;
    camera3_notify_msg_t msg{};
    int64_t arrivalNs = NowNs();
};

ResultChecker::ResultChecker(uint32_t partialCount, int64_t stallNs, TraceSink trace)
    : partialCount_(partialCount), stallNs_(stallNs), trace_(std::move(trace)), lastProgressNs_(NowNs()) {
    thread_ = std::thread([this] { Run(); });
}

ResultChecker::~ResultChecker() {
    {
        std::lock_guard<std::mutex> lock(queueMutex_);
        stop_ = true;
    }
    queueCv_.notify_all();
    thread_.join();
}

void ResultChecker::Push(Event&& e) {
    {
        std::lock_guard<std::mutex> lock(queueMutex_);
        queue_.push_back(std::move(e));
        ++pushed_;
    }
    queueCv_.notify_one();
}

void ResultChecker::OnResult(const camera3_capture_result_t* r) {
    Event e(Event::kResult);
    e.frame = r->frame_number;
    e.partial = r->partial_result;
    if (r->result != nullptr) e.metadata.reset(clone_camera_metadata(r->result));
    for (uint32_t i = 0; i < r->num_output_buffers && r->output_buffers != nullptr; ++i)
        e.buffers.push_back({r->output_buffers[i].stream, r->output_buffers[i].buffer, r->output_buffers[i].status});
    e.inputBuffer = r->input_buffer != nullptr;
    Push(std::move(e));
}

void ResultChecker::OnNotify(const camera3_notify_msg_t* msg) {
    Event e(Event::kNotify);
    e.msg = *msg;
    Push(std::move(e));
}

void ResultChecker::OnSubmit(const camera3_capture_request_t& request) {
    Event e(Event::kSubmit);
    e.frame = request.frame_number;
    for (uint32_t i = 0; i < request.num_output_buffers; ++i)
        e.buffers.push_back({request.output_buffers[i].stream, request.output_buffers[i].buffer, 0});
    Push(std::move(e));
}

void ResultChecker::OnSubmitFailed(uint32_t frame) {
    Event e(Event::kSubmitFailed);
    e.frame = frame;
    Push(std::move(e));
}

void ResultChecker::SetInspector(Inspector inspector) {
    std::lock_guard<std::mutex> lock(stateMutex_);
    inspector_ = std::move(inspector);
}

void ResultChecker::Run() {
    for (;;) {
        Event e(Event::kBarrier);
        {
            std::unique_lock<std::mutex> lock(queueMutex_);
            queueCv_.wait(lock, [&] { return stop_ || !queue_.empty(); });
            if (queue_.empty()) return;
            e = std::move(queue_.front());
            queue_.pop_front();
        }
        std::lock_guard<std::mutex> lock(stateMutex_);
        Handle(e);
        ++handled_;
        lastProgressNs_ = NowNs();
        timespec cpu{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &cpu);
        cpuNs_ = int64_t(cpu.tv_sec) * 1000000000 + cpu.tv_nsec;
        stateCv_.notify_all();
    }
}

void ResultChecker::Sync() {
    uint64_t target;
    {
        std::lock_guard<std::mutex> lock(queueMutex_);
        target = pushed_;
    }
    std::unique_lock<std::mutex> lock(stateMutex_);
    stateCv_.wait(lock, [&] { return handled_ >= target; });
}

bool ResultChecker::WaitIdle() {
    Sync();
    std::unique_lock<std::mutex> lock(stateMutex_);
    while (!inFlight_.empty()) {
        int64_t left = lastProgressNs_ + stallNs_ - NowNs();
        if (left <= 0) {
            ExplainStall();
            return false;
        }
        stateCv_.wait_for(lock, std::chrono::nanoseconds(left));
    }
    return true;
}

size_t ResultChecker::InFlight() {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return inFlight_.size();
}

std::vector<FrameRecord> ResultChecker::TakeCompleted() {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return std::move(completed_);
}

std::vector<std::string> ResultChecker::TakeFailures() {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return std::move(failures_);
}

void ResultChecker::Fail(const std::string& failure) {
    std::lock_guard<std::mutex> lock(stateMutex_);
    FailLocked(failure);
}

void ResultChecker::FailLocked(const std::string& f) {
    failures_.push_back(f);
    if (trace_) trace_("FAIL " + f);
}

uint32_t ResultChecker::errorFrames() {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return errorFrames_;
}

int64_t ResultChecker::CpuNs() {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return cpuNs_;
}

ResultChecker::Entry* ResultChecker::Lookup(uint32_t frame, const char* what) {
    auto it = inFlight_.find(frame);
    if (it != inFlight_.end()) return &it->second;
    FailLocked("[rule frame-in-flight] " + std::string(what) + " for frame " + std::to_string(frame) +
               (done_.count(frame) ? ", which had already completed" : ", which was never submitted"));
    return nullptr;
}

void ResultChecker::Handle(Event& e) {
    switch (e.kind) {
        case Event::kSubmit: {
            Entry& entry = inFlight_[e.frame];
            entry.submitNs = e.arrivalNs;
            for (const auto& b : e.buffers) {
                entry.buffers.push_back({b.stream, b.handle});
                streamQueues_[b.stream].push_back(e.frame);
            }
            break;
        }
        case Event::kSubmitFailed: {
            auto it = inFlight_.find(e.frame);
            if (it == inFlight_.end()) break;
            for (const auto& p : it->second.buffers) {
                auto& q = streamQueues_[p.stream];
                q.erase(std::remove(q.begin(), q.end(), e.frame), q.end());
            }
            inFlight_.erase(it);
            break;
        }
        case Event::kResult: HandleResult(e); break;
        case Event::kNotify: HandleNotify(e.msg); break;
        case Event::kBarrier: break;
    }
}

void ResultChecker::ShutterBeforeResult(uint32_t frame, Entry& entry) {
    if (!entry.shutter && !entry.errorRequest && !entry.anyResult)
        FailLocked("[rule shutter-before-result] frame " + std::to_string(frame) +
                   ": a result came before its shutter notify");
    entry.anyResult = true;
}

void ResultChecker::HandleResult(Event& e) {
    const std::string f = "frame " + std::to_string(e.frame) + ": ";
    if (deviceError_) FailLocked("[rule error-device] " + f + "result after ERROR_DEVICE");
    auto done = done_.find(e.frame);
    if (done != done_.end() && done->second && e.metadata != nullptr) {
        FailLocked("[rule error-request] " + f + "result metadata after ERROR_REQUEST");
        return;
    }
    if (done != done_.end() && !e.buffers.empty()) {
        FailLocked("[rule buffer-once] " + f + "buffer returned after the frame had completed");
        return;
    }
    Entry* entry = Lookup(e.frame, "capture result");
    if (entry == nullptr) return;
    if (e.inputBuffer) FailLocked("[rule input-buffer] " + f + "input buffer returned for a request without one");
    if (e.metadata == nullptr && e.buffers.empty()) FailLocked("[rule empty-result] " + f + "result with nothing in it");
    if (e.metadata != nullptr) {
        ShutterBeforeResult(e.frame, *entry);
        entry->anyMetadata = true;
        if (entry->errorRequest) FailLocked("[rule error-request] " + f + "result metadata after ERROR_REQUEST");
        if (entry->errorResult) FailLocked("[rule error-result] " + f + "result metadata after ERROR_RESULT");
        if (validate_camera_metadata_structure(e.metadata.get(), nullptr) != 0)
            FailLocked("[rule result-structure] " + f + "malformed result metadata");
        if (e.partial < 1 || e.partial > partialCount_)
            FailLocked("[rule partial-range] " + f + "partial_result " + std::to_string(e.partial) + " outside 1.." +
                       std::to_string(partialCount_));
        else if (!entry->partials.insert(e.partial).second)
            FailLocked("[rule partial-distinct] " + f + "partial " + std::to_string(e.partial) + " sent twice");
        for (uint32_t tag : Tags(e.metadata.get()))
            if (!entry->keys.insert(tag).second)
                FailLocked("[rule partial-key-once] " + f + TagName(tag) + " in two partial results");
        int64_t sensorNs = GetI64(e.metadata.get(), ANDROID_SENSOR_TIMESTAMP, -1);
        if (sensorNs >= 0) {
            entry->sensorNs = sensorNs;
            if (entry->shutter && uint64_t(sensorNs) != entry->shutterNs)
                FailLocked("[rule sensor-timestamp] " + f + "android.sensor.timestamp " + std::to_string(sensorNs) +
                           " != shutter " + std::to_string(entry->shutterNs));
        }
        if (entry->result == nullptr) entry->result = std::move(e.metadata);
        else {
            MetadataPtr merged(allocate_camera_metadata(
                get_camera_metadata_entry_count(entry->result.get()) + get_camera_metadata_entry_count(e.metadata.get()),
                get_camera_metadata_data_count(entry->result.get()) + get_camera_metadata_data_count(e.metadata.get())));
            append_camera_metadata(merged.get(), entry->result.get());
            append_camera_metadata(merged.get(), e.metadata.get());
            entry->result = std::move(merged);
        }
        if (e.partial == partialCount_) {
            entry->finalMetadata = true;
            if (anyFinal_ && e.frame <= lastFinalFrame_)
                FailLocked("[rule final-result-order] " + f + "final result after frame " + std::to_string(lastFinalFrame_) + "'s");
            anyFinal_ = true;
            lastFinalFrame_ = std::max(lastFinalFrame_, e.frame);
            if (entry->sensorNs < 0) FailLocked("[rule sensor-timestamp] " + f + "no android.sensor.timestamp in the result");
        }
    } else if (e.partial != 0) {
        FailLocked("[rule partial-range] " + f + "partial_result " + std::to_string(e.partial) + " without metadata");
    }
    for (const auto& b : e.buffers) HandleBuffer(e.frame, *entry, b);
    MaybeComplete(e.frame, e.arrivalNs);
}

void ResultChecker::HandleBuffer(uint32_t frame, Entry& entry, const ReturnedBuffer& b) {
    const std::string f = "frame " + std::to_string(frame) + ": ";
    ShutterBeforeResult(frame, entry);
    auto p = std::find_if(entry.buffers.begin(), entry.buffers.end(),
                          [&](const Pending& x) { return x.stream == b.stream && x.handle == b.handle; });
    if (p == entry.buffers.end()) {
        FailLocked("[rule buffer-once] " + f + "returned a buffer that was not in its request");
        return;
    }
    if (p->returned) {
        FailLocked("[rule buffer-once] " + f + "buffer returned twice");
        return;
    }
    p->returned = true;
    if (p->overtakenBy != 0)
        FailLocked("[rule buffer-fifo] " + f + "buffer came back after frame " + std::to_string(p->overtakenBy) +
                   "'s on the same stream");
    auto& q = streamQueues_[b.stream];
    auto mine = std::find(q.begin(), q.end(), frame);
    for (auto it = q.begin(); it != mine; ++it) {
        auto earlier = inFlight_.find(*it);
        if (earlier == inFlight_.end()) continue;
        for (auto& other : earlier->second.buffers)
            if (other.stream == b.stream && !other.returned && other.overtakenBy == 0) other.overtakenBy = frame;
    }
    if (mine != q.end()) q.erase(mine);
    bool expectError = entry.errorRequest || entry.errorBuffers.count(b.stream);
    if (expectError && b.status != CAMERA3_BUFFER_STATUS_ERROR)
        FailLocked(std::string(entry.errorRequest ? "[rule error-request] " : "[rule error-buffer] ") + f +
                   "buffer returned OK after an error notify for it");
    if (!expectError && b.status != CAMERA3_BUFFER_STATUS_OK)
        FailLocked("[rule error-buffer] " + f + "buffer in error without an ERROR_BUFFER or ERROR_REQUEST notify first");
    if (inspector_) {
        // The picture of a buffer that should have failed is not looked at.
        ReturnedBuffer seen = b;
        if (expectError) seen.status = CAMERA3_BUFFER_STATUS_ERROR;
        std::string failure = inspector_(frame, seen);
        if (!failure.empty()) FailLocked(failure);
    }
}

void ResultChecker::HandleNotify(const camera3_notify_msg_t& msg) {
    if (deviceError_) FailLocked("[rule error-device] notify after ERROR_DEVICE");
    if (msg.type == CAMERA3_MSG_SHUTTER) {
        uint32_t frame = msg.message.shutter.frame_number;
        uint64_t ts = msg.message.shutter.timestamp;
        const std::string f = "frame " + std::to_string(frame) + ": ";
        Entry* entry = Lookup(frame, "shutter");
        if (entry == nullptr) return;
        if (entry->shutter) FailLocked("[rule shutter-once] " + f + "second shutter");
        if (entry->errorRequest) FailLocked("[rule error-request] " + f + "shutter after ERROR_REQUEST");
        if (entry->anyResult && !entry->shutter)
            FailLocked("[rule shutter-before-result] " + f + "shutter notify after the frame's first result");
        if (anyShutter_ && frame <= lastShutterFrame_)
            FailLocked("[rule shutter-order] " + f + "shutter after frame " + std::to_string(lastShutterFrame_) + "'s");
        if (anyShutter_ && ts <= lastShutterNs_)
            FailLocked("[rule shutter-order] " + f + "timestamp " + std::to_string(ts) + " does not rise");
        if (entry->sensorNs >= 0 && uint64_t(entry->sensorNs) != ts)
            FailLocked("[rule sensor-timestamp] " + f + "shutter " + std::to_string(ts) + " != android.sensor.timestamp " +
                       std::to_string(entry->sensorNs));
        anyShutter_ = true;
        lastShutterFrame_ = std::max(lastShutterFrame_, frame);
        lastShutterNs_ = std::max(lastShutterNs_, ts);
        entry->shutter = true;
        entry->shutterNs = ts;
        MaybeComplete(frame, NowNs());
        return;
    }
    if (msg.type != CAMERA3_MSG_ERROR) {
        FailLocked("[rule notify-type] unknown notify type " + std::to_string(msg.type));
        return;
    }
    const auto& err = msg.message.error;
    const std::string f = "frame " + std::to_string(err.frame_number) + ": ";
    if (err.error_code == CAMERA3_MSG_ERROR_DEVICE) {
        FailLocked("[rule error-device] the device reported a fatal error");
        deviceError_ = true;
        return;
    }
    Entry* entry = Lookup(err.frame_number, "error notify");
    if (entry == nullptr) return;
    switch (err.error_code) {
        case CAMERA3_MSG_ERROR_REQUEST:
            if (entry->anyMetadata) FailLocked("[rule error-request] " + f + "ERROR_REQUEST after result metadata");
            if (entry->errorRequest) FailLocked("[rule error-request] " + f + "second ERROR_REQUEST");
            if (err.error_stream != nullptr) FailLocked("[rule error-request] " + f + "ERROR_REQUEST names a stream");
            entry->errorRequest = true;
            ++errorFrames_;
            break;
        case CAMERA3_MSG_ERROR_RESULT:
            if (entry->finalMetadata) FailLocked("[rule error-result] " + f + "ERROR_RESULT after the final result");
            entry->errorResult = true;
            ++errorFrames_;
            break;
        case CAMERA3_MSG_ERROR_BUFFER: {
            auto p = std::find_if(entry->buffers.begin(), entry->buffers.end(),
                                  [&](const Pending& x) { return x.stream == err.error_stream; });
            if (p == entry->buffers.end()) FailLocked("[rule error-buffer] " + f + "ERROR_BUFFER for a stream not in the request");
            else if (p->returned) FailLocked("[rule error-buffer] " + f + "ERROR_BUFFER after the buffer came back");
            entry->errorBuffers.insert(err.error_stream);
            break;
        }
        default: FailLocked("[rule notify-type] " + f + "unknown error code " + std::to_string(err.error_code));
    }
    MaybeComplete(err.frame_number, NowNs());
}

void ResultChecker::MaybeComplete(uint32_t frame, int64_t arrivalNs) {
    auto it = inFlight_.find(frame);
    if (it == inFlight_.end()) return;
    Entry& entry = it->second;
    bool buffersBack = std::all_of(entry.buffers.begin(), entry.buffers.end(), [](const Pending& p) { return p.returned; });
    bool metadataDone = entry.finalMetadata || entry.errorRequest || entry.errorResult;
    if (!buffersBack || !metadataDone || !(entry.shutter || entry.errorRequest)) return;
    FrameRecord record;
    record.frame = frame;
    record.submitNs = entry.submitNs;
    record.doneNs = arrivalNs;
    record.shutterNs = entry.shutterNs;
    record.errorRequest = entry.errorRequest;
    record.errorResult = entry.errorResult;
    record.result = std::move(entry.result);
    for (const auto& p : entry.buffers) record.buffers.push_back({p.stream, p.handle, 0});
    if (trace_) {
        std::ostringstream line;
        line << "frame " << frame << " shutter=" << entry.shutterNs << " partials=" << entry.partials.size()
             << " buffers=" << entry.buffers.size() << " latency_us=" << (arrivalNs - entry.submitNs) / 1000
             << (entry.errorRequest ? " ERROR_REQUEST" : "") << (entry.errorResult ? " ERROR_RESULT" : "")
             << (entry.errorBuffers.empty() ? "" : " ERROR_BUFFER");
        trace_(line.str());
    }
    completed_.push_back(std::move(record));
    done_[frame] = entry.errorRequest;
    inFlight_.erase(it);
}

void ResultChecker::ExplainStall() {
    bool unexplained = false;
    for (const auto& [frame, entry] : inFlight_) {
        if (!stallExplained_.insert(frame).second) continue;
        for (const auto& p : entry.buffers)
            if (!p.returned && p.overtakenBy != 0)
                FailLocked("[rule buffer-returned] frame " + std::to_string(frame) + ": a buffer never came back, though frame " +
                           std::to_string(p.overtakenBy) + "'s on the same stream did");
        bool lost = std::any_of(entry.buffers.begin(), entry.buffers.end(),
                                [](const Pending& p) { return !p.returned && p.overtakenBy != 0; });
        unexplained |= !lost;
    }
    if (unexplained)
        FailLocked("[rule result-timeout] nothing arrived for " + std::to_string(stallNs_ / 1000000) + " ms with " +
                   std::to_string(inFlight_.size()) + " frame(s) in flight");
    if (trace_) trace_("in-flight table at the time-out:\n" + InFlightTableLocked());
}

}  // namespace hal3_check

namespace hal3_check {

std::string ResultChecker::InFlightTable() {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return InFlightTableLocked();
}

std::string ResultChecker::InFlightTableLocked() {
    std::ostringstream t;
    t << "  frame   shutter              partials  buffers(back/all)  errors\n";
    for (const auto& [frame, e] : inFlight_) {
        size_t back = std::count_if(e.buffers.begin(), e.buffers.end(), [](const Pending& p) { return p.returned; });
        std::string partials;
        for (uint32_t p : e.partials) partials += (partials.empty() ? "" : ",") + std::to_string(p);
        char line[200];
        snprintf(line, sizeof line, "  %-7u %-20s %-9s %zu/%-16zu %s%s%s\n", frame,
                 e.shutter ? std::to_string(e.shutterNs).c_str() : "-", partials.empty() ? "-" : partials.c_str(), back,
                 e.buffers.size(), e.errorRequest ? "REQUEST " : "", e.errorResult ? "RESULT " : "",
                 e.errorBuffers.empty() ? "" : "BUFFER");
        t << line;
    }
    return t.str();
}

}  // namespace hal3_check

// The rules of results and notifications, applied on the checker thread with
// the state lock held, in the order the device called back.

#include "ResultChecker.h"

#include "ResultEvent.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

namespace hal3_check {

namespace {

bool Empty(const camera_metadata_t* m) { return m == nullptr || get_camera_metadata_entry_count(m) == 0; }

}  // namespace

ResultChecker::Entry* ResultChecker::Lookup(uint32_t frame, const char* what) {
    auto it = m_inFlight.find(frame);
    if (it != m_inFlight.end()) return &it->second;
    Flag(RuleId::kFrameInFlight, frame,
         std::string(what) + (m_done.count(frame) ? " after the frame had completed" : " for a frame never submitted"));
    return nullptr;
}

void ResultChecker::Handle(Event& e) {
    switch (e.kind) {
        case Event::kSubmit: {
            Entry& entry = m_inFlight[e.frame];
            entry.submitNs = e.arrivalNs;
            entry.zslStill = e.zslStill;
            for (const auto& b : e.buffers) {
                entry.buffers.push_back({b.stream, b.handle, b.value});
                m_streamQueues[b.stream].push_back(e.frame);
            }
            break;
        }
        case Event::kSubmitFailed: {
            auto it = m_inFlight.find(e.frame);
            if (it == m_inFlight.end()) break;
            for (const auto& p : it->second.buffers) {
                auto& q = m_streamQueues[p.stream];
                q.erase(std::remove(q.begin(), q.end(), e.frame), q.end());
            }
            m_inFlight.erase(it);
            break;
        }
        case Event::kResult: HandleResult(e); break;
        case Event::kNotify: HandleNotify(e.msg); break;
        case Event::kFlushBegin: m_flushing = true; break;
        case Event::kFlushEnd: m_flushing = false; break;
        case Event::kBarrier: break;
    }
}

void ResultChecker::HandleResult(Event& e) {
    if (e.nullResult) {
        Flag(RuleId::kEmptyResult, "process_capture_result called with a null result");
        return;
    }
    if (m_deviceError) Flag(RuleId::kAfterErrorDevice, e.frame, "result after ERROR_DEVICE");
    auto done = m_done.find(e.frame);
    if (done != m_done.end() && done->second == Ended::kByErrorRequest && !Empty(e.metadata.get())) {
        Flag(RuleId::kErrorRequestMetadata, e.frame, "result metadata after ERROR_REQUEST");
        return;
    }
    if (done != m_done.end() && !e.buffers.empty()) {
        Flag(RuleId::kBufferOnce, e.frame, "buffer returned after the frame had completed");
        return;
    }
    Entry* entry = Lookup(e.frame, "capture result");
    if (entry == nullptr) return;
    if (e.claimedBuffers > entry->buffers.size() || (e.claimedBuffers > 0 && !e.bufferArray))
        Flag(RuleId::kResultBufferCount, e.frame,
             "num_output_buffers " + std::to_string(e.claimedBuffers) + (e.bufferArray ? "" : " with a null array") +
                 ", the request had " + std::to_string(entry->buffers.size()));
    if (e.inputBuffer) Flag(RuleId::kInputBuffer, e.frame, "input buffer returned for a request without one");
    if (e.malformedMetadata) Flag(RuleId::kResultStructure, e.frame, "malformed result metadata");
    if (e.metadata == nullptr && !e.malformedMetadata && e.claimedBuffers == 0 && !e.inputBuffer)
        Flag(RuleId::kEmptyResult, e.frame, "result with nothing in it");
    if (e.metadata != nullptr)
        HandleMetadata(e, *entry);
    else if (e.partial != 0 && !e.malformedMetadata)
        Flag(RuleId::kPartialWithoutMetadata, e.frame,
             "partial_result " + std::to_string(e.partial) + " without metadata");
    for (const auto& b : e.buffers) HandleBuffer(e.frame, *entry, b);
    MaybeComplete(e.frame, e.arrivalNs);
}

// An empty buffer is what camera3.h asks for with ERROR_RESULT and
// ERROR_REQUEST; the service skips it (sendCaptureResult), so it is no
// metadata for the rules of timestamps, order and error notifies.
void ResultChecker::HandleMetadata(Event& e, Entry& entry) {
    const bool empty = Empty(e.metadata.get());
    if (entry.errorRequest) {
        if (!empty) Flag(RuleId::kErrorRequestMetadata, e.frame, "result metadata after ERROR_REQUEST");
        return;
    }
    if (entry.errorResult) {
        if (!empty) Flag(RuleId::kErrorResultMetadata, e.frame, "result metadata after ERROR_RESULT (ignored)");
        return;
    }
    if (e.partial < 1 || e.partial > m_limits.partialCount) {
        Flag(RuleId::kPartialRange, e.frame,
             "partial_result " + std::to_string(e.partial) + " outside 1.." + std::to_string(m_limits.partialCount));
        return;
    }
    const bool final = e.partial == m_limits.partialCount;
    if (!entry.partials.insert(e.partial).second) {
        Flag(final ? RuleId::kPartialDistinct : RuleId::kPartialRepeat, e.frame,
             "partial " + std::to_string(e.partial) + " sent twice");
        if (final) return;
    }
    entry.anyMetadata |= !empty;
    std::set<uint32_t> here;
    for (uint32_t tag : Tags(e.metadata.get())) {
        if (!here.insert(tag).second) {
            Flag(RuleId::kResultKeyTwice, e.frame, TagName(tag) + " twice in one result");
            continue;
        }
        if (!entry.keys.insert(tag).second)
            Flag(RuleId::kPartialKeyOnce, e.frame, TagName(tag) + " in two partial results");
        if (!m_limits.resultKeys.empty() && !m_limits.resultKeys.count(tag) && m_unlistedKeys.insert(tag).second)
            Flag(RuleId::kResultKeysListed, e.frame, TagName(tag) + " is not in android.request.availableResultKeys");
    }
    int64_t sensorNs = GetI64(e.metadata.get(), ANDROID_SENSOR_TIMESTAMP, -1);
    if (sensorNs >= 0) entry.sensorNs = sensorNs;
    int depth = GetU8(e.metadata.get(), ANDROID_REQUEST_PIPELINE_DEPTH, -1);
    if (m_limits.pipelineMaxDepth > 0 && depth > m_limits.pipelineMaxDepth)
        Flag(RuleId::kPipelineDepth, e.frame,
             "android.request.pipelineDepth " + std::to_string(depth) + " above the maximum " +
                 std::to_string(m_limits.pipelineMaxDepth));
    MergeMetadata(entry, std::move(e.metadata));
    if (!final) return;
    entry.finalMetadata = true;
    entry.finalNonEmpty = !Empty(entry.result.get());
    if (!entry.finalNonEmpty) return;
    Order& order = m_finalOrder[entry.zslStill];
    if (order.Behind(e.frame))
        Flag(RuleId::kFinalResultOrder, e.frame, "final result after frame " + std::to_string(order.last) + "'s");
    order.Take(e.frame);
}

void ResultChecker::MergeMetadata(Entry& entry, MetadataPtr metadata) {
    if (entry.result == nullptr) {
        entry.result = std::move(metadata);
        return;
    }
    MetadataPtr merged(allocate_camera_metadata(
        get_camera_metadata_entry_count(entry.result.get()) + get_camera_metadata_entry_count(metadata.get()),
        get_camera_metadata_data_count(entry.result.get()) + get_camera_metadata_data_count(metadata.get())));
    append_camera_metadata(merged.get(), entry.result.get());
    append_camera_metadata(merged.get(), metadata.get());
    entry.result = std::move(merged);
}

// The service finds a returned buffer by its stream and frame
// (CameraDeviceSession.cpp constructCaptureResult) and its handle value
// (Camera3Stream.cpp isOutstandingBuffer), never by the pointer it came in.
void ResultChecker::HandleBuffer(uint32_t frame, Entry& entry, const ReturnedBuffer& b) {
    if (b.stream == nullptr || b.handle == nullptr) {
        Flag(RuleId::kBufferNull, frame,
             b.stream == nullptr ? "returned buffer without a stream" : "returned buffer without a handle");
        return;
    }
    auto p = std::find_if(entry.buffers.begin(), entry.buffers.end(),
                          [&](const Pending& x) { return x.stream == b.stream && x.value == b.value; });
    if (p == entry.buffers.end()) {
        Flag(RuleId::kBufferOnce, frame, "returned a buffer that was not in its request");
        return;
    }
    if (p->returned) {
        Flag(RuleId::kBufferOnce, frame, "buffer returned twice");
        return;
    }
    p->returned = true;
    p->status = b.status;
    if (b.acquireFence != -1)
        Flag(RuleId::kBufferAcquireFence, frame, "acquire fence " + std::to_string(b.acquireFence) + ", not -1");
    if (b.releaseFence != -1) WaitReleaseFence(frame, b.releaseFence);
    bool ok = b.status == CAMERA3_BUFFER_STATUS_OK;
    if (!BufferOrder(frame, *p, b))
        Flag(ok ? RuleId::kBufferFifo : RuleId::kBufferFifoError, frame,
             "buffer came back after frame " + std::to_string(p->overtakenBy) + "'s on the same stream");
    if (ok && entry.errorRequest)
        Flag(RuleId::kErrorRequestBuffer, frame, "buffer returned OK after ERROR_REQUEST");
    else if (ok && entry.errorBuffers.count(b.stream))
        Flag(RuleId::kErrorBufferStatus, frame, "buffer returned OK after ERROR_BUFFER");
    if (m_inspector) {
        // The picture of a buffer that should have failed is not looked at.
        ReturnedBuffer seen = b;
        seen.handle = p->handle;
        if (entry.errorRequest || entry.errorBuffers.count(b.stream)) seen.status = CAMERA3_BUFFER_STATUS_ERROR;
        m_inspector(frame, seen, m_findings);
    }
}

// Marks the earlier frames this buffer overtook on its stream; false when a
// later frame's buffer of the stream had overtaken this one. Error buffers
// returned while the device flushes are out of the order.
bool ResultChecker::BufferOrder(uint32_t frame, Pending& p, const ReturnedBuffer& b) {
    auto& q = m_streamQueues[b.stream];
    auto mine = std::find(q.begin(), q.end(), frame);
    bool exempt = m_flushing && b.status != CAMERA3_BUFFER_STATUS_OK;
    for (auto it = q.begin(); it != mine && !exempt; ++it) {
        auto earlier = m_inFlight.find(*it);
        if (earlier == m_inFlight.end()) continue;
        for (auto& other : earlier->second.buffers)
            if (other.stream == b.stream && !other.returned && other.overtakenBy == 0) other.overtakenBy = frame;
    }
    if (mine != q.end()) q.erase(mine);
    return exempt || p.overtakenBy == 0;
}

// The service waits on a release fence before the consumer sees the buffer,
// then closes it (a fence always reaches it as its own copy, through binder).
void ResultChecker::WaitReleaseFence(uint32_t frame, int fence) {
    if (fence <= STDERR_FILENO) {  // not the device's to hand over: left open
        Flag(RuleId::kReleaseFence, frame, "release fence " + std::to_string(fence) + " is a standard stream");
        return;
    }
    pollfd pfd{fence, POLLIN, 0};
    int bound = int(std::min<int64_t>(m_limits.stallNs / 1000000, 10000));
    int rc = poll(&pfd, 1, bound);
    if (rc > 0 && (pfd.revents & POLLNVAL)) {
        Flag(RuleId::kReleaseFence, frame,
             "release fence " + std::to_string(fence) + " is not an open file descriptor");
        return;
    }
    if (rc == 0)
        Flag(RuleId::kReleaseFence, frame, "release fence not signalled within " + std::to_string(bound) + " ms");
    close(fence);
}

void ResultChecker::HandleNotify(const camera3_notify_msg_t& msg) {
    if (m_deviceError) Flag(RuleId::kAfterErrorDevice, "notify after ERROR_DEVICE");
    if (msg.type == CAMERA3_MSG_SHUTTER)
        HandleShutter(msg.message.shutter);
    else if (msg.type == CAMERA3_MSG_ERROR)
        HandleError(msg.message.error);
    else
        Flag(RuleId::kNotifyType, "unknown notify type " + std::to_string(msg.type));
}

void ResultChecker::HandleShutter(const camera3_shutter_msg_t& shutter) {
    uint32_t frame = shutter.frame_number;
    uint64_t ts = shutter.timestamp;
    auto done = m_done.find(frame);
    if (done != m_done.end() && done->second == Ended::kByErrorResultBeforeShutter) {
        Flag(RuleId::kErrorResultShutter, frame, "shutter after the ERROR_RESULT frame's last buffer");
        return;
    }
    Entry* entry = Lookup(frame, "shutter");
    if (entry == nullptr) return;
    if (entry->shutter) {
        Flag(RuleId::kShutterOnce, frame, "second shutter");
        return;
    }
    if (entry->errorRequest) Flag(RuleId::kErrorRequestShutter, frame, "shutter after ERROR_REQUEST");
    Order& order = m_shutterOrder[entry->zslStill];
    if (order.Behind(frame))
        Flag(RuleId::kShutterOrder, frame, "shutter after frame " + std::to_string(order.last) + "'s");
    order.Take(frame);
    // Camera3Stream.cpp returnBuffer compares with the stream's last timestamp,
    // whatever the capture that set it.
    if (!entry->zslStill && m_anyShutter && ts <= m_lastShutterNs)
        Flag(RuleId::kShutterTimestampOrder, frame, "timestamp " + std::to_string(ts) + " does not rise");
    m_anyShutter = true;
    m_lastShutterNs = ts;
    entry->shutter = true;
    entry->shutterNs = ts;
    MaybeComplete(frame, NowNs());
}

void ResultChecker::HandleError(const camera3_error_msg_t& err) {
    const uint32_t frame = err.frame_number;
    if (err.error_code < CAMERA3_MSG_ERROR_DEVICE || err.error_code > CAMERA3_MSG_ERROR_BUFFER) {
        Flag(RuleId::kNotifyType, frame, "unknown error code " + std::to_string(err.error_code));
        return;
    }
    if (err.error_code != CAMERA3_MSG_ERROR_BUFFER && err.error_stream != nullptr)
        Flag(RuleId::kErrorStream, frame, "error " + std::to_string(err.error_code) + " names a stream");
    if (err.error_code == CAMERA3_MSG_ERROR_DEVICE) {
        Flag(RuleId::kErrorDevice, "the device reported ERROR_DEVICE");
        m_deviceError = true;
        return;
    }
    if (err.error_code == CAMERA3_MSG_ERROR_BUFFER && !m_inFlight.count(frame)) {
        // The service ignores ERROR_BUFFER; it may come after the frame's last piece.
        auto done = m_done.find(frame);
        if (done != m_done.end() && done->second == Ended::kByErrorRequest)
            Flag(RuleId::kErrorRequestExclusive, frame, "ERROR_BUFFER for an ERROR_REQUEST frame");
        auto late = m_unnotified.find(frame);
        if (late != m_unnotified.end()) late->second.erase(err.error_stream);
        return;
    }
    Entry* entry = Lookup(frame, "error notify");
    if (entry == nullptr) return;
    switch (err.error_code) {
        case CAMERA3_MSG_ERROR_REQUEST:
            if (entry->errorRequest) {
                Flag(RuleId::kErrorNotifyRepeat, frame, "second ERROR_REQUEST");
                return;
            }
            if (entry->errorResult || !entry->errorBuffers.empty())
                Flag(RuleId::kErrorRequestExclusive, frame,
                     std::string("ERROR_REQUEST after ") + (entry->errorResult ? "ERROR_RESULT" : "ERROR_BUFFER"));
            if (entry->anyMetadata) Flag(RuleId::kErrorRequestMetadata, frame, "ERROR_REQUEST after result metadata");
            for (const Pending& p : entry->buffers)
                if (p.returned && p.status == CAMERA3_BUFFER_STATUS_OK)
                    Flag(RuleId::kErrorRequestBuffer, frame, "ERROR_REQUEST after a buffer came back OK");
            if (!entry->errorResult && entry->errorBuffers.empty()) ++m_errorFrames;
            entry->errorRequest = true;
            break;
        case CAMERA3_MSG_ERROR_RESULT:
            if (entry->errorResult) {
                Flag(RuleId::kErrorNotifyRepeat, frame, "second ERROR_RESULT");
                return;
            }
            if (entry->errorRequest) Flag(RuleId::kErrorRequestExclusive, frame, "ERROR_RESULT after ERROR_REQUEST");
            if (entry->finalNonEmpty) Flag(RuleId::kErrorResultLate, frame, "ERROR_RESULT after the final result");
            if (!entry->errorRequest && entry->errorBuffers.empty()) ++m_errorFrames;
            entry->errorResult = true;
            break;
        case CAMERA3_MSG_ERROR_BUFFER: {
            auto p = std::find_if(entry->buffers.begin(), entry->buffers.end(),
                                  [&](const Pending& x) { return x.stream == err.error_stream; });
            if (p == entry->buffers.end()) {
                Flag(RuleId::kErrorStream, frame, "ERROR_BUFFER for a stream not in the request");
                return;
            }
            if (!entry->errorBuffers.insert(err.error_stream).second) {
                Flag(RuleId::kErrorNotifyRepeat, frame, "second ERROR_BUFFER for a stream");
                return;
            }
            if (entry->errorRequest) Flag(RuleId::kErrorRequestExclusive, frame, "ERROR_BUFFER after ERROR_REQUEST");
            if (p->returned && p->status == CAMERA3_BUFFER_STATUS_OK)
                Flag(RuleId::kErrorBufferStatus, frame, "ERROR_BUFFER for a buffer that came back OK");
            if (entry->errorBuffers.size() == 1 && !entry->errorRequest && !entry->errorResult) ++m_errorFrames;
            break;
        }
    }
    MaybeComplete(frame, NowNs());
}

// A frame ends as the service removes it from its in-flight map
// (Camera3OutputUtils.cpp removeInFlightRequestIfReadyLocked): every buffer
// back, and either an ERROR_REQUEST or ERROR_RESULT, or the final metadata
// and the shutter.
void ResultChecker::MaybeComplete(uint32_t frame, int64_t arrivalNs) {
    auto it = m_inFlight.find(frame);
    if (it == m_inFlight.end()) return;
    Entry& entry = it->second;
    bool buffersBack =
        std::all_of(entry.buffers.begin(), entry.buffers.end(), [](const Pending& p) { return p.returned; });
    bool failed = entry.errorRequest || entry.errorResult;
    if (!buffersBack || !(failed || (entry.finalMetadata && entry.shutter))) return;
    if (!failed) {
        if (entry.sensorNs < 0)
            Flag(RuleId::kSensorTimestampMissing, frame, "no android.sensor.timestamp in the result");
        else if (uint64_t(entry.sensorNs) != entry.shutterNs)
            Flag(RuleId::kSensorTimestamp, frame,
                 "android.sensor.timestamp " + std::to_string(entry.sensorNs) + " != shutter " +
                     std::to_string(entry.shutterNs));
        if (!m_anyCompleted) CheckStatesAtOpen(frame, entry.result.get());
    }
    m_anyCompleted = true;
    for (const Pending& p : entry.buffers)
        if (p.status != CAMERA3_BUFFER_STATUS_OK && !entry.errorRequest && !entry.errorBuffers.count(p.stream))
            m_unnotified[frame].insert(p.stream);
    FrameRecord record;
    record.frame = frame;
    record.submitNs = entry.submitNs;
    record.doneNs = arrivalNs;
    record.shutterNs = entry.shutterNs;
    record.errorRequest = entry.errorRequest;
    record.errorResult = entry.errorResult;
    record.errorBuffer = std::any_of(entry.buffers.begin(), entry.buffers.end(),
                                     [](const Pending& p) { return p.status != CAMERA3_BUFFER_STATUS_OK; });
    record.result = std::move(entry.result);
    for (const auto& p : entry.buffers) record.buffers.push_back({p.stream, p.handle, p.status});
    if (m_trace) {
        std::ostringstream line;
        line << "frame " << frame << " shutter=" << entry.shutterNs << " partials=" << entry.partials.size()
             << " buffers=" << entry.buffers.size() << " latency_us=" << (arrivalNs - entry.submitNs) / 1000
             << (entry.errorRequest ? " ERROR_REQUEST" : "") << (entry.errorResult ? " ERROR_RESULT" : "")
             << (entry.errorBuffers.empty() ? "" : " ERROR_BUFFER");
        m_trace(line.str());
    }
    m_completed.push_back(std::move(record));
    m_done[frame] = entry.errorRequest                    ? Ended::kByErrorRequest
                    : entry.errorResult && !entry.shutter ? Ended::kByErrorResultBeforeShutter
                                                          : Ended::kNormally;
    m_inFlight.erase(it);
}

// The 3A state machines start INACTIVE (camera3.h S8); the first result may
// already show one step of a scan, never a lock or a trigger's state.
void ResultChecker::CheckStatesAtOpen(uint32_t frame, const camera_metadata_t* result) {
    const struct {
        uint32_t tag;
        std::set<int> allowed;
    } kStates[] = {
        {ANDROID_CONTROL_AE_STATE,
         {ANDROID_CONTROL_AE_STATE_INACTIVE, ANDROID_CONTROL_AE_STATE_SEARCHING, ANDROID_CONTROL_AE_STATE_CONVERGED}},
        {ANDROID_CONTROL_AF_STATE, {ANDROID_CONTROL_AF_STATE_INACTIVE, ANDROID_CONTROL_AF_STATE_PASSIVE_SCAN}},
        {ANDROID_CONTROL_AWB_STATE,
         {ANDROID_CONTROL_AWB_STATE_INACTIVE, ANDROID_CONTROL_AWB_STATE_SEARCHING,
          ANDROID_CONTROL_AWB_STATE_CONVERGED}},
    };
    for (const auto& s : kStates) {
        int state = GetU8(result, s.tag, -1);
        if (state >= 0 && !s.allowed.count(state))
            Flag(RuleId::k3aStateAtOpen, frame,
                 TagName(s.tag) + " " + std::to_string(state) + " in the first result after open");
    }
}

// ERROR_BUFFER may come at any time, even after the frame's last piece: a
// buffer still without one is named only once the device is idle.
void ResultChecker::FlagUnnotifiedErrorBuffers() {
    for (const auto& [frame, streams] : m_unnotified)
        if (!streams.empty())
            Flag(RuleId::kErrorBufferNotify, frame, "buffer in error with no ERROR_BUFFER or ERROR_REQUEST");
    m_unnotified.clear();
}

void ResultChecker::ExplainStall() {
    bool unexplained = false;
    for (const auto& [frame, entry] : m_inFlight) {
        if (!m_stallExplained.insert(frame).second) continue;
        bool lost = false;
        for (const auto& p : entry.buffers)
            if (!p.returned && p.overtakenBy != 0) {
                lost = true;
                Flag(RuleId::kBufferReturned, frame,
                     "a buffer never came back, though frame " + std::to_string(p.overtakenBy) +
                         "'s on the same stream did");
            }
        unexplained |= !lost;
    }
    if (unexplained)
        Flag(RuleId::kResultTimeout, "nothing arrived for " + std::to_string(m_limits.stallNs / 1000000) + " ms with " +
                                         std::to_string(m_inFlight.size()) + " frame(s) in flight");
    if (m_trace) m_trace("in-flight table at the time-out:\n" + InFlightTableLocked());
}

}  // namespace hal3_check

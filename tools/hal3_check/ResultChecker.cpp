#include "ResultChecker.h"

#include "ResultEvent.h"

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

CheckerLimits LimitsOf(const StaticInfo& staticInfo, int64_t stallNs) {
    constexpr int64_t kServiceBufferWaitNs = 3000000000;  // Camera3Device.h kBaseGetBufferWait
    CheckerLimits limits;
    limits.partialCount = staticInfo.partialCount();
    limits.pipelineMaxDepth = staticInfo.pipelineMaxDepth();
    limits.stallNs = std::max(stallNs, kServiceBufferWaitNs + staticInfo.longestFrameAndStallNs());
    limits.resultKeys = staticInfo.resultKeys();
    return limits;
}

namespace {

// A ZSL still capture (android.control.enableZsl in a STILL_CAPTURE request)
// may carry an older timestamp and keeps an order of its own
// (Camera3OutputUtils.cpp: zslCapture && stillCapture).
bool IsZslStill(const camera_metadata_t* settings) {
    return GetU8(settings, ANDROID_CONTROL_ENABLE_ZSL, 0) == ANDROID_CONTROL_ENABLE_ZSL_TRUE &&
           GetU8(settings, ANDROID_CONTROL_CAPTURE_INTENT, 0) == ANDROID_CONTROL_CAPTURE_INTENT_STILL_CAPTURE;
}

}  // namespace

ResultChecker::ResultChecker(const CheckerLimits& limits, FindingSink& findings, TraceSink trace)
    : m_limits(limits), m_findings(findings), m_trace(std::move(trace)), m_lastProgressNs(NowNs()) {
    m_thread = std::thread([this] { Run(); });
}

ResultChecker::~ResultChecker() {
    {
        std::lock_guard<std::mutex> lock(m_queueMutex);
        m_stop = true;
    }
    m_queueCv.notify_all();
    m_thread.join();
}

void ResultChecker::Push(Event&& e) {
    {
        std::lock_guard<std::mutex> lock(m_queueMutex);
        m_queue.push_back(std::move(e));
        ++m_pushed;
    }
    m_queueCv.notify_one();
}

void ResultChecker::OnResult(const camera3_capture_result_t* r) {
    Event e(Event::kResult);
    if (r == nullptr) {
        e.nullResult = true;
        Push(std::move(e));
        return;
    }
    e.frame = r->frame_number;
    e.partial = r->partial_result;
    if (r->result != nullptr) {
        // A malformed buffer is not cloned: its sizes cannot be trusted.
        if (validate_camera_metadata_structure(r->result, nullptr) == 0)
            e.metadata.reset(clone_camera_metadata(r->result));
        else
            e.malformedMetadata = true;
    }
    // The array is read only as far as the request's own buffers: a count
    // beyond them is a lie the checker must not follow past the array.
    uint32_t bound = 0;
    {
        std::lock_guard<std::mutex> lock(m_queueMutex);
        auto it = m_requestBuffers.find(e.frame);
        if (it != m_requestBuffers.end()) bound = it->second;
    }
    e.claimedBuffers = r->num_output_buffers;
    e.bufferArray = r->output_buffers != nullptr;
    for (uint32_t i = 0; i < std::min(r->num_output_buffers, bound) && r->output_buffers != nullptr; ++i) {
        const camera3_stream_buffer_t& b = r->output_buffers[i];
        e.buffers.push_back(
            {b.stream, b.buffer, b.status, b.acquire_fence, b.release_fence, b.buffer ? *b.buffer : nullptr});
    }
    e.inputBuffer = r->input_buffer != nullptr;
    Push(std::move(e));
}

void ResultChecker::OnNotify(const camera3_notify_msg_t* msg) {
    Event e(Event::kNotify);
    if (msg == nullptr)
        e.msg.type = -1;  // reported as an unknown type
    else
        e.msg = *msg;
    Push(std::move(e));
}

void ResultChecker::OnSubmit(const camera3_capture_request_t& request) {
    Event e(Event::kSubmit);
    e.frame = request.frame_number;
    for (uint32_t i = 0; i < request.num_output_buffers; ++i) {
        const camera3_stream_buffer_t& b = request.output_buffers[i];
        e.buffers.push_back({b.stream, b.buffer, 0, -1, -1, b.buffer ? *b.buffer : nullptr});
    }
    {
        std::lock_guard<std::mutex> lock(m_queueMutex);
        m_requestBuffers[e.frame] = request.num_output_buffers;
        if (request.settings != nullptr) m_lastZslStill = IsZslStill(request.settings);
        e.zslStill = m_lastZslStill;
    }
    Push(std::move(e));
}

void ResultChecker::OnSubmitFailed(uint32_t frame) {
    Event e(Event::kSubmitFailed);
    e.frame = frame;
    {
        std::lock_guard<std::mutex> lock(m_queueMutex);
        m_requestBuffers.erase(frame);
    }
    Push(std::move(e));
}

void ResultChecker::BeginFlush() { Push(Event(Event::kFlushBegin)); }

void ResultChecker::EndFlush() { Push(Event(Event::kFlushEnd)); }

void ResultChecker::DeviceLost(const std::string& call) {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    Flag(RuleId::kErrorDevice, call + " returned -ENODEV");
    m_deviceError = true;
    m_stateCv.notify_all();
}

bool ResultChecker::deviceError() {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_deviceError;
}

void ResultChecker::SetInspector(Inspector inspector) {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    m_inspector = std::move(inspector);
}

void ResultChecker::Run() {
    for (;;) {
        Event e(Event::kBarrier);
        {
            std::unique_lock<std::mutex> lock(m_queueMutex);
            m_queueCv.wait(lock, [&] { return m_stop || !m_queue.empty(); });
            if (m_queue.empty()) return;
            e = std::move(m_queue.front());
            m_queue.pop_front();
        }
        std::lock_guard<std::mutex> lock(m_stateMutex);
        Handle(e);
        ++m_handled;
        m_lastProgressNs = NowNs();
        timespec cpu{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &cpu);
        m_cpuNs = int64_t(cpu.tv_sec) * 1000000000 + cpu.tv_nsec;
        m_stateCv.notify_all();
    }
}

void ResultChecker::Sync() {
    uint64_t target;
    {
        std::lock_guard<std::mutex> lock(m_queueMutex);
        target = m_pushed;
    }
    std::unique_lock<std::mutex> lock(m_stateMutex);
    m_stateCv.wait(lock, [&] { return m_handled >= target; });
}

bool ResultChecker::WaitIdle() {
    Sync();
    std::unique_lock<std::mutex> lock(m_stateMutex);
    while (!m_inFlight.empty() && !m_deviceError) {  // after a fatal error the service waits for nothing
        int64_t left = m_lastProgressNs + m_limits.stallNs - NowNs();
        if (left <= 0) {
            ExplainStall();
            return false;
        }
        m_stateCv.wait_for(lock, std::chrono::nanoseconds(left));
    }
    FlagUnnotifiedErrorBuffers();
    return true;
}

size_t ResultChecker::InFlight() {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_inFlight.size();
}

std::vector<FrameRecord> ResultChecker::TakeCompleted() {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return std::move(m_completed);
}

void ResultChecker::Fail(Finding finding) {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    m_findings.Add(std::move(finding));
}

uint32_t ResultChecker::errorFrames() {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_errorFrames;
}

int64_t ResultChecker::CpuNs() {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_cpuNs;
}

}  // namespace hal3_check

namespace hal3_check {

std::string ResultChecker::InFlightTable() {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return InFlightTableLocked();
}

std::string ResultChecker::InFlightTableLocked() {
    std::ostringstream t;
    t << "  frame   shutter              partials  buffers(back/all)  errors\n";
    for (const auto& [frame, e] : m_inFlight) {
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

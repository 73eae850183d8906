#include "Pipeline.h"

#include <time.h>

#include <algorithm>

#include <android/constants/CameraConstants.h>

#include "MetadataTags.h"
#include "ResultComposer.h"
#include "StaticMetadata.h"

namespace camera_core {
namespace {

// Shutter timestamps are in the clock the static metadata names (REALTIME: CLOCK_BOOTTIME).
int64_t BootTimeNs() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

void SleepUntil(int64_t deadlineNs) {
    const timespec deadline{static_cast<time_t>(deadlineNs / 1000000000), static_cast<long>(deadlineNs % 1000000000)};
    while (clock_nanosleep(CLOCK_BOOTTIME, TIMER_ABSTIME, &deadline, nullptr) != 0) {
    }
}

}  // namespace

Pipeline::Pipeline(const CameraConfig& camera, const FrameworkCallbacks& callbacks, Faults faults)
    : m_camera(camera),
      m_callbacks(callbacks),
      m_faults(faults),
      m_threeA(camera.seed),
      m_jpegMaxSize(JpegMaxSize(camera)),
      m_thread(&Pipeline::Run, this) {}

Pipeline::~Pipeline() {
    {
        std::lock_guard<std::mutex> hold(m_lock);
        m_stop = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void Pipeline::Queue(CaptureRequest request) {
    {
        std::lock_guard<std::mutex> hold(m_lock);
        m_queue.push_back(std::move(request));
    }
    m_changed.notify_all();
}

void Pipeline::Flush() {
    std::deque<CaptureRequest> cancelled;
    {
        std::unique_lock<std::mutex> hold(m_lock);
        m_flushing = true;
        m_changed.wait(hold, [this] { return !m_busy; });
        cancelled.swap(m_stalled);
        for (CaptureRequest& request : m_queue) cancelled.push_back(std::move(request));
        m_queue.clear();
    }
    // Stalled requests are older than queued ones: the order above keeps FIFO.
    for (CaptureRequest& request : cancelled) FailRequest(request);
    {
        std::lock_guard<std::mutex> hold(m_lock);
        m_flushing = false;
    }
    m_changed.notify_all();
}

PipelineStats Pipeline::Stats() {
    std::lock_guard<std::mutex> hold(m_lock);
    return {m_framesDelivered, m_requestsFailed, m_queue.size() + m_stalled.size()};
}

void Pipeline::Run() {
    std::unique_lock<std::mutex> hold(m_lock);
    while (true) {
        m_changed.wait(hold, [this] { return m_stop || (!m_flushing && !m_queue.empty()); });
        if (m_stop) return;
        CaptureRequest request = std::move(m_queue.front());
        m_queue.pop_front();
        if (m_faults.At(Fault::kStall, request.frameNumber)) {
            m_stalled.push_back(std::move(request));
            continue;
        }
        m_busy = true;
        hold.unlock();
        Capture(request);
        hold.lock();
        m_busy = false;
        m_changed.notify_all();
    }
}

void Pipeline::FailRequest(CaptureRequest& request) {
    m_callbacks.Error(request.frameNumber, nullptr, zelkov::GET_CAMERA3_MSG_ERROR_REQUEST());
    SendBuffers(request, request.frameNumber, nullptr, 0, false);
    std::lock_guard<std::mutex> hold(m_lock);
    ++m_requestsFailed;
}

void Pipeline::SendBuffers(CaptureRequest& request, uint32_t frame, const camera_metadata* metadata, uint32_t partial,
                           bool dropFirst) {
    std::vector<zelkov::ZelCamera3StreamBuffer*> returned;
    for (size_t i = dropFirst ? 1 : 0; i < request.buffers.size(); ++i) returned.push_back(&request.buffers[i]);
    m_callbacks.Result(frame, metadata, partial, returned);
}

void Pipeline::Capture(CaptureRequest& request) {
    const uint32_t frame = request.frameNumber;
    const int64_t startNs = std::max(BootTimeNs(), m_nextStartNs);
    SleepUntil(startNs);
    m_nextStartNs = startNs + request.frameDurationNs;

    if (m_faults.At(Fault::kErrorRequest, frame) || m_faults.At(Fault::kErrorRequestBad, frame)) {
        for (auto& buffer : request.buffers) buffer.SetStatus(zelkov::GET_CAMERA3_BUFFER_STATUS_ERROR());
        FailRequest(request);
        if (m_faults.At(Fault::kErrorRequestBad, frame)) {
            Metadata late(request.settings.Get());
            m_callbacks.Result(frame, late.Get(), m_camera.partialResultCount, {});
        }
        SleepUntil(m_nextStartNs);
        return;
    }

    const ThreeAState threeA = m_threeA.Update(request.settings);
    const FrameFacts facts{startNs,
                           request.frameDurationNs,
                           static_cast<uint8_t>(m_camera.pipelineDepth),
                           threeA,
                           m_gyro.Latest(),
                           static_cast<int64_t>(frame)};
    const std::vector<Metadata> parts =
        ResultComposer::Split(ResultComposer::Compose(request.settings, facts), m_camera.partialResultCount);
    const uint32_t count = m_camera.partialResultCount;
    const int64_t shutterNs = m_faults.At(Fault::kWrongTimestamp, frame) ? startNs + 1000000 : startNs;

    // The shutter opens the frame; the late-shutter fault sends it after the first result.
    const bool lateShutter = m_faults.At(Fault::kLateShutter, frame);
    if (!lateShutter) m_callbacks.Shutter(frame, shutterNs);
    for (uint32_t i = 0; i + 1 < count; ++i) {
        m_callbacks.Result(frame, parts[i].Get(), i + 1, {});
        if (lateShutter && i == 0) m_callbacks.Shutter(frame, shutterNs);
    }

    RenderRequest render{frame,
                         request.settings.GetI32(tag::kSensorTestPatternMode, 0, value::kTestPatternOff) ==
                             value::kTestPatternColorBars,
                         request.settings.GetU8(tag::kJpegQuality, 95), m_jpegMaxSize};
    for (auto& buffer : request.buffers) {
        buffer.SetReleaseFence(-1);
        const bool drawn = m_renderer.Render(buffer, render);
        buffer.SetStatus(drawn ? zelkov::GET_CAMERA3_BUFFER_STATUS_OK() : zelkov::GET_CAMERA3_BUFFER_STATUS_ERROR());
        if (!drawn) m_callbacks.Error(frame, buffer.GetStream(), zelkov::GET_CAMERA3_MSG_ERROR_BUFFER());
    }
    SleepUntil(m_nextStartNs);

    const uint32_t finalPartial = m_faults.At(Fault::kBadPartial, frame) ? count + 1 : count;
    SendBuffers(request, frame, parts[count - 1].Get(), finalPartial, m_faults.At(Fault::kDropBuffer, frame));
    if (lateShutter && count == 1) m_callbacks.Shutter(frame, shutterNs);
    if (m_faults.At(Fault::kDuplicateBuffer, frame)) m_callbacks.Result(frame, nullptr, 0, {&request.buffers[0]});

    std::lock_guard<std::mutex> hold(m_lock);
    ++m_framesDelivered;
}

}  // namespace camera_core

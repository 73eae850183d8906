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
      m_sensorThread(&Pipeline::RunSensor, this),
      m_readoutThread(&Pipeline::RunReadout, this) {}

Pipeline::~Pipeline() {
    {
        std::lock_guard<std::mutex> hold(m_lock);
        m_stop = true;
    }
    m_changed.notify_all();
    m_sensorThread.join();
    m_readoutThread.join();
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
        // Frames whose exposure has started complete normally; the rest are cancelled.
        std::unique_lock<std::mutex> hold(m_lock);
        m_flushing = true;
        m_changed.wait(hold, [this] { return !m_exposing && !m_reading && m_exposed.empty(); });
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
    return {m_framesDelivered, m_requestsFailed, m_queue.size() + m_stalled.size() + m_exposed.size()};
}

void Pipeline::RunSensor() {
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
        m_exposing = true;
        hold.unlock();
        ExposedFrame frame = Expose(std::move(request));
        const bool shutterHeld = !frame.shutterSent && !frame.failed;
        hold.lock();
        m_exposed.push_back(std::move(frame));
        m_exposing = false;
        m_changed.notify_all();
        // A held-back shutter still comes before the next frame's.
        if (shutterHeld) m_changed.wait(hold, [this] { return m_stop || (m_exposed.empty() && !m_reading); });
    }
}

void Pipeline::RunReadout() {
    std::unique_lock<std::mutex> hold(m_lock);
    while (true) {
        m_changed.wait(hold, [this] { return m_stop || !m_exposed.empty(); });
        if (m_stop) return;
        ExposedFrame frame = std::move(m_exposed.front());
        m_exposed.pop_front();
        m_reading = true;
        hold.unlock();
        Deliver(frame);
        hold.lock();
        m_reading = false;
        m_changed.notify_all();
    }
}

void Pipeline::FailRequest(CaptureRequest& request) {
    m_callbacks.Error(request.frameNumber, nullptr, zelkov::GET_CAMERA3_MSG_ERROR_REQUEST());
    // The broken variant: result metadata for the failed frame, while it is still in flight.
    if (m_faults.At(Fault::kErrorRequestBad, request.frameNumber)) {
        m_callbacks.Result(request.frameNumber, request.settings.Get(), m_camera.partialResultCount, {});
    }
    for (auto& buffer : request.buffers) {
        buffer.SetStatus(zelkov::GET_CAMERA3_BUFFER_STATUS_ERROR());
        buffer.SetReleaseFence(-1);
    }
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

ExposedFrame Pipeline::Expose(CaptureRequest request) {
    ExposedFrame frame;
    frame.request = std::move(request);
    const uint32_t number = frame.request.frameNumber;
    frame.startNs = std::max(BootTimeNs(), m_nextStartNs);
    SleepUntil(frame.startNs);
    m_nextStartNs = frame.startNs + frame.request.frameDurationNs;
    if (m_faults.At(Fault::kErrorRequest, number) || m_faults.At(Fault::kErrorRequestBad, number)) {
        frame.failed = true;
        return frame;
    }

    const ThreeAState threeA = m_threeA.Update(frame.request.settings);
    const FrameFacts facts{frame.startNs,
                           frame.request.frameDurationNs,
                           static_cast<uint8_t>(m_camera.pipelineDepth),
                           threeA,
                           m_gyro.Latest(),
                           static_cast<int64_t>(number)};
    frame.parts = ResultComposer::Split(ResultComposer::Compose(frame.request.settings, facts),
                                        m_camera.partialResultCount);
    frame.shutterNs = m_faults.At(Fault::kWrongTimestamp, number) ? frame.startNs + 1000000 : frame.startNs;
    // The shutter opens the frame; the late-shutter fault holds it back until after the first result.
    if (!m_faults.At(Fault::kLateShutter, number)) {
        m_callbacks.Shutter(number, frame.shutterNs);
        frame.shutterSent = true;
    }
    return frame;
}

void Pipeline::Deliver(ExposedFrame& frame) {
    CaptureRequest& request = frame.request;
    const uint32_t number = request.frameNumber;
    const int64_t endNs = frame.startNs + request.frameDurationNs;
    if (frame.failed) {
        FailRequest(request);
        return;
    }
    const uint32_t count = m_camera.partialResultCount;
    const auto sendLateShutter = [&] {
        if (!frame.shutterSent) m_callbacks.Shutter(number, frame.shutterNs);
        frame.shutterSent = true;
    };
    for (uint32_t i = 0; i + 1 < count; ++i) {
        m_callbacks.Result(number, frame.parts[i].Get(), i + 1, {});
        sendLateShutter();
    }

    const RenderRequest render{number,
                               request.settings.GetI32(tag::kSensorTestPatternMode, 0, value::kTestPatternOff) ==
                                   value::kTestPatternColorBars,
                               request.settings.GetU8(tag::kJpegQuality, 95), m_jpegMaxSize};
    for (auto& buffer : request.buffers) {
        buffer.SetReleaseFence(-1);
        const bool drawn = m_renderer.Render(buffer, render);
        buffer.SetStatus(drawn ? zelkov::GET_CAMERA3_BUFFER_STATUS_OK() : zelkov::GET_CAMERA3_BUFFER_STATUS_ERROR());
        if (!drawn) m_callbacks.Error(number, buffer.GetStream(), zelkov::GET_CAMERA3_MSG_ERROR_BUFFER());
    }
    SleepUntil(endNs);

    const uint32_t finalPartial = m_faults.At(Fault::kBadPartial, number) ? count + 1 : count;
    SendBuffers(request, number, frame.parts[count - 1].Get(), finalPartial, m_faults.At(Fault::kDropBuffer, number));
    sendLateShutter();
    if (m_faults.At(Fault::kDuplicateBuffer, number)) m_callbacks.Result(number, nullptr, 0, {&request.buffers[0]});

    std::lock_guard<std::mutex> hold(m_lock);
    ++m_framesDelivered;
}

}  // namespace camera_core

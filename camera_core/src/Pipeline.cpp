#include "Pipeline.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include <android/constants/CameraConstants.h>

#include "Fence.h"
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

// Whole milliseconds left until a deadline, rounded up.
int MillisecondsUntil(int64_t deadlineNs) {
    const int64_t left = deadlineNs - BootTimeNs();
    return left <= 0 ? 0 : static_cast<int>((left + 999999) / 1000000);
}

// What the renderer draws for a frame, from its settings.
RenderRequest RenderRequestOf(const ExposedFrame& frame, int32_t jpegMaxSize) {
    const Metadata& settings = frame.request.settings;
    JpegExif exif;
    exif.orientationDegrees = settings.GetI32(tag::kJpegOrientation, 0, 0);
    exif.captureTime = frame.captureTime;
    exif.thumbnailWidth = static_cast<uint32_t>(std::max(settings.GetI32(tag::kJpegThumbnailSize, 0, 0), 0));
    exif.thumbnailHeight = static_cast<uint32_t>(std::max(settings.GetI32(tag::kJpegThumbnailSize, 1, 0), 0));
    exif.thumbnailQuality = settings.GetU8(tag::kJpegThumbnailQuality, 85);
    const bool colorBars =
        settings.GetI32(tag::kSensorTestPatternMode, 0, value::kTestPatternOff) == value::kTestPatternColorBars;
    return {frame.request.frameNumber, colorBars, settings.GetU8(tag::kJpegQuality, 95), jpegMaxSize, exif};
}

}  // namespace

Pipeline::Pipeline(const CameraConfig& camera, std::unique_ptr<FrameworkCallbacks> callbacks, Faults faults)
    : m_camera(camera),
      m_callbacks(std::move(callbacks)),
      m_faults(faults),
      m_threeA(camera),
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
        std::unique_lock<std::mutex> hold(m_lock);
        m_changed.wait(hold, [this] { return m_stop || m_inFlight < m_camera.pipelineDepth; });
        if (m_stop) return;
        ++m_inFlight;
        m_queue.push_back(std::move(request));
    }
    m_changed.notify_all();
}

void Pipeline::Flush() {
    std::deque<CaptureRequest> cancelled;
    {
        std::unique_lock<std::mutex> hold(m_lock);
        ++m_flushes;
        m_changed.notify_all();  // cuts the sensor's and the readout's waits short
        m_changed.wait(hold, [this] { return !m_exposing && !m_reading && m_exposed.empty(); });
        // Stalled requests are older than queued ones: this order keeps FIFO.
        cancelled.swap(m_stalled);
        for (CaptureRequest& request : m_queue) cancelled.push_back(std::move(request));
        m_queue.clear();
    }
    for (CaptureRequest& request : cancelled) FailRequest(request);
    {
        std::lock_guard<std::mutex> hold(m_lock);
        --m_flushes;
    }
    m_changed.notify_all();
}

PipelineStats Pipeline::Stats() {
    std::lock_guard<std::mutex> hold(m_lock);
    return {m_framesDelivered, m_requestsFailed, m_inFlight};
}

bool Pipeline::Flushing() {
    std::lock_guard<std::mutex> hold(m_lock);
    return m_flushes > 0;
}

bool Pipeline::WaitUntil(std::unique_lock<std::mutex>& hold, int64_t deadlineNs) {
    while (!m_stop && m_flushes == 0) {
        const int64_t left = deadlineNs - BootTimeNs();
        if (left <= 0) return true;
        m_changed.wait_for(hold, std::chrono::nanoseconds(left));
    }
    return false;
}

void Pipeline::RunSensor() {
    std::unique_lock<std::mutex> hold(m_lock);
    while (true) {
        m_changed.wait(hold, [this] { return m_stop || (m_flushes == 0 && !m_queue.empty()); });
        if (m_stop) return;
        if (m_faults.At(Fault::kStall, m_queue.front().frameNumber)) {
            m_stalled.push_back(std::move(m_queue.front()));
            m_queue.pop_front();
            continue;
        }
        // Until its exposure starts, a request stays queued for a flush to cancel;
        // after a flush, the queue is looked at afresh.
        const int64_t startNs = std::max(BootTimeNs(), m_nextStartNs);
        const uint32_t next = m_queue.front().frameNumber;
        if (!WaitUntil(hold, startNs) || m_queue.empty() || m_queue.front().frameNumber != next) continue;
        CaptureRequest request = std::move(m_queue.front());
        m_queue.pop_front();
        m_exposing = true;
        hold.unlock();
        m_nextStartNs = startNs + request.frameDurationNs;
        ExposedFrame frame = Expose(std::move(request), startNs);
        hold.lock();
        m_exposed.push_back(std::move(frame));
        m_exposing = false;
        m_changed.notify_all();
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

void Pipeline::FailBuffer(zelkov::ZelCamera3StreamBuffer& buffer, uint32_t frame, int releaseFence, bool notify) {
    if (notify) m_callbacks->Error(frame, buffer.GetStream(), zelkov::GET_CAMERA3_MSG_ERROR_BUFFER());
    buffer.SetStatus(zelkov::GET_CAMERA3_BUFFER_STATUS_ERROR());
    buffer.SetAcquireFence(-1);
    buffer.SetReleaseFence(releaseFence);
}

void Pipeline::FailRequest(CaptureRequest& request) {
    m_callbacks->Error(request.frameNumber, nullptr, zelkov::GET_CAMERA3_MSG_ERROR_REQUEST());
    // Never waited on: each acquire fence goes back as the release fence.
    for (auto& buffer : request.buffers) FailBuffer(buffer, request.frameNumber, buffer.GetAcquireFence(), false);
    {
        std::lock_guard<std::mutex> hold(m_lock);
        ++m_requestsFailed;
    }
    Complete(request, nullptr, 0);
}

void Pipeline::Complete(CaptureRequest& request, const camera_metadata* metadata, uint32_t partial) {
    {
        // The slot frees before the callback: a framework may submit from inside it.
        std::lock_guard<std::mutex> hold(m_lock);
        --m_inFlight;
        if (metadata != nullptr) ++m_framesDelivered;
    }
    m_changed.notify_all();
    std::vector<zelkov::ZelCamera3StreamBuffer*> returned;
    for (zelkov::ZelCamera3StreamBuffer& buffer : request.buffers) returned.push_back(&buffer);
    m_callbacks->Result(request.frameNumber, metadata, partial, returned);
}

ExposedFrame Pipeline::Expose(CaptureRequest request, int64_t startNs) {
    ExposedFrame frame;
    frame.request = std::move(request);
    frame.startNs = startNs;
    frame.captureTime = time(nullptr);
    const uint32_t number = frame.request.frameNumber;
    if (m_faults.At(Fault::kErrorRequest, number)) {
        frame.failed = true;
        return frame;
    }

    const ThreeAResult threeA = m_threeA.Update(frame.request.settings, frame.request.frameDurationNs);
    const FrameFacts facts{
        frame.startNs,   frame.request.frameDurationNs, static_cast<uint8_t>(m_camera.pipelineDepth), threeA,
        m_gyro.Latest(), static_cast<int64_t>(number)};
    frame.parts = ResultComposer::Split(ResultComposer::Compose(frame.request.settings, facts, m_camera),
                                        m_camera.partialResultCount);
    m_callbacks->Shutter(number, frame.startNs);
    return frame;
}

void Pipeline::FillBuffer(zelkov::ZelCamera3StreamBuffer& buffer, const ExposedFrame& frame, bool flushing) {
    const CaptureRequest& request = frame.request;
    const uint32_t number = request.frameNumber;
    const int fence = buffer.GetAcquireFence();
    // The consumer gets until the frame's end to release the buffer; a flush does not wait.
    const FenceWait wait = WaitFence(fence, flushing ? 0 : MillisecondsUntil(frame.startNs + request.frameDurationNs));
    if (flushing || wait != FenceWait::kSignalled) {
        if (wait == FenceWait::kSignalled && fence >= 0) close(fence);
        FailBuffer(buffer, number, ReleaseFenceFor(fence, wait), true);
        return;
    }
    if (fence >= 0) close(fence);
    buffer.SetAcquireFence(-1);
    buffer.SetReleaseFence(-1);
    if (!m_renderer.Render(buffer, RenderRequestOf(frame, m_jpegMaxSize))) {
        FailBuffer(buffer, number, -1, true);
        return;
    }
    buffer.SetStatus(zelkov::GET_CAMERA3_BUFFER_STATUS_OK());
}

void Pipeline::Deliver(ExposedFrame& frame) {
    CaptureRequest& request = frame.request;
    const uint32_t number = request.frameNumber;
    if (frame.failed) {
        FailRequest(request);
        return;
    }
    const uint32_t count = m_camera.partialResultCount;
    const bool resultLost = m_faults.At(Fault::kErrorResult, number);
    if (resultLost) m_callbacks->Error(number, nullptr, zelkov::GET_CAMERA3_MSG_ERROR_RESULT());
    for (uint32_t i = 0; i + 1 < count && !resultLost; ++i)
        m_callbacks->Result(number, frame.parts[i].Get(), i + 1, {});

    const bool flushing = Flushing();
    const bool firstLost = m_faults.At(Fault::kErrorBuffer, number);
    for (size_t i = 0; i < request.buffers.size(); ++i) {
        zelkov::ZelCamera3StreamBuffer& buffer = request.buffers[i];
        if (i == 0 && firstLost) {
            // Lost before it was waited on: the acquire fence goes back.
            FailBuffer(buffer, number, buffer.GetAcquireFence(), true);
        } else {
            FillBuffer(buffer, frame, flushing);
        }
    }
    if (!flushing) {
        std::unique_lock<std::mutex> hold(m_lock);
        WaitUntil(hold, frame.startNs + request.frameDurationNs);
    }

    Complete(request, resultLost ? nullptr : frame.parts[count - 1].Get(), resultLost ? 0 : count);
}

}  // namespace camera_core

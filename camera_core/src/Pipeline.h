// The simulated sensor, in two stages as a camera pipeline runs. The sensor
// thread takes the requests in order, starts each frame's exposure on the
// frame-duration schedule, runs 3A and announces the shutter; the readout
// thread then draws the buffers and, once the frame duration has passed,
// delivers the partial results and the buffers. Drawing one frame thus
// overlaps the next one's exposure, and the shutter keeps its rate.
//
// At most pipeline-depth requests are inside at once: Queue blocks until one
// leaves, so every internal queue is bounded and a request's latency is at
// most depth + 1 frame intervals. No lock of the pipeline is held while the
// framework is called back.
#ifndef ZELKOV_CAMERA_CORE_PIPELINE_H
#define ZELKOV_CAMERA_CORE_PIPELINE_H

#include <condition_variable>
#include <cstdint>
#include <ctime>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <android/wrappers/ZelCamera3Request.h>

#include "Config.h"
#include "Faults.h"
#include "FrameRenderer.h"
#include "FrameworkCallbacks.h"
#include "GyroSource.h"
#include "Metadata.h"
#include "ThreeA.h"

namespace camera_core {

struct CaptureRequest {
    uint32_t frameNumber = 0;
    Metadata settings;
    std::vector<zelkov::ZelCamera3StreamBuffer> buffers;  // our copies of the framework's records
    int64_t frameDurationNs = 0;
};

// A frame between the two stages.
struct ExposedFrame {
    CaptureRequest request;
    bool failed = false;          // deliver as ERROR_REQUEST
    int64_t startNs = 0;          // the shutter's time
    time_t captureTime = 0;       // wall clock, for EXIF
    std::vector<Metadata> parts;  // the result, one buffer per partial
};

struct PipelineStats {
    uint64_t framesDelivered;
    uint64_t requestsFailed;
    size_t inFlight;
};

class Pipeline {
public:
    // faults: the pipeline's share (Faults::InPipeline).
    Pipeline(const CameraConfig& camera, std::unique_ptr<FrameworkCallbacks> callbacks, Faults faults);
    ~Pipeline();  // stops the threads; requests still inside are dropped (flush first)
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    // Blocks while pipeline-depth requests are inside.
    void Queue(CaptureRequest request);
    // Frames whose shutter was sent complete at once with their metadata and
    // their buffers in error; every other request fails with ERROR_REQUEST.
    // Returns with no request inside.
    void Flush();
    PipelineStats Stats();

private:
    void RunSensor();
    void RunReadout();
    // Sleeps until the CLOCK_BOOTTIME deadline; false when a flush or stop cuts it short.
    bool WaitUntil(std::unique_lock<std::mutex>& hold, int64_t deadlineNs);
    bool Flushing();
    ExposedFrame Expose(CaptureRequest request, int64_t startNs);
    void Deliver(ExposedFrame& frame);
    // Fills one buffer, or fails it with ERROR_BUFFER.
    void FillBuffer(zelkov::ZelCamera3StreamBuffer& buffer, const ExposedFrame& frame, bool flushing);
    void FailBuffer(zelkov::ZelCamera3StreamBuffer& buffer, uint32_t frame, int releaseFence, bool notify);
    void FailRequest(CaptureRequest& request);
    // Sends the frame's last result: its buffers leave the pipeline.
    void Complete(CaptureRequest& request, const camera_metadata* metadata, uint32_t partial);

    const CameraConfig& m_camera;
    const std::unique_ptr<FrameworkCallbacks> m_callbacks;
    Faults m_faults;
    ThreeA m_threeA;
    GyroSource m_gyro;
    FrameRenderer m_renderer;
    int32_t m_jpegMaxSize;
    int64_t m_nextStartNs = 0;

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::deque<CaptureRequest> m_queue;
    std::deque<CaptureRequest> m_stalled;  // held back by the stall fault
    std::deque<ExposedFrame> m_exposed;    // waiting for readout
    size_t m_inFlight = 0;                 // requests queued, exposing, exposed or being read out
    bool m_exposing = false;
    bool m_reading = false;
    int m_flushes = 0;  // flushes under way
    bool m_stop = false;
    uint64_t m_framesDelivered = 0;
    uint64_t m_requestsFailed = 0;
    std::thread m_sensorThread;
    std::thread m_readoutThread;
};

}  // namespace camera_core

#endif

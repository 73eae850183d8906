// The simulated sensor, in two stages as a camera pipeline runs. The sensor
// thread takes the requests in order, starts each frame's exposure on the
// frame-duration schedule, runs 3A and announces the shutter; the readout
// thread then draws the buffers and, once the frame duration has passed,
// delivers the partial results and the buffers. Drawing one frame thus
// overlaps the next one's exposure, and the shutter keeps its rate.
#ifndef ZELKOV_CAMERA_CORE_PIPELINE_H
#define ZELKOV_CAMERA_CORE_PIPELINE_H

#include <condition_variable>
#include <cstdint>
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
    bool failed = false;      // deliver as ERROR_REQUEST
    bool shutterSent = false;
    int64_t startNs = 0;
    int64_t shutterNs = 0;
    std::vector<Metadata> parts;  // the result, one buffer per partial
};

struct PipelineStats {
    uint64_t framesDelivered;
    uint64_t requestsFailed;
    size_t queued;
};

class Pipeline {
public:
    Pipeline(const CameraConfig& camera, const FrameworkCallbacks& callbacks, Faults faults);
    ~Pipeline();  // stops the thread; requests still queued are dropped
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    void Queue(CaptureRequest request);
    // Lets the frame in progress finish, then fails every request not yet
    // started (ERROR_REQUEST, buffers in error) and returns with none left.
    void Flush();
    PipelineStats Stats();

private:
    void RunSensor();
    void RunReadout();
    ExposedFrame Expose(CaptureRequest request);
    void Deliver(ExposedFrame& frame);
    void FailRequest(CaptureRequest& request);
    void SendBuffers(CaptureRequest& request, uint32_t frame, const camera_metadata* metadata, uint32_t partial,
                     bool dropFirst);

    const CameraConfig& m_camera;
    FrameworkCallbacks m_callbacks;
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
    bool m_exposing = false;
    bool m_reading = false;
    bool m_flushing = false;
    bool m_stop = false;
    uint64_t m_framesDelivered = 0;
    uint64_t m_requestsFailed = 0;
    std::thread m_sensorThread;
    std::thread m_readoutThread;
};

}  // namespace camera_core

#endif

// The simulated sensor: one thread takes the requests in order and, per
// frame, waits for the frame's start, announces the shutter, draws the
// buffers, and delivers the partial results and the buffers when the frame
// duration has passed.
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
    void Run();
    void Capture(CaptureRequest& request);
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
    bool m_busy = false;
    bool m_flushing = false;
    bool m_stop = false;
    uint64_t m_framesDelivered = 0;
    uint64_t m_requestsFailed = 0;
    std::thread m_thread;
};

}  // namespace camera_core

#endif

// The framework's side of one open camera, for tests of the core's device:
// opens it through the module, configures one YUV stream, submits requests
// with buffers of its own, and records every callback per frame.
#ifndef ZELKOV_CAMERA_CORE_TESTS_CAMERA_HARNESS_H
#define ZELKOV_CAMERA_CORE_TESTS_CAMERA_HARNESS_H

#include <hardware/camera3.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

#include <android/buffer/IZelBufferHandler.h>

namespace camera_core {

struct FrameLog {
    bool shutter = false;
    int64_t shutterNs = 0;  // CLOCK_BOOTTIME
    bool errorRequest = false;
    bool errorResult = false;
    int errorBuffers = 0;
    std::vector<uint32_t> partials;                  // in arrival order
    std::vector<std::vector<uint32_t>> partialTags;  // the tags of each, same order
    std::vector<camera3_stream_buffer_t> buffers;    // as returned
    bool firstResultBeforeShutter = false;
    std::vector<uint8_t> afTriggers;  // android.control.afTrigger in the results
};

class CameraHarness {
public:
    explicit CameraHarness(const char* cameraId = "0");
    ~CameraHarness();  // closes the device if still open

    camera3_device_t* device() const { return m_device; }
    // One YCbCr_420_888 stream of the given size; the configure call's result.
    int Configure(uint32_t width, uint32_t height);
    const camera_metadata_t* Preview();

    // Submits a request with one buffer per stream entry (the same stream may
    // be named twice) and the given acquire fence on the first.
    int Submit(uint32_t frame, const camera_metadata_t* settings, int acquireFence = -1, int streams = 1);
    int Flush() { return m_device->ops->flush(m_device); }
    int Close();

    // Waits until every buffer of the frame came back; false after timeoutMs.
    bool WaitReturned(uint32_t frame, int timeoutMs);
    FrameLog Frame(uint32_t frame);
    size_t CallbacksAfterClose();
    // Runs inside the final result callback of each frame (a framework that submits from it).
    void OnFinal(std::function<void(uint32_t frame)> hook) { m_onFinal = std::move(hook); }

private:
    struct Ops {
        camera3_callback_ops_t ops;
        CameraHarness* self;
    };
    static void OnResult(const camera3_callback_ops_t* ops, const camera3_capture_result_t* result);
    static void OnNotify(const camera3_callback_ops_t* ops, const camera3_notify_msg_t* msg);
    buffer_handle_t* NewBuffer();

    Ops m_ops{};
    camera3_device_t* m_device = nullptr;
    camera3_stream_t m_stream{};
    camera3_stream_t* m_streams[1] = {&m_stream};
    std::unique_ptr<zelkov::IZelBufferHandler> m_allocator;
    std::vector<std::unique_ptr<buffer_handle_t>> m_handles;
    std::function<void(uint32_t)> m_onFinal;
    uint32_t m_partialCount = 1;

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::map<uint32_t, FrameLog> m_frames;
    std::map<uint32_t, size_t> m_expected;  // buffers per submitted frame
    bool m_closed = false;
    size_t m_afterClose = 0;
};

}  // namespace camera_core

#endif

#ifndef HAL3_CHECK_FIXTURES_H
#define HAL3_CHECK_FIXTURES_H
// The layers a scenario stands on, after module and device: StreamFixture
// configures streams and holds their gralloc buffers; FrameFixture submits
// requests from the calling thread within each stream's max_buffers and
// looks at what comes back (test-pattern frame numbers, JPEG blobs, dumps).

#include "DeviceConnector.h"
#include "FindingSink.h"
#include "GrallocHelper.h"
#include "ResultChecker.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace hal3_check {

// The buffers of one stream, as the camera service's buffer queue holds them:
// max_buffers for the device plus the consumer's own, at most max_buffers of
// them with the device at once; a buffer is free again once it came back.
class BufferPool {
public:
    ~BufferPool();
    std::string Allocate(const camera3_stream_t& stream, uint32_t count, uint64_t usage, uint32_t blobBytes);
    buffer_handle_t* Acquire(int64_t timeoutNs);
    void Release(buffer_handle_t* handle);
    const GrallocBuffer* Find(const buffer_handle_t* handle) const;
    size_t size() const { return m_buffers.size(); }

private:
    std::deque<GrallocBuffer> m_buffers;  // stable addresses: requests point at the handles
    std::mutex m_mutex;
    std::condition_variable m_cv;
    std::deque<buffer_handle_t*> m_free;  // oldest first: the consumer keeps the newest longest
    uint32_t m_inDevice = 0, m_maxInDevice = 1;
};

// One output stream, and the consumer it stands for by its usage: composer,
// texture, video encoder or CPU reader (an ImageReader).
struct StreamSpec {
    int format;
    uint32_t width, height;
    uint64_t consumerUsage;
    int rotation = 0;
};

class StreamFixture {
public:
    explicit StreamFixture(DeviceConnector* device) : m_device(device) {}
    // configure_streams; on success checks what the device filled in and
    // allocates each stream's buffers with the device's usage ORed with the
    // consumer's. Failures go to `failures`. As the camera service does, a
    // stream configured again keeps its record, and the records of earlier
    // configurations stay valid until a configuration succeeds.
    int Configure(const std::vector<StreamSpec>& requested, uint32_t blobBytes, std::vector<Finding>* failures);
    // CPU read on every stream's buffers, not only where the consumer reads
    // (for a module whose pictures carry their frame number). Before Configure.
    void ReadEveryStream(bool on) { m_readEvery = on; }
    size_t count() const { return m_streams.size(); }
    camera3_stream_t* stream(size_t i) { return m_streams[i].get(); }
    BufferPool& pool(size_t i) { return *m_pools[i]; }
    int IndexOf(const camera3_stream_t* s) const;
    // A fresh record like stream `like`'s that was never configured; it lives
    // as long as the fixture, so a device that takes it can still call back.
    camera3_stream_t* Unconfigured(size_t like);

private:
    DeviceConnector* m_device;
    std::vector<std::unique_ptr<camera3_stream_t>> m_streams;
    std::vector<StreamSpec> m_specs;  // as asked, per stream
    std::vector<std::unique_ptr<BufferPool>> m_pools;
    std::vector<std::unique_ptr<camera3_stream_t>> m_retired, m_unconfigured;
    bool m_readEvery = false;
};

class FrameFixture {
public:
    // Pictures are written as <prefix>_s<stream>_f<frame>.png / .jpg.
    FrameFixture(DeviceConnector* device, StreamFixture* streams, ResultChecker* checker, int64_t stallNs,
                 std::string prefix);
    // One request with a buffer of each stream in `streamIndexes`. Settings
    // equal to the previous request's are sent as null (a repeat). Returns the
    // device's status; the frame number goes to *frame. With `fenceHoldNs`,
    // each buffer comes with an acquire fence that signals only that long
    // after the call (the call waits): no buffer may come back written before.
    int Submit(const camera_metadata_t* settings, const std::vector<size_t>& streamIndexes, uint32_t* frame = nullptr,
               int64_t fenceHoldNs = 0);
    // A request the camera service would never send, as the caller built it
    // (buffers from the pools, or none); it gets the next frame number and is
    // tracked like any other should the device take it.
    int SubmitProbe(camera3_capture_request_t* request);
    // Forgets the previous settings (after configure, the next request must carry some).
    void ResetSettings() { m_lastSettings = nullptr; }
    uint32_t nextFrame() const { return m_nextFrame; }
    // Decode the frame number strip of YUV pictures: only for a module that
    // declares it draws one. Set before the first Submit.
    void DecodeFrameNumbers(bool on) { m_decodeFrameNumbers = on; }
    // A frame whose YUV pictures are dumped (every JPEG is written).
    void DumpFrame(uint32_t frame);
    uint32_t jpegs() const { return m_jpegs; }
    std::vector<std::string> dumped();
    // The buffer of stream `index` that came back last, or null.
    const GrallocBuffer* lastReturned(size_t index);
    // Acquire fences handed to the device and still open here: after close, leaks.
    std::vector<Finding> LeakedFences();

private:
    // A buffer with the device, found again by frame and stream (as the
    // service does), wherever the device keeps its copy of the handle.
    struct Outstanding {
        buffer_handle_t* handle;
        size_t pool;
        int fence = -1;  // the acquire fence the device got
        bool signalled = true;
    };
    int SubmitTracked(camera3_capture_request_t* request, const std::vector<size_t>& pools);
    void Inspect(uint32_t frame, const ReturnedBuffer& b, FindingSink& findings);

    DeviceConnector* m_device;
    StreamFixture* m_streams;
    ResultChecker* m_checker;
    int64_t m_stallNs;
    uint32_t m_nextFrame = 0;
    const camera_metadata_t* m_lastSettings = nullptr;
    std::mutex m_mutex;  // what follows, shared with the checker thread
    std::map<std::pair<uint32_t, const camera3_stream_t*>, Outstanding> m_outstanding;
    std::vector<int> m_fences;  // acquire fences given to the device, not given back
    std::map<size_t, const GrallocBuffer*> m_lastReturned;
    const std::string m_prefix;
    std::set<uint32_t> m_dumpFrames;
    std::vector<std::string> m_dumped;
    uint32_t m_jpegs = 0;
    bool m_decodeFrameNumbers = false;
};

// The frame number the test pattern carries in the top rows of luma, or -1.
int64_t DecodeFrameNumber(const std::vector<uint8_t>& luma, uint32_t width, uint32_t height);
// Findings (test-pattern) unless the picture is the 8 colour bars; the
// picture shows the part of the bars from `visibleFrom` over `visibleWidth`
// (fractions of the array's width: a stream narrower in aspect is cropped).
std::vector<Finding> CheckColorBars(const GrallocBuffer& picture, double visibleFrom = 0, double visibleWidth = 1);
// Nothing when `blob` holds a JPEG with the camera3 trailer that libjpeg decodes
// to width x height; else findings naming their rules. *jpeg receives the JPEG bytes.
std::vector<Finding> CheckJpegBlob(const std::vector<uint8_t>& blob, uint32_t width, uint32_t height,
                                   std::vector<uint8_t>* jpeg);

}  // namespace hal3_check

#endif  // HAL3_CHECK_FIXTURES_H

#ifndef HAL3_CHECK_FIXTURES_H
#define HAL3_CHECK_FIXTURES_H
// The layers a scenario stands on, after module and device: StreamFixture
// configures streams and holds their gralloc buffers; FrameFixture submits
// requests from the calling thread within each stream's max_buffers and
// looks at what comes back (test-pattern frame numbers, JPEG blobs, dumps).

#include "DeviceConnector.h"
#include "GrallocHelper.h"
#include "ResultChecker.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace hal3_check {

// The buffers of one stream; a buffer is free again once it came back.
class BufferPool {
public:
    ~BufferPool();
    std::string Allocate(const camera3_stream_t& stream, uint32_t count, uint32_t blobBytes);
    buffer_handle_t* Acquire(int64_t timeoutNs);
    void Release(buffer_handle_t* handle);
    const GrallocBuffer* Find(const buffer_handle_t* handle) const;
    size_t size() const { return m_buffers.size(); }

private:
    std::deque<GrallocBuffer> m_buffers;  // stable addresses: requests point at the handles
    std::mutex m_mutex;
    std::condition_variable m_cv;
    std::deque<buffer_handle_t*> m_free;
};

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
    // allocates max_buffers buffers per stream. Failures go to `failures`.
    // As the camera service does, a stream configured again keeps its record
    // and the records of the previous configuration live through the call.
    int Configure(const std::vector<StreamSpec>& specs, uint32_t blobBytes, std::vector<Finding>* failures);
    size_t count() const { return m_streams.size(); }
    camera3_stream_t* stream(size_t i) { return m_streams[i].get(); }
    BufferPool& pool(size_t i) { return *m_pools[i]; }
    int IndexOf(const camera3_stream_t* s) const;

private:
    DeviceConnector* m_device;
    std::vector<std::unique_ptr<camera3_stream_t>> m_streams;
    std::vector<StreamSpec> m_specs;  // as asked, per stream
    std::vector<std::unique_ptr<BufferPool>> m_pools;
};

class FrameFixture {
public:
    // Pictures are written as <prefix>_s<stream>_f<frame>.png / .jpg.
    FrameFixture(DeviceConnector* device, StreamFixture* streams, ResultChecker* checker, int64_t stallNs,
                 std::string prefix);
    // One request with a buffer of each stream in `streamIndexes`. Settings
    // equal to the previous request's are sent as null (a repeat). Returns the
    // device's status; the frame number goes to *frame.
    int Submit(const camera_metadata_t* settings, const std::vector<size_t>& streamIndexes, uint32_t* frame = nullptr);
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

private:
    std::optional<Finding> Inspect(uint32_t frame, const ReturnedBuffer& b);

    DeviceConnector* m_device;
    StreamFixture* m_streams;
    ResultChecker* m_checker;
    int64_t m_stallNs;
    uint32_t m_nextFrame = 0;
    const camera_metadata_t* m_lastSettings = nullptr;
    std::mutex m_dumpMutex;
    const std::string m_prefix;
    std::set<uint32_t> m_dumpFrames;
    std::vector<std::string> m_dumped;
    uint32_t m_jpegs = 0;
    bool m_decodeFrameNumbers = false;
};

// The frame number the test pattern carries in the top rows of luma, or -1.
int64_t DecodeFrameNumber(const std::vector<uint8_t>& luma, uint32_t width, uint32_t height);
// Findings (test-pattern) unless the picture is the 8 colour bars.
std::vector<Finding> CheckColorBars(const GrallocBuffer& picture);
// Nothing when `blob` holds a JPEG with the camera3 trailer that libjpeg decodes
// to width x height; else a finding naming its rule. *jpeg receives the JPEG bytes.
std::optional<Finding> CheckJpegBlob(const std::vector<uint8_t>& blob, uint32_t width, uint32_t height,
                                     std::vector<uint8_t>* jpeg);

}  // namespace hal3_check

#endif  // HAL3_CHECK_FIXTURES_H

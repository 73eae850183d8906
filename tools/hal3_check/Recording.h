#ifndef HAL3_CHECK_RECORDING_H
#define HAL3_CHECK_RECORDING_H
// A recording of the calls between a camera service and a camera HAL module,
// and of the module's callbacks: a versioned file header, then one
// length-prefixed record per call, return or callback (the layout is in
// tools/hal3_record/README.md, "The recording format"). Records are written whole,
// one write each, by a thread of their own, so a process that dies leaves a
// file readable up to its last complete record. The same records come from
// the recorder module (camera.hal3_record.so) under a real camera service and
// from hal3_check --record; hal3_check --replay reads them back.

#include <hardware/camera3.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace hal3_check {

constexpr char kRecordingMagic[8] = {'H', 'A', 'L', '3', 'R', 'E', 'C', '\n'};
constexpr uint32_t kRecordingVersion = 1;
constexpr size_t kRecordingHeaderSize = 16;     // magic, version, reserved
constexpr size_t kRecordFixedSize = 20;         // kind .. boot time, after the length word
constexpr uint32_t kMaxRecordSize = 64u << 20;  // a longer record is damage, not data

enum class RecordKind : uint16_t {
    kCall = 1,            // a call into the module or a device, with its arguments
    kReturn = 2,          // its return value and what it handed back
    kResult = 3,          // process_capture_result
    kNotify = 4,          // notify
    kBufferCallback = 5,  // request_stream_buffers / return_stream_buffers
};

// What was called; stored in every call and return record.
enum class CallId : uint16_t {
    kNone = 0,
    kGetNumberOfCameras = 1,
    kGetCameraInfo = 2,
    kSetCallbacks = 3,
    kGetVendorTagOps = 4,
    kInit = 5,
    kOpen = 6,
    kInitialize = 7,
    kConfigureStreams = 8,
    kDefaultSettings = 9,
    kProcessCaptureRequest = 10,
    kFlush = 11,
    kDump = 12,
    kClose = 13,
    kRequestStreamBuffers = 14,  // callbacks of HAL buffer management
    kReturnStreamBuffers = 15,
};
constexpr uint16_t kLastCallId = 15;
const char* CallName(CallId call);

// A fence as the callee saw it: none (-1), an open descriptor, or a number
// that is no open descriptor. The descriptor itself stays with its owner.
enum class FenceState : uint8_t { kNone = 0, kOpen = 1, kBad = 2 };
struct RecordedFence {
    FenceState state = FenceState::kNone;
    int32_t fd = -1;
};

struct RecordedStream {
    uint32_t id = 0;  // the stream record's identity within its session
    int32_t type = 0, width = 0, height = 0, format = 0;
    uint64_t usage = 0;
    uint32_t maxBuffers = 0, dataSpace = 0;
    int32_t rotation = 0;
};

struct RecordedBuffer {
    uint32_t stream = 0;  // RecordedStream::id; 0: a null stream pointer
    uint64_t handle = 0;  // identity of the buffer_handle_t*; 0: null
    uint64_t value = 0;   // identity of the handle it points to (*handle), by which the service finds a buffer
    int32_t status = 0;
    RecordedFence acquire, release;
};

struct RecordedMetadata {
    enum State : uint8_t { kAbsent = 0, kPresent = 1, kMalformed = 2 } state = kAbsent;
    std::vector<uint8_t> bytes;  // the camera_metadata_t buffer, when present
};

// One record, decoded. Which fields a record carries depends on its kind and
// call (see the README); the others keep their defaults.
struct Record {
    RecordKind kind = RecordKind::kCall;
    CallId call = CallId::kNone;
    uint32_t session = 0;  // the open device it belongs to; 0: the module
    uint32_t tid = 0;      // calling thread
    int64_t bootNs = 0;    // CLOCK_BOOTTIME
    uint64_t index = 0;    // position in the file, from 0 (not stored)

    int32_t rc = 0;      // return: the return value
    int32_t number = 0;  // camera id of get_camera_info, template, operation mode, dump fd
    std::string text;    // camera id of open
    uint32_t frame = 0, partial = 0;
    uint32_t claimedBuffers = 0;  // result: num_output_buffers as given
    bool nullPointer = false;     // the request, result or message pointer was null
    bool bufferArray = false;     // result: output_buffers non-null
    bool inputBuffer = false;
    RecordedMetadata metadata;  // request settings, result, default settings, static info
    std::vector<RecordedStream> streams;
    std::vector<RecordedBuffer> buffers;
    // notify
    int32_t msgType = 0, errorCode = 0;
    uint32_t errorStream = 0;
    uint64_t timestamp = 0;
};

// A recording read back. `cut` when the file ended inside a record (the
// writer died): the records before it are kept and `note` says where.
struct RecordingFile {
    uint32_t version = 0;
    std::vector<Record> records;
    bool cut = false;
    std::string note;
};

std::vector<uint8_t> EncodeRecord(const Record& record);
std::vector<uint8_t> RecordingHeader();
// Reads `size` bytes of a recording. Returns "" or one line saying why they
// are not a readable recording (not one at all, an unknown version, a
// damaged record: its index and offset). Never reads outside the bytes.
std::string ParseRecording(const uint8_t* data, size_t size, RecordingFile* out);
std::string LoadRecording(const std::string& path, RecordingFile* out);

// Writes records to a file on a thread of its own, so the callers (the
// module's callback threads among them) only encode and queue. The queue is
// bounded: past kMaxQueuedBytes a caller waits for the writer, so a slow disk
// slows the recorded process instead of losing records.
class RecordingWriter {
public:
    static constexpr size_t kMaxQueuedBytes = 64u << 20;
    ~RecordingWriter();
    // Appends to `path`, writing the header first when the file is new or
    // empty. Returns "" or why the file cannot be written.
    std::string Open(const std::string& path);
    void Write(const Record& record);
    // Waits until everything queued so far is in the file.
    void Drain();
    // Writes what is queued and closes the file.
    void Close();
    bool isOpen() const { return m_fd >= 0; }

private:
    void Run();

    int m_fd = -1;
    std::mutex m_mutex;
    std::condition_variable m_queued, m_drained;
    std::deque<std::vector<uint8_t>> m_queue;
    size_t m_queuedBytes = 0;
    bool m_stop = false, m_writing = false;
    std::thread m_thread;
};

// Turns one device's calls and callbacks into records: the stream records a
// service hands over get ids in the order they first appear, buffer handles
// are kept by identity, fences by state, metadata as bytes. Used by the
// recorder module and by hal3_check's own device connector; callbacks may
// come on any thread.
class SessionCapture {
public:
    SessionCapture(RecordingWriter* writer, uint32_t session) : m_writer(writer), m_session(session) {}

    void Open(const char* cameraId);
    void Call(CallId call, int32_t number = 0);
    void Return(CallId call, int32_t rc);
    void Configure(const camera3_stream_configuration_t* config);
    void ConfigureReturn(const camera3_stream_configuration_t* config, int32_t rc);
    void DefaultSettingsReturn(int32_t templateType, const camera_metadata_t* settings);
    void Request(const camera3_capture_request_t* request);
    void Result(const camera3_capture_result_t* result);
    void Notify(const camera3_notify_msg_t* msg);
    void BufferCallback(CallId which);
    uint32_t session() const { return m_session; }

    // Module-level records (session 0).
    static void ModuleCall(RecordingWriter* writer, CallId call, int32_t number = 0);
    static void ModuleReturn(RecordingWriter* writer, CallId call, int32_t rc, int32_t number = 0,
                             const camera_metadata_t* info = nullptr);

private:
    Record Make(RecordKind kind, CallId call) const;
    uint32_t StreamId(const camera3_stream_t* stream, bool add);
    void Streams(const camera3_stream_configuration_t* config, Record* record);

    RecordingWriter* m_writer;
    const uint32_t m_session;
    std::mutex m_mutex;
    std::map<const camera3_stream_t*, uint32_t> m_streamIds;
    std::map<uint32_t, uint32_t> m_requestBuffers;  // bounds what a result's array is read for
};

// A copy of the metadata buffer as the recording keeps it; malformed buffers
// are not read past their header.
RecordedMetadata CaptureMetadata(const camera_metadata_t* metadata);
int64_t BootTimeNs();
uint32_t ThreadId();

}  // namespace hal3_check

#endif  // HAL3_CHECK_RECORDING_H

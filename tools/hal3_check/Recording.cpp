#include "Recording.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <type_traits>

namespace hal3_check {

namespace {

constexpr size_t kMaxText = 256;
constexpr size_t kStreamBytes = 40, kBufferBytes = 34;
constexpr size_t kMaxTrackedFrames = 4096;

class Encoder {
public:
    explicit Encoder(std::vector<uint8_t>* out) : m_out(out) {}
    template <typename T>
    void Put(T v) {
        static_assert(std::is_integral_v<T>);
        for (size_t i = 0; i < sizeof(T); ++i) m_out->push_back(uint8_t(uint64_t(v) >> (8 * i)));
    }
    void Bytes(const std::vector<uint8_t>& b) {
        Put(uint32_t(b.size()));
        m_out->insert(m_out->end(), b.begin(), b.end());
    }
    void Text(const std::string& s) {
        Bytes(std::vector<uint8_t>(s.begin(), s.begin() + std::min(s.size(), kMaxText)));
    }
    void Fence(const RecordedFence& f) {
        Put(uint8_t(f.state));
        Put(f.fd);
    }
    void Metadata(const RecordedMetadata& m) {
        Put(uint8_t(m.state));
        Bytes(m.bytes);
    }
    void Streams(const std::vector<RecordedStream>& streams) {
        Put(uint32_t(streams.size()));
        for (const auto& s : streams) {
            Put(s.id), Put(s.type), Put(s.width), Put(s.height), Put(s.format);
            Put(s.usage), Put(s.maxBuffers), Put(s.dataSpace), Put(s.rotation);
        }
    }
    void Buffers(const std::vector<RecordedBuffer>& buffers) {
        Put(uint32_t(buffers.size()));
        for (const auto& b : buffers) {
            Put(b.stream), Put(b.handle), Put(b.value), Put(b.status);
            Fence(b.acquire), Fence(b.release);
        }
    }

private:
    std::vector<uint8_t>* m_out;
};

// Reads a record's payload; any read past its end or any value out of its
// range makes the record damaged (ok() false) and reads zeros from then on.
class Decoder {
public:
    Decoder(const uint8_t* p, size_t n) : m_p(p), m_n(n) {}
    template <typename T>
    T Get() {
        if (!Need(sizeof(T))) return T{};
        uint64_t v = 0;
        for (size_t i = 0; i < sizeof(T); ++i) v |= uint64_t(m_p[m_at + i]) << (8 * i);
        m_at += sizeof(T);
        return T(v);
    }
    bool Flag() { return Check(Get<uint8_t>(), uint8_t(1)) != 0; }
    std::vector<uint8_t> Bytes(size_t max) {
        uint32_t n = Get<uint32_t>();
        if (n > max || !Need(n)) return {};
        std::vector<uint8_t> b(m_p + m_at, m_p + m_at + n);
        m_at += n;
        return b;
    }
    std::string Text() {
        std::vector<uint8_t> b = Bytes(kMaxText);
        return std::string(b.begin(), b.end());
    }
    RecordedFence Fence() {
        RecordedFence f;
        f.state = FenceState(Check(Get<uint8_t>(), uint8_t(FenceState::kBad)));
        f.fd = Get<int32_t>();
        return f;
    }
    RecordedMetadata Metadata() {
        RecordedMetadata m;
        m.state = RecordedMetadata::State(Check(Get<uint8_t>(), uint8_t(RecordedMetadata::kMalformed)));
        m.bytes = Bytes(kMaxRecordSize);
        if ((m.state == RecordedMetadata::kPresent) != !m.bytes.empty()) m_ok = false;
        if (m.state == RecordedMetadata::kPresent && m_ok) {
            // Checked here, on an aligned copy, so that every reader of the
            // recording may treat present metadata as a valid buffer.
            std::vector<uint64_t> aligned((m.bytes.size() + 7) / 8);
            memcpy(aligned.data(), m.bytes.data(), m.bytes.size());
            size_t size = m.bytes.size();
            auto* buffer = reinterpret_cast<const camera_metadata_t*>(aligned.data());
            if (validate_camera_metadata_structure(buffer, &size) != 0 || get_camera_metadata_size(buffer) != size)
                m_ok = false;
        }
        return m;
    }
    std::vector<RecordedStream> Streams() {
        uint32_t n = Get<uint32_t>();
        if (n > Left() / kStreamBytes) m_ok = false;
        std::vector<RecordedStream> streams(m_ok ? n : 0);
        for (auto& s : streams) {
            s.id = Get<uint32_t>(), s.type = Get<int32_t>(), s.width = Get<int32_t>(), s.height = Get<int32_t>();
            s.format = Get<int32_t>(), s.usage = Get<uint64_t>(), s.maxBuffers = Get<uint32_t>();
            s.dataSpace = Get<uint32_t>(), s.rotation = Get<int32_t>();
        }
        return streams;
    }
    std::vector<RecordedBuffer> Buffers() {
        uint32_t n = Get<uint32_t>();
        if (n > Left() / kBufferBytes) m_ok = false;
        std::vector<RecordedBuffer> buffers(m_ok ? n : 0);
        for (auto& b : buffers) {
            b.stream = Get<uint32_t>(), b.handle = Get<uint64_t>(), b.value = Get<uint64_t>();
            b.status = Get<int32_t>();
            b.acquire = Fence(), b.release = Fence();
        }
        return buffers;
    }
    // True when every byte was read and every value was in range.
    bool Done() const { return m_ok && m_at == m_n; }

private:
    bool Need(size_t n) {
        if (m_ok && n <= m_n - m_at) return true;
        m_ok = false;
        return false;
    }
    size_t Left() const { return m_n - m_at; }
    template <typename T>
    T Check(T v, T max) {
        if (v > max) m_ok = false;
        return v;
    }

    const uint8_t* m_p;
    size_t m_n, m_at = 0;
    bool m_ok = true;
};

void EncodePayload(const Record& r, Encoder& e) {
    switch (r.kind) {
        case RecordKind::kCall:
            switch (r.call) {
                case CallId::kOpen: e.Text(r.text); break;
                case CallId::kGetCameraInfo:
                case CallId::kDefaultSettings:
                case CallId::kDump: e.Put(r.number); break;
                case CallId::kConfigureStreams:
                    e.Put(r.number);
                    e.Put(uint8_t(r.nullPointer));
                    e.Streams(r.streams);
                    break;
                case CallId::kProcessCaptureRequest:
                    e.Put(uint8_t(r.nullPointer)), e.Put(r.frame), e.Metadata(r.metadata);
                    e.Put(uint8_t(r.inputBuffer)), e.Buffers(r.buffers);
                    break;
                default: break;
            }
            break;
        case RecordKind::kReturn:
            e.Put(r.rc);
            switch (r.call) {
                case CallId::kGetCameraInfo:
                case CallId::kDefaultSettings:
                    e.Put(r.number);
                    e.Metadata(r.metadata);
                    break;
                case CallId::kConfigureStreams: e.Streams(r.streams); break;
                default: break;
            }
            break;
        case RecordKind::kResult:
            e.Put(uint8_t(r.nullPointer)), e.Put(r.frame), e.Put(r.partial), e.Metadata(r.metadata);
            e.Put(r.claimedBuffers), e.Put(uint8_t(r.bufferArray)), e.Put(uint8_t(r.inputBuffer));
            e.Buffers(r.buffers);
            break;
        case RecordKind::kNotify:
            e.Put(uint8_t(r.nullPointer)), e.Put(r.msgType), e.Put(r.frame), e.Put(r.errorStream);
            e.Put(r.errorCode), e.Put(r.timestamp);
            break;
        case RecordKind::kBufferCallback: break;
    }
}

void DecodePayload(Record& r, Decoder& d) {
    switch (r.kind) {
        case RecordKind::kCall:
            switch (r.call) {
                case CallId::kOpen: r.text = d.Text(); break;
                case CallId::kGetCameraInfo:
                case CallId::kDefaultSettings:
                case CallId::kDump: r.number = d.Get<int32_t>(); break;
                case CallId::kConfigureStreams:
                    r.number = d.Get<int32_t>();
                    r.nullPointer = d.Flag();
                    r.streams = d.Streams();
                    break;
                case CallId::kProcessCaptureRequest:
                    r.nullPointer = d.Flag(), r.frame = d.Get<uint32_t>(), r.metadata = d.Metadata();
                    r.inputBuffer = d.Flag(), r.buffers = d.Buffers();
                    break;
                default: break;
            }
            break;
        case RecordKind::kReturn:
            r.rc = d.Get<int32_t>();
            switch (r.call) {
                case CallId::kGetCameraInfo:
                case CallId::kDefaultSettings:
                    r.number = d.Get<int32_t>();
                    r.metadata = d.Metadata();
                    break;
                case CallId::kConfigureStreams: r.streams = d.Streams(); break;
                default: break;
            }
            break;
        case RecordKind::kResult:
            r.nullPointer = d.Flag(), r.frame = d.Get<uint32_t>(), r.partial = d.Get<uint32_t>();
            r.metadata = d.Metadata(), r.claimedBuffers = d.Get<uint32_t>();
            r.bufferArray = d.Flag(), r.inputBuffer = d.Flag(), r.buffers = d.Buffers();
            break;
        case RecordKind::kNotify:
            r.nullPointer = d.Flag(), r.msgType = d.Get<int32_t>(), r.frame = d.Get<uint32_t>();
            r.errorStream = d.Get<uint32_t>(), r.errorCode = d.Get<int32_t>(), r.timestamp = d.Get<uint64_t>();
            break;
        case RecordKind::kBufferCallback: break;
    }
}

uint32_t Word(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

bool WriteAll(int fd, const uint8_t* p, size_t n) {
    while (n > 0) {
        ssize_t w = write(fd, p, n);
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) return false;
        p += w, n -= size_t(w);
    }
    return true;
}

// The handle a buffer_handle_t* points to, read as the camera service reads
// it (Camera3Stream.cpp isOutstandingBuffer compares these, not the pointers).
uint64_t ValueOf(const buffer_handle_t* buffer) { return buffer ? uint64_t(uintptr_t(*buffer)) : 0; }

RecordedFence CaptureFence(int fd) {
    if (fd == -1) return {};
    // Only looked at, never waited on or closed: the fence belongs to the
    // callee, and the recording must not change what it records.
    return {fcntl(fd, F_GETFD) == -1 ? FenceState::kBad : FenceState::kOpen, fd};
}

// Modules close descriptors they did not open (loops from 3 to 1023 at
// initialize are common); the writer thread must not be left writing into
// whatever reuses its number, so its descriptor moves above that range when
// the process's limit allows (raised to the hard limit if need be).
int AboveModuleRange(int fd) {
    constexpr int kFirstSafe = 1024;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur <= rlim_t(kFirstSafe) &&
        limit.rlim_max > rlim_t(kFirstSafe)) {
        limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 2 * kFirstSafe);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    const int high = fcntl(fd, F_DUPFD_CLOEXEC, kFirstSafe);
    if (high < 0) return fd;
    close(fd);
    return high;
}

}  // namespace

const char* CallName(CallId call) {
    static const char* const kNames[] = {"none",
                                         "get_number_of_cameras",
                                         "get_camera_info",
                                         "set_callbacks",
                                         "get_vendor_tag_ops",
                                         "init",
                                         "open",
                                         "initialize",
                                         "configure_streams",
                                         "construct_default_request_settings",
                                         "process_capture_request",
                                         "flush",
                                         "dump",
                                         "close",
                                         "request_stream_buffers",
                                         "return_stream_buffers"};
    static_assert(sizeof kNames / sizeof kNames[0] == kLastCallId + 1);
    return uint16_t(call) <= kLastCallId ? kNames[uint16_t(call)] : "unknown";
}

std::vector<uint8_t> RecordingHeader() {
    std::vector<uint8_t> h(kRecordingMagic, kRecordingMagic + sizeof kRecordingMagic);
    Encoder e(&h);
    e.Put(kRecordingVersion);
    e.Put(uint32_t(0));
    return h;
}

std::vector<uint8_t> EncodeRecord(const Record& r) {
    std::vector<uint8_t> out;
    Encoder e(&out);
    e.Put(uint32_t(0));  // length, filled in below
    e.Put(uint16_t(r.kind)), e.Put(uint16_t(r.call)), e.Put(r.session), e.Put(r.tid), e.Put(r.bootNs);
    EncodePayload(r, e);
    uint32_t length = uint32_t(out.size() - 4);
    for (int i = 0; i < 4; ++i) out[size_t(i)] = uint8_t(length >> (8 * i));
    return out;
}

std::string ParseRecording(const uint8_t* data, size_t size, RecordingFile* out) {
    *out = RecordingFile();
    if (size < kRecordingHeaderSize || memcmp(data, kRecordingMagic, sizeof kRecordingMagic) != 0)
        return "not a HAL3 recording (no HAL3REC header)";
    out->version = Word(data + 8);
    if (out->version != kRecordingVersion)
        return "recording format version " + std::to_string(out->version) + ", this tool reads version " +
               std::to_string(kRecordingVersion);
    size_t at = kRecordingHeaderSize;
    while (at < size) {
        const uint64_t index = out->records.size();
        const std::string where = "record " + std::to_string(index) + " at byte " + std::to_string(at);
        uint32_t length = size - at >= 4 ? Word(data + at) : 0;
        if (size - at >= 4 && (length < kRecordFixedSize || length > kMaxRecordSize))
            return "damaged recording: " + where + " has length " + std::to_string(length);
        if (size - at < 4 || length > size - at - 4) {
            out->cut = true;
            out->note = "recording cut inside " + where + " (the writer stopped mid-record): replayed up to record " +
                        (index == 0 ? std::string("none") : std::to_string(index - 1));
            return "";
        }
        Decoder d(data + at + 4, length);
        Record r;
        const uint16_t kind = d.Get<uint16_t>(), call = d.Get<uint16_t>();
        r.session = d.Get<uint32_t>(), r.tid = d.Get<uint32_t>(), r.bootNs = d.Get<int64_t>();
        r.index = index;
        if (kind < uint16_t(RecordKind::kCall) || kind > uint16_t(RecordKind::kBufferCallback) || call > kLastCallId)
            return "damaged recording: " + where + " has kind " + std::to_string(kind) + " call " +
                   std::to_string(call);
        r.kind = RecordKind(kind);
        r.call = CallId(call);
        DecodePayload(r, d);
        if (!d.Done()) return "damaged recording: " + where + " (" + CallName(r.call) + ") does not decode";
        out->records.push_back(std::move(r));
        at += 4 + size_t(length);
    }
    return "";
}

std::string LoadRecording(const std::string& path, RecordingFile* out) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return path + ": " + strerror(errno);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::string err = ParseRecording(bytes.data(), bytes.size(), out);
    return err.empty() ? "" : path + ": " + err;
}

RecordingWriter::~RecordingWriter() { Close(); }

std::string RecordingWriter::Open(const std::string& path) {
    m_fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (m_fd < 0) return path + ": " + strerror(errno);
    m_fd = AboveModuleRange(m_fd);
    struct stat st {};
    if (fstat(m_fd, &st) == 0 && st.st_size == 0) {
        std::vector<uint8_t> header = RecordingHeader();
        if (!WriteAll(m_fd, header.data(), header.size())) return path + ": " + strerror(errno);
    }
    m_stop = false;
    m_thread = std::thread([this] { Run(); });
    return "";
}

void RecordingWriter::Write(const Record& record) {
    std::vector<uint8_t> bytes = EncodeRecord(record);
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_fd < 0) return;
    m_drained.wait(lock, [&] { return m_queuedBytes < kMaxQueuedBytes || m_stop; });
    m_queuedBytes += bytes.size();
    m_queue.push_back(std::move(bytes));
    m_queued.notify_one();
}

void RecordingWriter::Run() {
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_queued.wait(lock, [&] { return m_stop || !m_queue.empty(); });
        if (m_queue.empty()) return;
        std::deque<std::vector<uint8_t>> batch;
        batch.swap(m_queue);
        m_writing = true;
        lock.unlock();
        size_t bytes = 0;
        for (const auto& record : batch) {
            WriteAll(m_fd, record.data(), record.size());  // one write per record: a crash cuts at most one
            bytes += record.size();
        }
        lock.lock();
        m_writing = false;
        m_queuedBytes -= bytes;
        m_drained.notify_all();
    }
}

void RecordingWriter::Drain() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_drained.wait(lock, [&] { return (m_queue.empty() && !m_writing) || m_fd < 0; });
}

void RecordingWriter::Close() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_fd < 0) return;
        m_stop = true;
    }
    m_queued.notify_all();
    m_drained.notify_all();
    if (m_thread.joinable()) m_thread.join();
    std::lock_guard<std::mutex> lock(m_mutex);
    close(m_fd);
    m_fd = -1;
    m_drained.notify_all();
}

RecordedMetadata CaptureMetadata(const camera_metadata_t* metadata) {
    RecordedMetadata m;
    if (metadata == nullptr) return m;
    if (validate_camera_metadata_structure(metadata, nullptr) != 0) {
        m.state = RecordedMetadata::kMalformed;
        return m;
    }
    m.state = RecordedMetadata::kPresent;
    const auto* p = reinterpret_cast<const uint8_t*>(metadata);
    m.bytes.assign(p, p + get_camera_metadata_size(metadata));
    return m;
}

int64_t BootTimeNs() {
    timespec t{};
    clock_gettime(CLOCK_BOOTTIME, &t);
    return int64_t(t.tv_sec) * 1000000000 + t.tv_nsec;
}

uint32_t ThreadId() {
    thread_local uint32_t tid = uint32_t(syscall(SYS_gettid));
    return tid;
}

Record SessionCapture::Make(RecordKind kind, CallId call) const {
    Record r;
    r.kind = kind, r.call = call, r.session = m_session, r.tid = ThreadId(), r.bootNs = BootTimeNs();
    return r;
}

uint32_t SessionCapture::StreamId(const camera3_stream_t* stream, bool add) {
    if (stream == nullptr) return 0;
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_streamIds.find(stream);
    if (it != m_streamIds.end()) return it->second;
    if (!add) return 0xffffffffu;  // a pointer the service never handed over
    uint32_t id = uint32_t(m_streamIds.size() + 1);
    m_streamIds.emplace(stream, id);
    return id;
}

void SessionCapture::Streams(const camera3_stream_configuration_t* config, Record* r) {
    for (uint32_t i = 0; config->streams != nullptr && i < config->num_streams; ++i) {
        const camera3_stream_t* s = config->streams[i];
        if (s == nullptr) continue;
        r->streams.push_back({StreamId(s, true), s->stream_type, int32_t(s->width), int32_t(s->height), s->format,
                              s->usage, s->max_buffers, uint32_t(s->data_space), s->rotation});
    }
}

void SessionCapture::Open(const char* cameraId) {
    Record r = Make(RecordKind::kCall, CallId::kOpen);
    r.text = cameraId ? cameraId : "";
    m_writer->Write(r);
}

void SessionCapture::Call(CallId call, int32_t number) {
    Record r = Make(RecordKind::kCall, call);
    r.number = number;
    m_writer->Write(r);
}

void SessionCapture::Return(CallId call, int32_t rc) {
    Record r = Make(RecordKind::kReturn, call);
    r.rc = rc;
    m_writer->Write(r);
}

void SessionCapture::Configure(const camera3_stream_configuration_t* config) {
    Record r = Make(RecordKind::kCall, CallId::kConfigureStreams);
    r.nullPointer = config == nullptr;
    if (config != nullptr) {
        r.number = int32_t(config->operation_mode);
        Streams(config, &r);
    }
    m_writer->Write(r);
}

void SessionCapture::ConfigureReturn(const camera3_stream_configuration_t* config, int32_t rc) {
    Record r = Make(RecordKind::kReturn, CallId::kConfigureStreams);
    r.rc = rc;
    if (config != nullptr) Streams(config, &r);  // usage and max_buffers as the device set them
    m_writer->Write(r);
}

void SessionCapture::DefaultSettingsReturn(int32_t templateType, const camera_metadata_t* settings) {
    Record r = Make(RecordKind::kReturn, CallId::kDefaultSettings);
    r.number = templateType;
    r.metadata = CaptureMetadata(settings);
    m_writer->Write(r);
}

void SessionCapture::Request(const camera3_capture_request_t* request) {
    Record r = Make(RecordKind::kCall, CallId::kProcessCaptureRequest);
    r.nullPointer = request == nullptr;
    if (request != nullptr) {
        r.frame = request->frame_number;
        r.metadata = CaptureMetadata(request->settings);
        r.inputBuffer = request->input_buffer != nullptr;
        for (uint32_t i = 0; request->output_buffers != nullptr && i < request->num_output_buffers; ++i) {
            const camera3_stream_buffer_t& b = request->output_buffers[i];
            r.buffers.push_back({StreamId(b.stream, true), uint64_t(uintptr_t(b.buffer)), ValueOf(b.buffer), b.status,
                                 CaptureFence(b.acquire_fence), CaptureFence(b.release_fence)});
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        m_requestBuffers[r.frame] = uint32_t(r.buffers.size());
        if (m_requestBuffers.size() > kMaxTrackedFrames) m_requestBuffers.erase(m_requestBuffers.begin());
    }
    m_writer->Write(r);
}

void SessionCapture::Result(const camera3_capture_result_t* result) {
    Record r = Make(RecordKind::kResult, CallId::kNone);
    r.nullPointer = result == nullptr;
    if (result != nullptr) {
        r.frame = result->frame_number;
        r.partial = result->partial_result;
        r.metadata = CaptureMetadata(result->result);
        r.claimedBuffers = result->num_output_buffers;
        r.bufferArray = result->output_buffers != nullptr;
        r.inputBuffer = result->input_buffer != nullptr;
        // A device may claim more buffers than its array holds: the array is
        // read only as far as the request's own buffers, as the service does.
        uint32_t bound = 0;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            auto it = m_requestBuffers.find(r.frame);
            if (it != m_requestBuffers.end()) bound = it->second;
        }
        for (uint32_t i = 0; r.bufferArray && i < std::min(r.claimedBuffers, bound); ++i) {
            const camera3_stream_buffer_t& b = result->output_buffers[i];
            r.buffers.push_back({StreamId(b.stream, false), uint64_t(uintptr_t(b.buffer)), ValueOf(b.buffer), b.status,
                                 CaptureFence(b.acquire_fence), CaptureFence(b.release_fence)});
        }
    }
    m_writer->Write(r);
}

void SessionCapture::Notify(const camera3_notify_msg_t* msg) {
    Record r = Make(RecordKind::kNotify, CallId::kNone);
    r.nullPointer = msg == nullptr;
    if (msg != nullptr) {
        r.msgType = msg->type;
        if (msg->type == CAMERA3_MSG_SHUTTER) {
            r.frame = msg->message.shutter.frame_number;
            r.timestamp = msg->message.shutter.timestamp;
        } else if (msg->type == CAMERA3_MSG_ERROR) {
            r.frame = msg->message.error.frame_number;
            r.errorStream = StreamId(msg->message.error.error_stream, false);
            r.errorCode = msg->message.error.error_code;
        }
    }
    m_writer->Write(r);
}

void SessionCapture::BufferCallback(CallId which) { m_writer->Write(Make(RecordKind::kBufferCallback, which)); }

void SessionCapture::ModuleCall(RecordingWriter* writer, CallId call, int32_t number) {
    SessionCapture module(writer, 0);
    module.Call(call, number);
}

void SessionCapture::ModuleReturn(RecordingWriter* writer, CallId call, int32_t rc, int32_t number,
                                  const camera_metadata_t* info) {
    SessionCapture module(writer, 0);
    Record r = module.Make(RecordKind::kReturn, call);
    r.rc = rc;
    r.number = number;
    if (call == CallId::kGetCameraInfo) r.metadata = CaptureMetadata(rc == 0 ? info : nullptr);
    writer->Write(r);
}

}  // namespace hal3_check

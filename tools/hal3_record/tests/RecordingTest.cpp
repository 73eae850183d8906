// The recording format: every kind of record read back as written, a file cut
// at any byte read up to its last whole record, damaged files refused with
// one line, the writer's records whole and in order from many threads, and
// what SessionCapture keeps of what a device hands over.
#include "Recording.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>

namespace hal3_check {
namespace {

std::vector<uint8_t> Metadata() {
    camera_metadata_t* m = allocate_camera_metadata(4, 64);
    int64_t ts = 123456789;
    uint8_t ae = ANDROID_CONTROL_AE_STATE_CONVERGED;
    add_camera_metadata_entry(m, ANDROID_SENSOR_TIMESTAMP, &ts, 1);
    add_camera_metadata_entry(m, ANDROID_CONTROL_AE_STATE, &ae, 1);
    RecordedMetadata r = CaptureMetadata(m);
    free_camera_metadata(m);
    return r.bytes;
}

// One record of each kind and of each call with a payload of its own.
std::vector<Record> EveryKind() {
    std::vector<Record> all;
    auto add = [&](RecordKind kind, CallId call) -> Record& {
        Record r;
        r.kind = kind, r.call = call, r.session = 3, r.tid = 77, r.bootNs = 1000 + int64_t(all.size());
        all.push_back(r);
        return all.back();
    };
    add(RecordKind::kCall, CallId::kGetCameraInfo).number = 1;
    Record& info = add(RecordKind::kReturn, CallId::kGetCameraInfo);
    info.number = 1, info.metadata = {RecordedMetadata::kPresent, Metadata()};
    add(RecordKind::kCall, CallId::kOpen).text = "0";
    add(RecordKind::kReturn, CallId::kOpen).rc = -16;
    Record& config = add(RecordKind::kCall, CallId::kConfigureStreams);
    config.number = 1;
    config.streams = {{1, 0, 640, 480, 0x23, 0x20003ull << 32, 4, 0x8c20000, 0}, {2, 0, 320, 240, 0x21, 3, 2, 0, 1}};
    add(RecordKind::kReturn, CallId::kConfigureStreams).streams = config.streams;
    Record& request = add(RecordKind::kCall, CallId::kProcessCaptureRequest);
    request.frame = 9, request.metadata = {RecordedMetadata::kPresent, Metadata()}, request.inputBuffer = true;
    request.buffers = {{1, 0xdeadbeef00ull, 0xbeef, 0, {FenceState::kOpen, 17}, {}}, {2, 5, 6, 0, {}, {}}};
    add(RecordKind::kCall, CallId::kProcessCaptureRequest).nullPointer = true;
    Record& result = add(RecordKind::kResult, CallId::kNone);
    result.frame = 9, result.partial = 2, result.claimedBuffers = 50, result.bufferArray = true;
    result.metadata.state = RecordedMetadata::kMalformed;
    result.buffers = {{1, 0xdeadbeef00ull, 0xbeef, 1, {}, {FenceState::kBad, 1234}}};
    Record& error = add(RecordKind::kNotify, CallId::kNone);
    error.msgType = CAMERA3_MSG_ERROR, error.frame = 9, error.errorStream = 2, error.errorCode = 4;
    Record& shutter = add(RecordKind::kNotify, CallId::kNone);
    shutter.msgType = CAMERA3_MSG_SHUTTER, shutter.frame = 9, shutter.timestamp = ~0ull;
    add(RecordKind::kBufferCallback, CallId::kRequestStreamBuffers);
    add(RecordKind::kCall, CallId::kDefaultSettings).number = 3;
    Record& settings = add(RecordKind::kReturn, CallId::kDefaultSettings);
    settings.number = 3, settings.metadata = {RecordedMetadata::kPresent, Metadata()};
    add(RecordKind::kCall, CallId::kDump).number = 5;
    add(RecordKind::kCall, CallId::kFlush);
    add(RecordKind::kReturn, CallId::kFlush).rc = -19;
    add(RecordKind::kReturn, CallId::kClose);
    return all;
}

std::vector<uint8_t> FileOf(const std::vector<Record>& records, std::vector<size_t>* ends = nullptr) {
    std::vector<uint8_t> file = RecordingHeader();
    for (const auto& r : records) {
        std::vector<uint8_t> bytes = EncodeRecord(r);
        file.insert(file.end(), bytes.begin(), bytes.end());
        if (ends) ends->push_back(file.size());
    }
    return file;
}

TEST(RecordingTest, EveryKindReadsBackAsWritten) {
    const std::vector<Record> written = EveryKind();
    RecordingFile read;
    std::vector<uint8_t> file = FileOf(written);
    ASSERT_EQ(ParseRecording(file.data(), file.size(), &read), "");
    EXPECT_FALSE(read.cut);
    ASSERT_EQ(read.records.size(), written.size());
    for (size_t i = 0; i < written.size(); ++i) {
        SCOPED_TRACE(i);
        const Record& r = read.records[i];
        EXPECT_EQ(r.index, i);
        EXPECT_EQ(EncodeRecord(r), EncodeRecord(written[i]));  // every stored field, in the format's own bytes
        EXPECT_EQ(r.bootNs, written[i].bootNs);
        EXPECT_EQ(r.buffers.size(), written[i].buffers.size());
        EXPECT_EQ(r.metadata.bytes, written[i].metadata.bytes);
    }
    EXPECT_EQ(read.records[6].buffers[0].handle, 0xdeadbeef00ull);
    EXPECT_EQ(read.records[4].streams[0].usage, 0x20003ull << 32);
    EXPECT_EQ(read.records[10].timestamp, ~0ull);
}

// A writer that died mid-record leaves a prefix: every cut reads back the
// whole records before it, with a note naming the first one lost.
TEST(RecordingTest, CutAtEveryByteReadsUpToTheCut) {
    std::vector<size_t> ends;
    const std::vector<Record> written = EveryKind();
    const std::vector<uint8_t> file = FileOf(written, &ends);
    for (size_t cut = kRecordingHeaderSize; cut <= file.size(); ++cut) {
        SCOPED_TRACE(cut);
        RecordingFile read;
        ASSERT_EQ(ParseRecording(file.data(), cut, &read), "");
        size_t whole = 0;
        while (whole < ends.size() && ends[whole] <= cut) ++whole;
        ASSERT_EQ(read.records.size(), whole);
        const bool atBoundary = cut == kRecordingHeaderSize || (whole > 0 && ends[whole - 1] == cut);
        EXPECT_EQ(read.cut, !atBoundary);
        if (!atBoundary) {
            EXPECT_NE(read.note.find("cut inside record " + std::to_string(whole)), std::string::npos) << read.note;
        }
    }
}

TEST(RecordingTest, DamagedOrForeignFilesGiveOneLine) {
    std::vector<size_t> ends;
    const std::vector<uint8_t> good = FileOf(EveryKind(), &ends);
    const size_t first = kRecordingHeaderSize;  // the first record's length word
    // Record 1 returns the static metadata: its buffer's size word.
    const size_t staticSize = ends[0] + 4 + kRecordFixedSize + 4 + 4 + 1 + 4;
    struct Case {
        const char* name;
        std::function<void(std::vector<uint8_t>&)> damage;
        const char* says;
    } cases[] = {
        {"empty", [](auto& f) { f.clear(); }, "not a HAL3 recording"},
        {"text",
         [](auto& f) {
             f.assign({'h', 'e', 'l', 'l', 'o', '\n'});
         },
         "not a HAL3 recording"},
        {"magic", [](auto& f) { f[0] = 'X'; }, "not a HAL3 recording"},
        {"version", [](auto& f) { f[8] = 2; }, "version 2"},
        {"short length", [&](auto& f) { f[first] = 3, f[first + 1] = 0; }, "record 0 at byte 16 has length 3"},
        {"huge length", [&](auto& f) { f[first + 3] = 0x7f; }, "record 0 at byte 16 has length"},
        {"kind", [&](auto& f) { f[first + 4] = 9; }, "record 0 at byte 16 has kind 9"},
        {"call", [&](auto& f) { f[first + 6] = 99; }, "call 99"},
        {"payload too long", [&](auto& f) { f[first]++, f.insert(f.begin() + long(first) + 4 + 24, 0); },
         "record 0 at byte 16 (get_camera_info) does not decode"},
        {"bad metadata", [&](auto& f) { f[staticSize] ^= 0x40; },
         "record 1 at byte 44 (get_camera_info) does not decode"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<uint8_t> file = good;
        c.damage(file);
        RecordingFile read;
        std::string err = ParseRecording(file.data(), file.size(), &read);
        EXPECT_NE(err.find(c.says), std::string::npos) << err;
        EXPECT_EQ(err.find('\n'), std::string::npos);
    }
}

TEST(RecordingTest, WriterKeepsEveryRecordWholeAndInThreadOrder) {
    char path[] = "/tmp/hal3_recording_XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    constexpr int kThreads = 4, kEach = 500;
    {
        RecordingWriter writer;
        ASSERT_EQ(writer.Open(path), "");
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&, t] {
                SessionCapture capture(&writer, uint32_t(t + 1));
                for (int i = 0; i < kEach; ++i) capture.Call(CallId::kFlush, i);
            });
        for (auto& t : threads) t.join();
        writer.Close();
    }
    RecordingFile read;
    ASSERT_EQ(LoadRecording(path, &read), "");
    unlink(path);
    ASSERT_EQ(read.records.size(), size_t(kThreads * kEach));
    std::vector<int> next(kThreads + 1, 0);
    for (const Record& r : read.records) {
        ASSERT_LE(r.session, uint32_t(kThreads));
        EXPECT_EQ(r.number, 0);  // a flush call stores no number: the payload is the call's own
        ++next[r.session];
    }
    for (int t = 1; t <= kThreads; ++t) EXPECT_EQ(next[size_t(t)], kEach);
}

// What a device hands over is bounded and kept by identity: a result claiming
// more buffers than its request had is read only as far as the request's,
// fences are kept by state, streams by the order the service showed them.
TEST(RecordingTest, CaptureBoundsWhatTheDeviceHandsOver) {
    char path[] = "/tmp/hal3_recording_XXXXXX";
    int tmp = mkstemp(path);
    ASSERT_GE(tmp, 0);
    close(tmp);
    int pipeFds[2];
    ASSERT_EQ(pipe(pipeFds), 0);
    const int closed = 1 << 20;  // above any descriptor limit: never open
    camera3_stream_t a{}, b{};
    buffer_handle_t handles[2] = {};
    {
        RecordingWriter writer;
        ASSERT_EQ(writer.Open(path), "");
        SessionCapture capture(&writer, 1);
        camera3_stream_t* list[] = {&b, &a};
        camera3_stream_configuration_t config{2, list, 0, nullptr};
        capture.Configure(&config);
        camera3_stream_buffer_t out[2] = {{&a, &handles[0], 0, pipeFds[0], -1}, {&b, &handles[1], 0, -1, -1}};
        camera3_capture_request_t request{};
        request.frame_number = 4, request.num_output_buffers = 2, request.output_buffers = out;
        capture.Request(&request);
        // Frame 4 had two buffers: a claim of 50 is read as far as those two.
        camera3_stream_buffer_t back[2] = {{&a, &handles[0], 0, -1, closed}, {&b, &handles[1], 1, -1, -1}};
        camera3_capture_result_t result{};
        result.frame_number = 4, result.num_output_buffers = 50, result.output_buffers = back;
        capture.Result(&result);
        result.frame_number = 7;  // never requested: no buffer is read
        capture.Result(&result);
        writer.Close();
    }
    close(pipeFds[0]);
    close(pipeFds[1]);
    RecordingFile read;
    ASSERT_EQ(LoadRecording(path, &read), "");
    unlink(path);
    ASSERT_EQ(read.records.size(), 4u);
    ASSERT_EQ(read.records[0].streams.size(), 2u);
    EXPECT_EQ(read.records[0].streams[0].id, 1u);  // b came first
    const Record& request = read.records[1];
    ASSERT_EQ(request.buffers.size(), 2u);
    EXPECT_EQ(request.buffers[0].stream, 2u);
    EXPECT_EQ(request.buffers[0].acquire.state, FenceState::kOpen);
    EXPECT_EQ(request.buffers[1].acquire.state, FenceState::kNone);
    EXPECT_NE(request.buffers[0].handle, request.buffers[1].handle);
    const Record& result = read.records[2];
    EXPECT_EQ(result.claimedBuffers, 50u);
    ASSERT_EQ(result.buffers.size(), 2u);
    EXPECT_EQ(result.buffers[0].handle, request.buffers[0].handle);
    EXPECT_EQ(result.buffers[0].release.state, FenceState::kBad);
    EXPECT_EQ(read.records[3].claimedBuffers, 50u);
    EXPECT_TRUE(read.records[3].buffers.empty());
}

// HAL3_RECORDING_WRITE_SEEDS=<dir> writes the reader fuzzer's seed corpus.
TEST(RecordingTest, SeedCorpus) {
    const char* dir = getenv("HAL3_RECORDING_WRITE_SEEDS");
    if (dir == nullptr) GTEST_SKIP() << "HAL3_RECORDING_WRITE_SEEDS not set";
    std::vector<size_t> ends;
    const std::vector<Record> all = EveryKind();
    const std::vector<uint8_t> file = FileOf(all, &ends);
    const std::pair<const char*, size_t> seeds[] = {
        {"every_kind", file.size()}, {"header_only", kRecordingHeaderSize}, {"cut", file.size() - 5}, {"one", ends[0]}};
    for (const auto& [name, size] : seeds) {
        std::ofstream out(std::string(dir) + "/" + name, std::ios::binary);
        out.write(reinterpret_cast<const char*>(file.data()), long(size));
        EXPECT_TRUE(out.good());
    }
}

}  // namespace
}  // namespace hal3_check

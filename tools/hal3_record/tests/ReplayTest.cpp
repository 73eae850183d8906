// Replay and timeline on recordings written here: each rule a replay checks
// on the recorded calls is broken once and found at its frame and record,
// legal but unusual sessions pass clean, and the timeline's events are read
// back from its JSON against the records they were drawn from.
#include "Replay.h"
#include "Timeline.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <map>

namespace hal3_check {
namespace {

constexpr int64_t kMs = 1000000;

// Writes one session's records with explicit times; frames have two
// streams, a shutter at 1000 + frame ms and one partial with AE and exposure.
class Script {
public:
    Script() {
        MetadataPtr info(allocate_camera_metadata(4, 16));
        int32_t partials = 1;
        add_camera_metadata_entry(info.get(), ANDROID_REQUEST_PARTIAL_RESULT_COUNT, &partials, 1);
        Record r = Make(RecordKind::kReturn, CallId::kGetCameraInfo, 0);
        r.session = 0, r.metadata = CaptureMetadata(info.get());
        m_file.records.push_back(r);
        Call(CallId::kOpen).text = "0";
        Return(CallId::kOpen, 0);
        const std::vector<RecordedStream> streams = {{1, 0, 640, 480, 0x23, 3, 4, 0, 0},
                                                     {2, 0, 320, 240, 0x23, 3, 4, 0, 0}};
        Call(CallId::kConfigureStreams).streams = streams;
        Return(CallId::kConfigureStreams, 0).streams = streams;
    }
    Record& Call(CallId call) { return Push(Make(RecordKind::kCall, call, m_now)); }
    Record& Return(CallId call, int rc) {
        Record& r = Push(Make(RecordKind::kReturn, call, m_now += kMs));
        r.rc = rc;
        return r;
    }
    void Submit(uint32_t frame) {
        Record& r = Call(CallId::kProcessCaptureRequest);
        r.frame = frame,
        r.buffers = {{1, 100 + frame, 1100 + frame, 0, {}, {}}, {2, 200 + frame, 1200 + frame, 0, {}, {}}};
        Return(CallId::kProcessCaptureRequest, 0);
    }
    void Shutter(uint32_t frame) {
        Record& r = Push(Make(RecordKind::kNotify, CallId::kNone, m_now += kMs, kCallbackThread));
        r.msgType = CAMERA3_MSG_SHUTTER, r.frame = frame, r.timestamp = uint64_t(ShutterNs(frame));
    }
    void Result(uint32_t frame) {
        MetadataPtr m(allocate_camera_metadata(4, 32));
        int64_t ts = ShutterNs(frame), exposure = 10 * kMs;
        uint8_t ae = ANDROID_CONTROL_AE_STATE_CONVERGED;
        add_camera_metadata_entry(m.get(), ANDROID_SENSOR_TIMESTAMP, &ts, 1);
        add_camera_metadata_entry(m.get(), ANDROID_SENSOR_EXPOSURE_TIME, &exposure, 1);
        add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_STATE, &ae, 1);
        Record& r = Push(Make(RecordKind::kResult, CallId::kNone, m_now += kMs, kCallbackThread));
        r.frame = frame, r.partial = 1, r.metadata = CaptureMetadata(m.get());
    }
    Record& Buffer(uint32_t frame, uint32_t stream) {
        Record& r = Push(Make(RecordKind::kResult, CallId::kNone, m_now += kMs, kCallbackThread));
        r.frame = frame, r.claimedBuffers = 1, r.bufferArray = true;
        r.buffers = {{stream, stream * 100 + frame, 1000 + stream * 100 + frame, 0, {}, {}}};
        return r;
    }
    void Frame(uint32_t frame) {
        Shutter(frame);
        Result(frame);
        Buffer(frame, 1);
        Buffer(frame, 2);
    }
    void Wait(int64_t ns) { m_now += ns; }
    void Close() {
        Call(CallId::kClose);
        Return(CallId::kClose, 0);
    }
    uint64_t last() const { return m_file.records.size() - 1; }
    const RecordingFile& file() const { return m_file; }

    static constexpr uint32_t kCallThread = 10, kCallbackThread = 11;

private:
    static int64_t ShutterNs(uint32_t frame) { return 1000 * kMs + frame * kMs; }
    Record Make(RecordKind kind, CallId call, int64_t ns, uint32_t tid = kCallThread) {
        Record r;
        r.kind = kind, r.call = call, r.session = 7, r.tid = tid, r.bootNs = ns;
        r.index = m_file.records.size();
        return r;
    }
    Record& Push(Record r) {
        m_file.records.push_back(std::move(r));
        return m_file.records.back();
    }

    RecordingFile m_file;
    int64_t m_now = 5000 * kMs;
};

ReplaySession ReplayOnly(const RecordingFile& file) {
    std::vector<ReplaySession> sessions = SessionsOf(file);
    EXPECT_EQ(sessions.size(), 1u);
    Replay(file, 1000 * kMs, &sessions.front());
    return sessions.front();
}

// Each case: what the session does after frame 0 completed and frame 1 was
// submitted; the rule, frame (-1: none) and record (from the end) expected.
TEST(ReplayTest, RecordedCallsAreCheckedAtTheirFrameAndRecord) {
    struct Case {
        const char* name;
        std::function<void(Script&)> tail;
        const char* rule;  // "" for a session that must pass clean
        int64_t frame;
        uint64_t fromEnd;  // the finding's record, counted back from the last
    } cases[] = {
        {"clean", [](Script& s) { s.Frame(1), s.Close(); }, "", kNoFrame, 0},
        {"buffers before the shutter, metadata last",
         [](Script& s) { s.Buffer(1, 2), s.Buffer(1, 1), s.Shutter(1), s.Result(1), s.Close(); }, "", kNoFrame, 0},
        // Found by fuzzing the replay: stream id 0 stands for a null stream pointer.
        {"a configure return naming stream 0",
         [](Script& s) { s.Frame(1), s.Return(CallId::kConfigureStreams, 0).streams = {{}}, s.Close(); }, "", kNoFrame,
         0},
        {"a buffer twice", [](Script& s) { s.Frame(1), s.Buffer(1, 2), s.Close(); }, "buffer-once", 1, 2},
        {"a buffer of a later frame first", [](Script& s) { s.Submit(2), s.Buffer(2, 1), s.Frame(1), s.Close(); },
         "buffer-fifo", 1, 3},
        {"a shutter after close returned", [](Script& s) { s.Close(), s.Shutter(1); }, "no-callback-after-close",
         kNoFrame, 0},
        {"a shutter while close runs",
         [](Script& s) { s.Call(CallId::kClose), s.Shutter(1), s.Return(CallId::kClose, 0); }, "callback-during-close",
         kNoFrame, 0},
        {"a flush of 1.5 s",
         [](Script& s) {
             s.Frame(1), s.Call(CallId::kFlush), s.Wait(1500 * kMs), s.Return(CallId::kFlush, 0), s.Close();
         },
         "flush-time", kNoFrame, 2},
        {"flush returns with frame 1 out",
         [](Script& s) { s.Call(CallId::kFlush), s.Return(CallId::kFlush, 0), s.Frame(1), s.Close(); }, "flush-drains",
         kNoFrame, 2},
        {"no callback for 5 s", [](Script& s) { s.Wait(5000 * kMs), s.Frame(1), s.Close(); }, "result-timeout",
         kNoFrame, 5},
        {"buffer management",
         [](Script& s) { s.Frame(1), s.Buffer(1, 1).kind = RecordKind::kBufferCallback, s.Close(); },
         "buffer-management", kNoFrame, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Script s;
        s.Submit(0);
        s.Frame(0);
        s.Submit(1);
        c.tail(s);
        ReplaySession replayed = ReplayOnly(s.file());
        if (c.rule[0] == '\0') {
            for (const auto& f : replayed.findings) ADD_FAILURE() << f.text;
            EXPECT_TRUE(replayed.closed);
            continue;
        }
        ASSERT_EQ(replayed.findings.size(), 1u) << (replayed.findings.empty() ? "" : replayed.findings[0].text);
        const ReplayFinding& f = replayed.findings.front();
        EXPECT_EQ(f.rule, c.rule) << f.text;
        EXPECT_EQ(f.finding.frame, c.frame) << f.text;
        EXPECT_EQ(f.record, s.last() - c.fromEnd) << f.text;
        EXPECT_EQ(f.bootNs, s.file().records[f.record].bootNs);
    }
}

TEST(ReplayTest, SessionsRunFromOpenToClose) {
    Script s;
    s.Submit(0), s.Frame(0), s.Close();
    const uint64_t firstClose = s.last();
    s.Call(CallId::kOpen).text = "0";
    s.Return(CallId::kOpen, 0);
    s.Submit(0);  // frame numbers start again with a new device
    s.Frame(0);
    std::vector<ReplaySession> sessions = SessionsOf(s.file());
    ASSERT_EQ(sessions.size(), 2u);
    for (auto& session : sessions) Replay(s.file(), 1000 * kMs, &session);
    EXPECT_EQ(sessions[0].lastRecord, firstClose);
    EXPECT_TRUE(sessions[0].closed);
    EXPECT_TRUE(sessions[0].findings.empty());
    EXPECT_EQ(sessions[1].firstRecord, firstClose + 1);
    EXPECT_FALSE(sessions[1].closed);
    EXPECT_TRUE(sessions[1].findings.empty()) << sessions[1].findings[0].text;
    EXPECT_EQ(sessions[1].ordinal, 2u);
}

TEST(TimelineTest, EventsMatchTheRecords) {
    Script s;
    s.Submit(0), s.Frame(0), s.Submit(1), s.Frame(1), s.Buffer(1, 2), s.Close();
    ReplaySession replayed = ReplayOnly(s.file());
    ASSERT_EQ(replayed.findings.size(), 1u);
    char path[] = "/tmp/hal3_timeline_XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    ASSERT_EQ(WriteTimeline(path, s.file(), {replayed}), path);
    std::ifstream in(path);
    nlohmann::json events = nlohmann::json::parse(in)["traceEvents"];
    unlink(path);

    const auto& records = s.file().records;
    std::map<std::string, int> calls;
    std::map<uint64_t, double> flowStart, flowEnd;
    int frames = 0, instants = 0, aeCounters = 0;
    for (const auto& e : events) {
        const std::string ph = e["ph"], name = e.value("name", "");
        if (ph == "X" && e["args"].contains("rc")) {
            const Record& call = records[e["args"]["record"].get<uint64_t>()];
            EXPECT_EQ(e["ts"].get<double>(), double(call.bootNs) / 1000) << name;
            EXPECT_EQ(e["dur"].get<double>(), double(kMs) / 1000) << name;  // every call returns 1 ms later
            EXPECT_EQ(name, CallName(call.call));
            calls[name]++;
        } else if (ph == "X" && name.rfind("frame ", 0) == 0) {
            ++frames;
            const uint32_t frame = e["args"]["frame"];
            int64_t submit = 0, last = 0;
            for (const auto& r : records) {
                if (r.kind == RecordKind::kCall && r.call == CallId::kProcessCaptureRequest && r.frame == frame)
                    submit = r.bootNs;
                if ((r.kind == RecordKind::kResult || r.kind == RecordKind::kNotify) && r.frame == frame)
                    last = r.bootNs;
            }
            EXPECT_EQ(e["ts"].get<double>(), double(submit) / 1000);
            EXPECT_EQ(e["dur"].get<double>(), double(last - submit) / 1000);
            EXPECT_EQ(e["args"]["pieces"], frame == 0 ? 4 : 5);  // shutter, partial, buffers
        } else if (ph == "s") {
            flowStart[e["id"]] = e["ts"];
        } else if (ph == "f") {
            flowEnd[e["id"]] = e["ts"];
            EXPECT_EQ(e["tid"], Script::kCallbackThread);
        } else if (ph == "i") {
            ++instants;
            EXPECT_EQ(name, "buffer-once");
            EXPECT_EQ(e["args"]["record"], replayed.findings[0].record);
            EXPECT_EQ(e["args"]["frame"], 1);
        } else if (ph == "C" && name == "3A states") {
            ++aeCounters;
            EXPECT_EQ(e["args"]["ae"], ANDROID_CONTROL_AE_STATE_CONVERGED);
        }
    }
    EXPECT_EQ(calls["process_capture_request"], 2);
    EXPECT_EQ(calls["configure_streams"], 1);
    EXPECT_EQ(calls["close"], 1);
    EXPECT_EQ(frames, 2);
    EXPECT_EQ(instants, 1);
    EXPECT_EQ(aeCounters, 2);
    EXPECT_EQ(flowStart.size(), 9u);
    for (const auto& [id, ts] : flowStart) {
        ASSERT_TRUE(flowEnd.count(id)) << id;
        EXPECT_LT(ts, flowEnd[id]);
    }
}

}  // namespace
}  // namespace hal3_check

#include "Replay.h"

#include "Report.h"
#include "ResultChecker.h"
#include "FindingSink.h"
#include "Rules.h"
#include "Timeline.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <set>

namespace hal3_check {

namespace {

constexpr int kNeverOpen = 1 << 20;  // above any descriptor limit

// One session fed to a ResultChecker record by record.
class SessionReplayer {
public:
    SessionReplayer(const RecordingFile& recording, int64_t stallNs, ReplaySession* session,
                    const std::function<void(const std::string&)>& trace)
        : m_recording(recording),
          m_session(session),
          m_staticInfo(RecordedStaticInfo()),
          m_limits(LimitsOf(hal3_check::StaticInfo(m_staticInfo.get()), stallNs)),
          m_checker(m_limits, m_sink, trace) {}

    void Run() {
        const auto& records = m_recording.records;
        for (uint64_t i = m_session->firstRecord; i < records.size(); ++i) {
            const Record& r = records[i];
            if (r.session != m_session->session) continue;
            if (i > m_session->firstRecord && r.kind == RecordKind::kCall && r.call == CallId::kOpen) break;
            if (!m_closed) m_session->lastRecord = i;
            Step(r);
        }
        if (m_late > 0) {
            Flag(RuleId::kNoCallbackAfterClose, kNoFrame, std::to_string(m_late) + " callback(s) after close returned");
            Collect(records[m_firstLate]);
        }
    }

private:
    MetadataPtr RecordedStaticInfo() const {
        const RecordedMetadata* info = nullptr;
        for (uint64_t i = 0; i < m_session->firstRecord; ++i) {
            const Record& r = m_recording.records[i];
            if (r.kind == RecordKind::kReturn && r.call == CallId::kGetCameraInfo &&
                std::to_string(r.number) == m_session->camera && r.metadata.state == RecordedMetadata::kPresent)
                info = &r.metadata;
        }
        return info ? MetadataOf(*info) : nullptr;
    }

    camera3_stream_t* Stream(uint32_t id) {
        if (id == 0) return nullptr;
        auto& s = m_streams[id];
        if (!s) s = std::make_unique<camera3_stream_t>();
        return s.get();
    }
    // A stand-in buffer_handle_t* for the recorded pointer, pointing to a
    // stand-in handle for the recorded value: the checker, as the service,
    // tells buffers apart by the value.
    buffer_handle_t* Handle(uint64_t id, uint64_t value) {
        if (id == 0) return nullptr;
        auto& h = m_handles[id];
        if (!h) h = std::make_unique<buffer_handle_t>();
        auto& v = m_values[value];
        if (!v) v = std::make_unique<uint64_t>(value);
        *h = value == 0 ? nullptr : reinterpret_cast<buffer_handle_t>(v.get());
        return h.get();
    }
    // A release fence the checker may wait on and close, in the state the
    // callee handed it over.
    static int Fence(const RecordedFence& f) {
        if (f.state == FenceState::kNone) return -1;
        if (f.state == FenceState::kBad) return f.fd >= 0 && f.fd <= STDERR_FILENO ? f.fd : kNeverOpen;
        int fds[2];
        if (pipe(fds) != 0) return kNeverOpen;
        close(fds[1]);  // signalled: the read end polls readable
        return fds[0];
    }
    std::vector<camera3_stream_buffer_t> Buffers(const std::vector<RecordedBuffer>& recorded, bool releaseFences) {
        std::vector<camera3_stream_buffer_t> out;
        for (const auto& b : recorded)
            out.push_back({Stream(b.stream), Handle(b.handle, b.value), b.status,
                           b.acquire.state == FenceState::kNone ? -1 : b.acquire.fd,
                           releaseFences ? Fence(b.release) : -1});
        return out;
    }

    void Step(const Record& r) {
        CheckStall(r);
        switch (r.kind) {
            case RecordKind::kCall: Call(r); break;
            case RecordKind::kReturn: Return(r); break;
            case RecordKind::kResult:
            case RecordKind::kNotify:
            case RecordKind::kBufferCallback: Callback(r); break;
        }
        m_checker.Sync();
        Collect(r);
    }

    void Call(const Record& r) {
        switch (r.call) {
            case CallId::kProcessCaptureRequest: {
                if (r.nullPointer) break;
                std::vector<camera3_stream_buffer_t> buffers = Buffers(r.buffers, false);
                camera3_capture_request_t request{};
                request.frame_number = r.frame;
                request.num_output_buffers = uint32_t(buffers.size());
                request.output_buffers = buffers.data();
                m_requestBuffers[r.frame] = uint32_t(buffers.size());
                if (m_inFlight.empty()) m_lastProgressNs = r.bootNs;
                m_inFlight.insert(r.frame);
                m_checker.OnSubmit(request);
                m_submitted = r.frame;
                break;
            }
            case CallId::kFlush:
                m_checker.BeginFlush();
                m_flushNs = r.bootNs;
                break;
            case CallId::kClose:
                // A live run drains before it closes: error buffers never
                // notified are named once the device is idle.
                if (m_inFlight.empty()) m_checker.WaitIdle();
                m_closing = true;
                break;
            default: break;
        }
    }

    void Return(const Record& r) {
        if (r.rc == -ENODEV && r.call != CallId::kClose) m_checker.DeviceLost(CallName(r.call));
        switch (r.call) {
            case CallId::kConfigureStreams:
                for (const auto& s : r.streams) {
                    camera3_stream_t* stream = Stream(s.id);
                    if (stream == nullptr) continue;  // id 0 is a null pointer; only a damaged file names it
                    stream->stream_type = s.type, stream->width = uint32_t(s.width);
                    stream->height = uint32_t(s.height), stream->format = s.format, stream->usage = s.usage;
                    stream->max_buffers = s.maxBuffers, stream->data_space = android_dataspace_t(s.dataSpace);
                    stream->rotation = s.rotation;
                }
                break;
            case CallId::kProcessCaptureRequest:
                if (r.rc != 0) {
                    m_checker.OnSubmitFailed(m_submitted);
                    m_inFlight.erase(m_submitted);
                }
                break;
            case CallId::kFlush: {
                m_checker.EndFlush();
                if (r.rc != 0 && r.rc != -ENODEV)
                    Flag(RuleId::kFlush, kNoFrame, "flush failed: " + std::to_string(r.rc));
                int64_t ms = (r.bootNs - m_flushNs) / 1000000;
                if (ms > 1000)
                    Flag(RuleId::kFlushTime, kNoFrame, "flush took " + std::to_string(ms) + " ms");
                else if (ms > 100)
                    Flag(RuleId::kFlushTimeTarget, kNoFrame, "flush took " + std::to_string(ms) + " ms");
                m_checker.Sync();
                Completed();
                // Judged as a live run does: frames still out when flush
                // returned break the rule only if they come later; frames
                // that never come are the stall's finding.
                if (!m_inFlight.empty() && !m_checker.deviceError()) m_flushLeft = m_inFlight.size();
                break;
            }
            case CallId::kClose:
                m_closed = true;
                m_session->closed = true;
                if (r.rc != 0) Flag(RuleId::kClose, kNoFrame, "close failed: " + std::to_string(r.rc));
                if (m_duringClose > 0)
                    Flag(RuleId::kCallbackDuringClose, kNoFrame,
                         std::to_string(m_duringClose) + " callback(s) while close was running");
                break;
            default: break;
        }
    }

    void Callback(const Record& r) {
        if (m_closed) {
            if (m_late++ == 0) m_firstLate = r.index;  // as a live run: counted, never handed to the checker
            return;
        }
        if (m_closing) ++m_duringClose;
        m_lastProgressNs = r.bootNs;
        m_stallFlagged = false;
        if (r.kind == RecordKind::kBufferCallback) {
            Flag(RuleId::kBufferManagement, kNoFrame,
                 std::string(CallName(r.call)) + " called without HAL buffer management");
        } else if (r.kind == RecordKind::kNotify) {
            camera3_notify_msg_t msg{};
            msg.type = r.msgType;
            if (r.msgType == CAMERA3_MSG_SHUTTER) {
                msg.message.shutter.frame_number = r.frame;
                msg.message.shutter.timestamp = r.timestamp;
            } else if (r.msgType == CAMERA3_MSG_ERROR) {
                msg.message.error.frame_number = r.frame;
                msg.message.error.error_stream = Stream(r.errorStream);
                msg.message.error.error_code = r.errorCode;
            }
            m_checker.OnNotify(r.nullPointer ? nullptr : &msg);
        } else if (r.nullPointer) {
            m_checker.OnResult(nullptr);
        } else {
            // The checker reads the array as far as the request's buffers: a
            // damaged recording may hold fewer, so the array is padded.
            std::vector<camera3_stream_buffer_t> buffers = Buffers(r.buffers, true);
            buffers.resize(std::max<size_t>(buffers.size(), m_requestBuffers[r.frame]), {nullptr, nullptr, 0, -1, -1});
            MetadataPtr metadata = MetadataOf(r.metadata);
            camera3_stream_buffer_t input{};
            camera3_capture_result_t result{};
            result.frame_number = r.frame;
            result.result = metadata.get();
            result.num_output_buffers = r.claimedBuffers;
            result.output_buffers = r.bufferArray ? buffers.data() : nullptr;
            result.input_buffer = r.inputBuffer ? &input : nullptr;
            result.partial_result = r.partial;
            m_checker.OnResult(&result);
        }
    }

    // No callback for the stall time with frames in flight: the time-out a
    // live run reports, on the recorded clock.
    // The checker explains the stall itself (which frames, which buffers)
    // after its own stall time: a replay of a stalled run takes that long.
    void CheckStall(const Record& r) {
        if (m_inFlight.empty() || m_stallFlagged || r.bootNs - m_lastProgressNs <= m_limits.stallNs) return;
        m_stallFlagged = true;
        m_flushLeft = 0;
        m_checker.WaitIdle();
    }

    void Completed() {
        for (const auto& f : m_checker.TakeCompleted()) m_inFlight.erase(f.frame);
        if (m_flushLeft > 0 && m_inFlight.empty()) {
            Flag(RuleId::kFlushDrains, kNoFrame,
                 std::to_string(m_flushLeft) + " frame(s) still in flight when flush returned");
            m_flushLeft = 0;
        }
    }

    void Collect(const Record& r) {
        Completed();
        std::vector<Finding> all = m_sink.findings();
        for (size_t i = m_collected; i < all.size(); ++i) {
            ReplayFinding f;
            f.finding = all[i], f.text = Text(all[i]), f.rule = RuleOf(all[i].rule).id;
            f.warning = LevelOf(all[i]) == Level::kShould, f.record = r.index, f.bootNs = r.bootNs;
            m_session->findings.push_back(std::move(f));
        }
        m_collected = all.size();
    }

    // Findings of the calls themselves, in order with the checker's.
    void Flag(RuleId rule, int64_t frame, std::string detail) { m_sink.Add({rule, frame, std::move(detail)}); }

    const RecordingFile& m_recording;
    ReplaySession* m_session;
    MetadataPtr m_staticInfo;
    const CheckerLimits m_limits;  // the stall time as the checker has it: the service's wait for a buffer
    std::map<uint32_t, std::unique_ptr<camera3_stream_t>> m_streams;
    std::map<uint64_t, std::unique_ptr<buffer_handle_t>> m_handles;
    std::map<uint64_t, std::unique_ptr<uint64_t>> m_values;  // never read: only their addresses are compared
    std::map<uint32_t, uint32_t> m_requestBuffers;
    std::set<uint32_t> m_inFlight;
    uint32_t m_submitted = 0;
    size_t m_flushLeft = 0;  // frames out when the last flush returned
    int64_t m_flushNs = 0, m_lastProgressNs = 0;
    bool m_closing = false, m_closed = false, m_stallFlagged = false;
    int m_duringClose = 0, m_late = 0;
    uint64_t m_firstLate = 0;
    size_t m_collected = 0;  // the sink's findings already given their record
    FindingSink m_sink;
    ResultChecker m_checker;  // last: its thread stops before the stand-ins go
};

}  // namespace

// A metadata buffer as the recording kept it: copied to aligned memory (the
// reader has validated it), or made malformed again when it was.
MetadataPtr MetadataOf(const RecordedMetadata& m) {
    if (m.state == RecordedMetadata::kPresent) {
        std::vector<uint64_t> aligned((m.bytes.size() + 7) / 8);
        memcpy(aligned.data(), m.bytes.data(), m.bytes.size());
        return MetadataPtr(clone_camera_metadata(reinterpret_cast<const camera_metadata_t*>(aligned.data())));
    }
    if (m.state == RecordedMetadata::kMalformed) {
        MetadataPtr bad(allocate_camera_metadata(1, 8));
        uint32_t words[5];
        memcpy(words, bad.get(), sizeof words);
        words[3] = words[4] + 1;  // entry_count above entry_capacity
        memcpy(bad.get(), words, sizeof words);
        return bad;
    }
    return nullptr;
}

std::vector<ReplaySession> SessionsOf(const RecordingFile& recording) {
    std::vector<ReplaySession> sessions;
    const auto& records = recording.records;
    for (const Record& r : records) {
        if (r.kind != RecordKind::kCall || r.call != CallId::kOpen) continue;
        // An open that failed opened no device.
        auto ret = std::find_if(records.begin() + long(r.index) + 1, records.end(),
                                [&](const Record& x) { return x.session == r.session; });
        if (ret != records.end() && ret->kind == RecordKind::kReturn && ret->call == CallId::kOpen && ret->rc != 0)
            continue;
        ReplaySession s;
        s.session = r.session, s.camera = r.text, s.firstRecord = s.lastRecord = r.index;
        s.ordinal = uint32_t(sessions.size() + 1);
        sessions.push_back(s);
    }
    return sessions;
}

void Replay(const RecordingFile& recording, int64_t stallNs, ReplaySession* session,
            const std::function<void(const std::string&)>& trace) {
    session->findings.clear();
    SessionReplayer(recording, stallNs, session, trace).Run();
}

namespace {

class ReplayTest : public ::testing::Test {
public:
    ReplayTest(const RecordingFile* recording, ReplaySession session, int64_t stallNs)
        : m_recording(recording), m_session(std::move(session)), m_stallNs(stallNs) {}

    void TestBody() override {
        const std::string tag = "camera " + m_session.camera + " session " + std::to_string(m_session.ordinal);
        Replay(*m_recording, m_stallNs, &m_session,
               [&](const std::string& l) { Report::Get().Trace("[" + tag + "] " + l); });
        int warnings = 0;
        for (const auto& f : m_session.findings) {
            const std::string line = f.text + " (record " + std::to_string(f.record) + ")";
            if (f.warning) {
                ++warnings;
                Report::Get().Trace("WARN " + line);
            } else {
                ADD_FAILURE() << line;
            }
        }
        std::string note;
        if (!m_session.closed)
            note = m_recording->cut ? " note: " + m_recording->note : " note: the recording ends before close";
        const std::string name =
            "timeline_" + m_session.camera + "_session" + std::to_string(m_session.ordinal) + ".json";
        std::string timeline = WriteTimeline(Report::Get().dir() + "/" + name, *m_recording, {m_session});
        Report::Get().Summary("hal3_check: replay camera " + m_session.camera + " session " +
                              std::to_string(m_session.ordinal) + " records " + std::to_string(m_session.firstRecord) +
                              "-" + std::to_string(m_session.lastRecord) + " " + (HasFailure() ? "FAIL" : "PASS") +
                              (warnings ? " warnings=" + std::to_string(warnings) : "") + note +
                              (timeline.empty() ? "" : " timeline " + timeline));
    }

private:
    const RecordingFile* m_recording;
    ReplaySession m_session;
    const int64_t m_stallNs;
};

}  // namespace

int RunReplay(const std::string& path, int stallMs) {
    static RecordingFile recording;  // the registered tests read it until the end of the run
    std::string err = LoadRecording(path, &recording);
    if (!err.empty()) {
        fprintf(stderr, "hal3_check: %s\n", err.c_str());
        return 2;
    }
    if (recording.cut) {
        fprintf(stderr, "hal3_check: %s: %s\n", path.c_str(), recording.note.c_str());
        Report::Get().Trace("NOTE " + recording.note);
    }
    std::vector<ReplaySession> sessions = SessionsOf(recording);
    if (sessions.empty()) {
        fprintf(stderr, "hal3_check: %s: %zu record(s) and no device opened in them\n", path.c_str(),
                recording.records.size());
        return 2;
    }
    for (const auto& s : sessions) {
        std::string name = "camera" + s.camera + "_session" + std::to_string(s.ordinal);
        const int64_t stallNs = int64_t(stallMs) * 1000000;
        ::testing::RegisterTest("Replay", name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                                [s, stallNs]() -> ::testing::Test* { return new ReplayTest(&recording, s, stallNs); });
    }
    ::testing::GTEST_FLAG(filter) = "Replay.*";  // the live scenarios have no camera here
    int rc = RUN_ALL_TESTS();
    const auto* unit = ::testing::UnitTest::GetInstance();
    printf("hal3_check: replayed %d session(s) of %s, %d failed; trace and timelines in %s\n",
           unit->successful_test_count() + unit->failed_test_count(), path.c_str(), unit->failed_test_count(),
           Report::Get().dir().c_str());
    return rc;
}

}  // namespace hal3_check

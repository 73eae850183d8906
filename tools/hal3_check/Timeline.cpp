#include "Timeline.h"

#include "Metadata.h"
#include "ModuleConnector.h"
#include "RecordingDevice.h"
#include "Report.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

namespace hal3_check {

namespace {

using nlohmann::json;

// Track ids above any thread id: stream lanes, then frame lanes.
constexpr uint32_t kStreamTracks = 1u << 30, kFrameTracks = kStreamTracks + (1u << 20);

double Us(int64_t ns) { return double(ns) / 1000.0; }

// Slices that overlap go to lanes of their own: a viewer draws only nested
// slices on one track.
class Lanes {
public:
    size_t Take(int64_t begin, int64_t end) {
        for (size_t i = 0; i < m_ends.size(); ++i)
            if (m_ends[i] <= begin) {
                m_ends[i] = end;
                return i;
            }
        m_ends.push_back(end);
        return m_ends.size() - 1;
    }

private:
    std::vector<int64_t> m_ends;
};

struct Piece {
    int64_t ns;
    uint32_t tid;
    std::string what;
};

struct FrameSpan {
    int64_t submitNs = 0;
    uint32_t tid = 0;
    std::vector<Piece> pieces;
    std::map<uint32_t, int64_t> bufferSubmit;  // stream -> submit time
};

class Drawing {
public:
    Drawing(const ReplaySession& s, int pid, json* events) : m_session(s), m_pid(pid), m_events(*events) {}

    void Thread(uint32_t tid, const std::string& name) {
        if (m_named.insert(tid).second)
            m_events.push_back(
                {{"ph", "M"}, {"name", "thread_name"}, {"pid", m_pid}, {"tid", tid}, {"args", {{"name", name}}}});
    }
    void Slice(uint32_t tid, const std::string& name, int64_t beginNs, int64_t endNs, json args = json::object()) {
        m_events.push_back({{"ph", "X"},
                            {"name", name},
                            {"pid", m_pid},
                            {"tid", tid},
                            {"ts", Us(beginNs)},
                            {"dur", Us(std::max<int64_t>(endNs - beginNs, 1000))},
                            {"args", std::move(args)}});
    }
    void Flow(uint64_t id, uint32_t fromTid, int64_t fromNs, uint32_t toTid, int64_t toNs, const std::string& name) {
        m_events.push_back({{"ph", "s"},
                            {"name", name},
                            {"cat", "frame"},
                            {"id", id},
                            {"pid", m_pid},
                            {"tid", fromTid},
                            {"ts", Us(fromNs)}});
        m_events.push_back({{"ph", "f"},
                            {"bp", "e"},
                            {"name", name},
                            {"cat", "frame"},
                            {"id", id},
                            {"pid", m_pid},
                            {"tid", toTid},
                            {"ts", Us(toNs)}});
    }
    void Instant(uint32_t tid, const std::string& name, int64_t ns, json args) {
        m_events.push_back({{"ph", "i"},
                            {"s", "t"},
                            {"name", name},
                            {"pid", m_pid},
                            {"tid", tid},
                            {"ts", Us(ns)},
                            {"args", std::move(args)}});
    }
    void Counter(const std::string& name, int64_t ns, json args) {
        m_events.push_back({{"ph", "C"}, {"name", name}, {"pid", m_pid}, {"ts", Us(ns)}, {"args", std::move(args)}});
    }

    void Draw(const RecordingFile& recording) {
        m_events.push_back(
            {{"ph", "M"},
             {"name", "process_name"},
             {"pid", m_pid},
             {"args", {{"name", "camera " + m_session.camera + " session " + std::to_string(m_session.ordinal)}}}});
        std::map<std::pair<uint32_t, CallId>, const Record*> open;  // calls not returned yet
        std::map<uint32_t, FrameSpan> frames;
        std::map<uint32_t, Lanes> streamLanes;
        std::map<uint32_t, std::string> streamNames;
        for (uint64_t i = m_session.firstRecord; i <= m_session.lastRecord && i < recording.records.size(); ++i) {
            const Record& r = recording.records[i];
            if (r.session != m_session.session) continue;
            Thread(r.tid, "thread " + std::to_string(r.tid));
            switch (r.kind) {
                case RecordKind::kCall:
                    open[{r.tid, r.call}] = &r;
                    if (r.call == CallId::kProcessCaptureRequest && !r.nullPointer) {
                        FrameSpan& f = frames[r.frame];
                        f.submitNs = r.bootNs;
                        for (const auto& b : r.buffers) f.bufferSubmit[b.stream] = r.bootNs;
                    }
                    break;
                case RecordKind::kReturn: {
                    auto it = open.find({r.tid, r.call});
                    if (it == open.end()) break;
                    json args = {{"rc", r.rc}, {"record", it->second->index}};
                    if (r.call == CallId::kProcessCaptureRequest) args["frame"] = it->second->frame;
                    Slice(r.tid, CallName(r.call), it->second->bootNs, r.bootNs, args);
                    open.erase(it);
                    if (r.call == CallId::kConfigureStreams)
                        for (const auto& s : r.streams)
                            streamNames[s.id] = "stream " + std::to_string(s.id) + " " + std::to_string(s.width) + "x" +
                                                std::to_string(s.height) + " format 0x" + Hex(s.format);
                    break;
                }
                case RecordKind::kResult: {
                    std::string name = "result f" + std::to_string(r.frame);
                    if (r.metadata.state != RecordedMetadata::kAbsent) name += " p" + std::to_string(r.partial);
                    Slice(r.tid, name, r.bootNs, r.bootNs, {{"record", r.index}, {"buffers", r.buffers.size()}});
                    FrameSpan& f = frames[r.frame];
                    if (r.metadata.state != RecordedMetadata::kAbsent)
                        f.pieces.push_back({r.bootNs, r.tid, "partial " + std::to_string(r.partial)});
                    for (const auto& b : r.buffers) {
                        f.pieces.push_back({r.bootNs, r.tid, "buffer s" + std::to_string(b.stream)});
                        auto submitted = f.bufferSubmit.find(b.stream);
                        int64_t begin = submitted == f.bufferSubmit.end() ? r.bootNs : submitted->second;
                        uint32_t lane = uint32_t(streamLanes[b.stream].Take(begin, r.bootNs));
                        uint32_t tid = kStreamTracks + b.stream * 16 + std::min(lane, 15u);
                        std::string stream =
                            streamNames.count(b.stream) ? streamNames[b.stream] : "stream " + std::to_string(b.stream);
                        Thread(tid, stream + (lane ? " lane " + std::to_string(lane) : ""));
                        Slice(tid, "f" + std::to_string(r.frame) + (b.status ? " error" : ""), begin, r.bootNs,
                              {{"frame", r.frame}, {"status", b.status}, {"record", r.index}});
                    }
                    Counters(r);
                    break;
                }
                case RecordKind::kNotify: {
                    std::string name =
                        r.msgType == CAMERA3_MSG_SHUTTER ? "shutter" : "error " + std::to_string(r.errorCode);
                    Slice(r.tid, name + " f" + std::to_string(r.frame), r.bootNs, r.bootNs, {{"record", r.index}});
                    if (r.msgType == CAMERA3_MSG_SHUTTER || r.msgType == CAMERA3_MSG_ERROR)
                        frames[r.frame].pieces.push_back({r.bootNs, r.tid, name});
                    break;
                }
                case RecordKind::kBufferCallback:
                    Slice(r.tid, CallName(r.call), r.bootNs, r.bootNs, {{"record", r.index}});
                    break;
            }
        }
        DrawFrames(frames);
        for (const auto& f : m_session.findings) {
            json args = {{"finding", f.text}, {"record", f.record}, {"level", f.warning ? "should" : "must"}};
            if (f.finding.frame != kNoFrame) args["frame"] = f.finding.frame;
            uint32_t tid = f.record < recording.records.size() ? recording.records[f.record].tid : 0;
            Instant(tid, f.rule, f.bootNs, args);
        }
    }

private:
    static std::string Hex(int v) {
        char b[16];
        snprintf(b, sizeof b, "%x", unsigned(v));
        return b;
    }

    void DrawFrames(const std::map<uint32_t, FrameSpan>& frames) {
        Lanes lanes;
        uint64_t flow = 0;
        for (const auto& [frame, f] : frames) {
            if (f.submitNs == 0) continue;  // callbacks for a frame never submitted
            int64_t end = f.submitNs;
            for (const auto& p : f.pieces) end = std::max(end, p.ns);
            uint32_t tid = kFrameTracks + uint32_t(lanes.Take(f.submitNs, end + 1000));
            Thread(tid, "frames lane " + std::to_string(tid - kFrameTracks));
            Slice(tid, "frame " + std::to_string(frame), f.submitNs, end,
                  {{"frame", frame}, {"pieces", f.pieces.size()}});
            for (const auto& p : f.pieces)
                Flow((uint64_t(frame) << 16) | ++flow % 65536, tid, f.submitNs, p.tid, p.ns, p.what);
        }
    }

    void Counters(const Record& r) {
        if (r.metadata.state != RecordedMetadata::kPresent) return;
        MetadataPtr m = MetadataOf(r.metadata);
        json states = json::object();
        for (auto [tag, name] : {std::pair{ANDROID_CONTROL_AE_STATE, "ae"}, std::pair{ANDROID_CONTROL_AF_STATE, "af"},
                                 std::pair{ANDROID_CONTROL_AWB_STATE, "awb"}}) {
            int v = GetU8(m.get(), tag, -1);
            if (v >= 0) states[name] = v;
        }
        if (!states.empty()) Counter("3A states", r.bootNs, states);
        int64_t exposure = GetI64(m.get(), ANDROID_SENSOR_EXPOSURE_TIME, -1);
        if (exposure >= 0) Counter("exposure time (ms)", r.bootNs, {{"exposure", double(exposure) / 1e6}});
    }

    const ReplaySession& m_session;
    const int m_pid;
    json& m_events;
    std::set<uint32_t> m_named;
};

}  // namespace

std::string WriteTimeline(const std::string& path, const RecordingFile& recording,
                          const std::vector<ReplaySession>& sessions) {
    json events = json::array();
    for (size_t i = 0; i < sessions.size(); ++i) Drawing(sessions[i], int(i + 1), &events).Draw(recording);
    std::ofstream out(path);
    out << json{{"traceEvents", events}, {"displayTimeUnit", "ms"}}.dump();
    return out.good() ? path : "";
}

namespace {

// See RecordScenarios. gtest calls this listener after the isolation's
// OnTestStart (in the child: the scenario is about to run) and before its
// OnTestEnd (in the child: before it exits; in the parent: after the child
// has ended, crashed or not, its findings replayed into the test).
class ScenarioRecorder : public ::testing::EmptyTestEventListener {
public:
    explicit ScenarioRecorder(std::string recordPath) : m_recordPath(std::move(recordPath)), m_parent(getpid()) {}

    void OnTestStart(const ::testing::TestInfo& test) override {
        if (getpid() == m_parent) return;
        const std::string path = PathOf(test, "recording_", ".h3r");
        unlink(path.c_str());
        auto* writer = new RecordingWriter();  // the child ends with _exit: drained in OnTestEnd, never freed
        if (!writer->Open(path).empty()) return;
        LiveWriter() = writer;
        // The replay takes its limits (partial count, pipeline depth) from here.
        camera_info info{};
        const int id = atoi(CameraOf(test).c_str());
        if (ModuleConnector::Get().module() != nullptr && ModuleConnector::Get().Info(id, &info) == 0)
            SessionCapture::ModuleReturn(writer, CallId::kGetCameraInfo, 0, id, info.static_camera_characteristics);
    }

    void OnTestEnd(const ::testing::TestInfo& test) override {
        if (getpid() != m_parent) {
            if (LiveWriter()) LiveWriter()->Drain();
            return;
        }
        struct Offset {  // the trace read so far, whatever this scenario leaves
            std::streamoff* at;
            ~Offset() {
                std::ifstream t(Report::Get().dir() + "/trace.txt", std::ios::ate);
                if (t) *at = t.tellg();
            }
        } offset{&m_traceOffset};
        const std::string path = PathOf(test, "recording_", ".h3r");
        std::ifstream in(path, std::ios::binary);
        std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        RecordingFile recording;
        if (bytes.empty() || !ParseRecording(bytes.data(), bytes.size(), &recording).empty()) return;
        if (!m_recordPath.empty()) Append(bytes);
        std::vector<ReplaySession> sessions = SessionsOf(recording);
        if (sessions.empty()) return;
        for (auto& s : sessions) s.lastRecord = recording.records.size() - 1;
        // The scenario ran in a child: its findings are the trace's lines
        // since the last scenario ("[<camera> <suite>] FAIL|WARN [rule ...").
        std::ifstream trace(Report::Get().dir() + "/trace.txt");
        trace.seekg(m_traceOffset);
        const std::string tag = "[" + CameraOf(test) + " " + test.test_suite_name() + "] ";
        for (std::string line; std::getline(trace, line);)
            if (line.rfind(tag + "FAIL ", 0) == 0 || line.rfind(tag + "WARN ", 0) == 0)
                Place(line.substr(tag.size() + 5), recording, &sessions);
        WriteTimeline(PathOf(test, "timeline_", ".json"), recording, sessions);
    }

private:
    static std::string CameraOf(const ::testing::TestInfo& test) {
        std::string name = test.name();  // "<case>/camera<id>"
        name = name.substr(name.rfind('/') + 1);
        return name.rfind("camera", 0) == 0 ? name.substr(6) : name;
    }
    static std::string PathOf(const ::testing::TestInfo& test, const char* prefix, const char* suffix) {
        std::string suite = test.test_suite_name();
        return Report::Get().dir() + "/" + prefix + CameraOf(test) + "_" + suite.substr(suite.rfind('/') + 1) + suffix;
    }

    // A live finding has no record: it is drawn at the last record of the
    // frame it names, or at the end of the last session.
    static void Place(const std::string& message, const RecordingFile& recording,
                      std::vector<ReplaySession>* sessions) {
        // Text(): "[rule <id>] frame <n>: <detail>" or "[rule <id>] <detail>".
        size_t at = message.find("[rule "), end = message.find(']', at);
        if (at == std::string::npos || end == std::string::npos) return;
        const Rule* rule = FindRule(message.substr(at + 6, end - at - 6));
        if (rule == nullptr) return;
        ReplayFinding f;
        f.text = message.substr(at), f.rule = rule->id, f.warning = rule->level == Level::kShould;
        f.finding.rule = rule->rule;
        unsigned long frame = 0;
        if (sscanf(message.c_str() + end + 1, " frame %lu:", &frame) == 1) f.finding.frame = int64_t(frame);
        f.record = recording.records.size() - 1;
        for (const Record& r : recording.records)
            if (r.session == sessions->back().session && f.finding.frame == int64_t(r.frame) &&
                (r.kind == RecordKind::kResult || r.kind == RecordKind::kNotify))
                f.record = r.index;
        f.bootNs = recording.records[f.record].bootNs;
        sessions->back().findings.push_back(f);
    }

    void Append(const std::vector<uint8_t>& bytes) {
        FILE* out = fopen(m_recordPath.c_str(), "ab");
        if (out == nullptr) return;
        fseek(out, 0, SEEK_END);
        size_t skip = ftell(out) == 0 ? 0 : kRecordingHeaderSize;  // one header per file
        fwrite(bytes.data() + skip, 1, bytes.size() - skip, out);
        fclose(out);
    }

    const std::string m_recordPath;
    const pid_t m_parent;
    std::streamoff m_traceOffset = 0;
};

}  // namespace

void RecordScenarios(const std::string& recordPath) {
    if (!recordPath.empty()) unlink(recordPath.c_str());
    ::testing::UnitTest::GetInstance()->listeners().Append(new ScenarioRecorder(recordPath));
}

}  // namespace hal3_check

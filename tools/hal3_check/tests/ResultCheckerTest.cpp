// ResultChecker fed synthetic callbacks, one sequence a line. Each rule the
// checker owns is broken by a sequence, which must be flagged with exactly
// that id (a "should" rule as a warning); its legal but unusual twin must pass
// clean. RulesTest reads the ids of this table.
//
// The sequence language, ';'-separated steps ("sN" is stream N, 0..2):
//   partials K | maxdepth D | listed   limits, before the first other step
//                                (listed: only timestamp, depth and AE mode are result keys)
//   submit F sN... [zsl]         a request for frame F with a buffer per stream (zsl: a ZSL still capture)
//   shutter F T                  SHUTTER at T
//   result F pK [ts=T] [depth=D] [ae] [aestate=S] [dup] [empty]   metadata as partial K
//                                (dup: AE mode twice in the buffer; no key: an empty buffer)
//   badmeta F pK                 metadata that fails validation
//   buffer F sN ok|err [pK] [acq=N] [rel=signalled|pending|bad|<fd>] [own]
//                                (own: a pointer to the module's copy of the handle)
//   lie F COUNT sN               num_output_buffers COUNT, the array of one buffer
//   nullbuf F sN | input F | nothing F | notify T
//   error F device|request|result|buffer [sN]
//   flush | flushed              around the device's flush
//   wait                         wait until idle (a short stall time)
// A sequence that leaves nothing in flight ends with the device idle.

#include "ResultChecker.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <cctype>
#include <cstring>
#include <unistd.h>

#include <map>
#include <set>
#include <sstream>

namespace hal3_check {
namespace {

class Sequence {
public:
    ~Sequence() {
        m_checker.reset();
        for (int fd : m_openFds) close(fd);
    }

    // Runs `steps`; returns the rule ids flagged, warnings as "warn:<id>".
    std::set<std::string> Run(const std::string& steps) {
        std::istringstream all(steps);
        std::string step;
        while (std::getline(all, step, ';')) Step(step);
        Checker().Sync();
        if (Checker().InFlight() == 0) Checker().WaitIdle();
        std::set<std::string> ids;
        for (const Finding& f : m_findings.findings())
            ids.insert((LevelOf(f) == Level::kShould ? "warn:" : "") + std::string(RuleOf(f.rule).id));
        return ids;
    }
    const std::vector<int>& fences() const { return m_fences; }

private:
    ResultChecker& Checker() {
        if (!m_checker) m_checker = std::make_unique<ResultChecker>(m_limits, m_findings, nullptr);
        return *m_checker;
    }

    camera3_stream_t* Stream(const std::string& token) { return &m_streams[std::stoi(token.substr(1))]; }
    // A handle of its own for each frame and stream: the checker compares handle values.
    buffer_handle_t* Handle(uint32_t frame, camera3_stream_t* s) {
        auto [it, fresh] = m_handles.try_emplace({frame, s});
        if (fresh) it->second = reinterpret_cast<buffer_handle_t>(uintptr_t(0x1000 + m_handles.size() * 16));
        return &it->second;
    }

    static MetadataPtr Metadata(std::istringstream& in) {
        MetadataPtr m(allocate_camera_metadata(8, 64));
        std::string token;
        while (in >> token) {
            if (token.rfind("ts=", 0) == 0) {
                int64_t ts = std::stoll(token.substr(3));
                add_camera_metadata_entry(m.get(), ANDROID_SENSOR_TIMESTAMP, &ts, 1);
            } else if (token.rfind("depth=", 0) == 0) {
                uint8_t depth = uint8_t(std::stoi(token.substr(6)));
                add_camera_metadata_entry(m.get(), ANDROID_REQUEST_PIPELINE_DEPTH, &depth, 1);
            } else if (token == "ae" || token == "dup") {
                uint8_t on = ANDROID_CONTROL_AE_MODE_ON;
                add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_MODE, &on, 1);
                if (token == "dup") add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_MODE, &on, 1);
            } else if (token.rfind("aestate=", 0) == 0) {
                uint8_t state = uint8_t(std::stoi(token.substr(8)));
                add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_STATE, &state, 1);
            }
        }
        return m;
    }

    int Fence(const std::string& kind) {
        if (kind == "bad") return 999;                                             // not open (checked below)
        if (isdigit(static_cast<unsigned char>(kind[0]))) return std::stoi(kind);  // one of the test's own
        int fds[2];
        EXPECT_EQ(pipe(fds), 0);
        if (kind == "signalled")
            close(fds[1]);  // a reader sees the end at once
        else
            m_openFds.push_back(fds[1]);  // pending while the writer stays open
        m_fences.push_back(fds[0]);
        return fds[0];
    }

    void Result(uint32_t frame, uint32_t partial, const camera_metadata_t* m,
                std::vector<camera3_stream_buffer_t> buffers, uint32_t count, bool input = false) {
        camera3_stream_buffer_t inputBuffer{};
        camera3_capture_result_t r{};
        r.frame_number = frame;
        r.result = m;
        r.num_output_buffers = count;
        r.output_buffers = buffers.empty() ? nullptr : buffers.data();
        r.input_buffer = input ? &inputBuffer : nullptr;
        r.partial_result = partial;
        Checker().OnResult(&r);
    }

    void Notify(int type, uint32_t frame, uint64_t timestampOrCode, camera3_stream_t* stream = nullptr) {
        camera3_notify_msg_t msg{};
        msg.type = type;
        if (type == CAMERA3_MSG_SHUTTER)
            msg.message.shutter = {frame, timestampOrCode};
        else
            msg.message.error = {frame, stream, int(timestampOrCode)};
        Checker().OnNotify(&msg);
    }

    void Step(const std::string& text) {
        std::istringstream in(text);
        std::string op, arg;
        in >> op;
        if (op.empty()) return;
        if (op == "partials") {
            in >> m_limits.partialCount;
            return;
        }
        if (op == "maxdepth") {
            in >> m_limits.pipelineMaxDepth;
            return;
        }
        if (op == "listed") {
            m_limits.resultKeys = {ANDROID_SENSOR_TIMESTAMP, ANDROID_REQUEST_PIPELINE_DEPTH, ANDROID_CONTROL_AE_MODE};
            return;
        }
        if (op == "flush") return Checker().BeginFlush();
        if (op == "flushed") return Checker().EndFlush();
        if (op == "wait") {
            Checker().WaitIdle();
            return;
        }
        if (op == "notify") {
            int type;
            in >> type;
            return Notify(type, 0, 0);
        }
        uint32_t frame;
        in >> frame;
        if (op == "submit") {
            std::vector<camera3_stream_buffer_t> buffers;
            MetadataPtr settings(allocate_camera_metadata(4, 16));
            while (in >> arg) {
                if (arg == "zsl") {
                    uint8_t zsl = ANDROID_CONTROL_ENABLE_ZSL_TRUE,
                            intent = ANDROID_CONTROL_CAPTURE_INTENT_STILL_CAPTURE;
                    add_camera_metadata_entry(settings.get(), ANDROID_CONTROL_ENABLE_ZSL, &zsl, 1);
                    add_camera_metadata_entry(settings.get(), ANDROID_CONTROL_CAPTURE_INTENT, &intent, 1);
                } else {
                    buffers.push_back({Stream(arg), Handle(frame, Stream(arg)), 0, -1, -1});
                }
            }
            camera3_capture_request_t request{};
            request.frame_number = frame;
            request.settings = settings.get();
            request.num_output_buffers = uint32_t(buffers.size());
            request.output_buffers = buffers.data();
            Checker().OnSubmit(request);
        } else if (op == "shutter") {
            uint64_t ts;
            in >> ts;
            Notify(CAMERA3_MSG_SHUTTER, frame, ts);
        } else if (op == "result") {
            in >> arg;
            uint32_t partial = uint32_t(std::stoul(arg.substr(1)));
            MetadataPtr m = Metadata(in);
            Result(frame, partial, m.get(), {}, 0);
        } else if (op == "badmeta") {
            MetadataPtr m(allocate_camera_metadata(4, 16));
            // The header's entry count (after size, version and flags) beyond its capacity.
            uint32_t count = 0x7fffffff;
            memcpy(reinterpret_cast<uint8_t*>(m.get()) + 12, &count, sizeof count);
            Result(frame, 1, m.get(), {}, 0);
        } else if (op == "buffer" || op == "lie" || op == "nullbuf") {
            uint32_t count = 1, partial = 0;
            if (op == "lie") in >> count;
            in >> arg;
            camera3_stream_buffer_t b{Stream(arg), Handle(frame, Stream(arg)), CAMERA3_BUFFER_STATUS_OK, -1, -1};
            buffer_handle_t copy = *b.buffer;
            if (op == "nullbuf") b.buffer = nullptr;
            while (in >> arg) {
                if (arg == "err")
                    b.status = CAMERA3_BUFFER_STATUS_ERROR;
                else if (arg[0] == 'p')
                    partial = uint32_t(std::stoul(arg.substr(1)));
                else if (arg.rfind("acq=", 0) == 0)
                    b.acquire_fence = std::stoi(arg.substr(4));
                else if (arg.rfind("rel=", 0) == 0)
                    b.release_fence = Fence(arg.substr(4));
                else if (arg == "own")
                    b.buffer = &copy;
            }
            Result(frame, partial, nullptr, {b}, count);
        } else if (op == "input") {
            Result(frame, 0, nullptr, {}, 0, true);
        } else if (op == "nothing") {
            Result(frame, 0, nullptr, {}, 0);
        } else if (op == "error") {
            static const std::map<std::string, int> kCodes = {{"device", CAMERA3_MSG_ERROR_DEVICE},
                                                              {"request", CAMERA3_MSG_ERROR_REQUEST},
                                                              {"result", CAMERA3_MSG_ERROR_RESULT},
                                                              {"buffer", CAMERA3_MSG_ERROR_BUFFER}};
            in >> arg;
            std::string stream;
            in >> stream;
            Notify(CAMERA3_MSG_ERROR, frame, uint64_t(kCodes.at(arg)), stream.empty() ? nullptr : Stream(stream));
        } else {
            ADD_FAILURE() << "unknown step: " << text;
        }
    }

    CheckerLimits m_limits{1, 0, 100000000, {}};  // a 100 ms stall time for "wait"
    FindingSink m_findings;
    std::unique_ptr<ResultChecker> m_checker;
    camera3_stream_t m_streams[3]{};
    std::map<std::pair<uint32_t, camera3_stream_t*>, buffer_handle_t> m_handles;  // stable addresses
    std::vector<int> m_fences, m_openFds;
};

// A frame 0 on stream 0 that completes cleanly.
#define FRAME0 "submit 0 s0; shutter 0 100; result 0 p1 ts=100; buffer 0 s0 ok"

struct Case {
    const char* name;
    const char* steps;
    std::set<std::string> expected;  // rule ids; "warn:<id>" for a warning
};

const Case kCases[] = {
    // Legal, some of them unusual: nothing may be flagged.
    {"plain frame", FRAME0, {}},
    {"buffers and metadata before the shutter", "submit 0 s0; buffer 0 s0 ok; result 0 p1 ts=100; shutter 0 100", {}},
    {"two partials", "partials 2; submit 0 s0; result 0 p1 ae; shutter 0 100; result 0 p2 ts=100; buffer 0 s0 ok", {}},
    {"only the final partial", "partials 3; submit 0 s0; shutter 0 100; result 0 p3 ts=100; buffer 0 s0 ok", {}},
    {"empty metadata with ERROR_RESULT",
     "submit 0 s0; shutter 0 100; result 0 p1 empty; error 0 result; buffer 0 s0 ok",
     {}},
    {"empty metadata with ERROR_REQUEST", "submit 0 s0; result 0 p1 empty; buffer 0 s0 err; error 0 request", {}},
    {"ERROR_REQUEST without a shutter", "submit 0 s0 s1; error 0 request; buffer 0 s0 err; buffer 0 s1 err", {}},
    {"ERROR_RESULT frame with its shutter before the last buffer",
     "submit 0 s0; error 0 result; shutter 0 100; buffer 0 s0 ok",
     {}},
    {"ERROR_BUFFER before its buffer",
     "submit 0 s0 s1; shutter 0 100; error 0 buffer s0; buffer 0 s0 err; result 0 p1 ts=100; buffer 0 s1 ok",
     {}},
    {"ERROR_BUFFER after the frame's last piece",
     FRAME0 "; submit 1 s0; shutter 1 200; result 1 p1 ts=200; "
            "buffer 1 s0 err; error 1 buffer s0",
     {}},
    {"error buffers out of order during flush",
     "submit 0 s0; submit 1 s0; flush; error 1 request; buffer 1 s0 err; error 0 request; buffer 0 s0 err; flushed",
     {}},
    {"streams independent in order",
     "submit 0 s0 s1; submit 1 s0 s1; buffer 0 s1 ok; buffer 1 s1 ok; buffer 0 s0 ok; buffer 1 s0 ok",
     {}},
    {"ZSL still capture with an older timestamp",
     FRAME0 "; submit 1 s1 zsl; shutter 1 50; result 1 p1 ts=50; buffer 1 s1 ok",
     {}},
    {"the module's own copy of the handle", "submit 0 s0; shutter 0 100; result 0 p1 ts=100; buffer 0 s0 ok own", {}},
    {"release fence signalled", "submit 0 s0; shutter 0 100; result 0 p1 ts=100; buffer 0 s0 ok rel=signalled", {}},
    {"pipeline depth at the maximum",
     "maxdepth 4; submit 0 s0; shutter 0 100; result 0 p1 ts=100 depth=4; buffer 0 s0 ok",
     {}},
    {"listed result keys only", "listed; " FRAME0, {}},
    {"a scan under way at open", "submit 0 s0; shutter 0 100; result 0 p1 ts=100 aestate=1; buffer 0 s0 ok", {}},
    {"AE locked after the first frame",
     FRAME0 "; submit 1 s0; shutter 1 200; result 1 p1 ts=200 aestate=3; buffer 1 s0 ok",
     {}},
    {"a late ERROR_BUFFER for a frame never sent", "error 7 buffer s0", {}},

    // One rule broken each.
    {"frame-in-flight", "shutter 5 100", {"frame-in-flight"}},
    {"input-buffer", "submit 0 s0; input 0", {"warn:input-buffer"}},
    {"empty-result", "submit 0 s0; nothing 0", {"empty-result"}},
    {"result-structure", "submit 0 s0; badmeta 0", {"result-structure"}},
    {"result-buffer-count", "submit 0 s0; shutter 0 100; result 0 p1 ts=100; lie 0 1000 s0", {"result-buffer-count"}},
    {"result-key-twice",
     "submit 0 s0; shutter 0 100; result 0 p1 ts=100 dup; buffer 0 s0 ok",
     {"warn:result-key-twice"}},
    {"result-keys-listed",
     "listed; submit 0 s0; shutter 0 100; result 0 p1 ts=100 aestate=0; buffer 0 s0 ok",
     {"result-keys-listed"}},
    {"buffer-null", "submit 0 s0; nullbuf 0 s0", {"buffer-null"}},
    {"partial-range", "submit 0 s0; result 0 p2 ts=100", {"partial-range"}},
    {"partial-without-metadata", "submit 0 s0; buffer 0 s0 ok p1", {"warn:partial-without-metadata"}},
    {"partial-distinct", "submit 0 s0; result 0 p1 ts=100; result 0 p1 ae", {"partial-distinct"}},
    {"partial-repeat", "partials 2; submit 0 s0; result 0 p1 ts=100; result 0 p1 ae", {"warn:partial-repeat"}},
    {"partial-key-once",
     "partials 2; submit 0 s0; shutter 0 100; result 0 p1 ts=100; result 0 p2 ts=100; buffer 0 s0 ok",
     {"warn:partial-key-once"}},
    {"final-result-order", "submit 0 s0; submit 1 s0; result 1 p1 ts=200; result 0 p1 ts=100", {"final-result-order"}},
    {"sensor-timestamp", "submit 0 s0; result 0 p1 ts=101; shutter 0 100; buffer 0 s0 ok", {"sensor-timestamp"}},
    {"sensor-timestamp-missing",
     "submit 0 s0; shutter 0 100; result 0 p1 ae; buffer 0 s0 ok",
     {"sensor-timestamp-missing"}},
    {"sensor-timestamp-missing: empty metadata without an error",
     "submit 0 s0; shutter 0 100; result 0 p1 empty; buffer 0 s0 ok",
     {"sensor-timestamp-missing"}},
    {"pipeline-depth", "maxdepth 4; submit 0 s0; result 0 p1 ts=100 depth=5", {"pipeline-depth"}},
    {"shutter-once", "submit 0 s0; shutter 0 100; shutter 0 100", {"shutter-once"}},
    {"shutter-order", "submit 0 s0; submit 1 s0; shutter 1 100; shutter 0 200", {"shutter-order"}},
    {"shutter-timestamp-order",
     FRAME0 "; submit 1 s1; shutter 1 50; result 1 p1 ts=50; buffer 1 s1 ok",
     {"shutter-timestamp-order"}},
    {"notify-type", "notify 7", {"notify-type"}},
    {"error-device", "submit 0 s0; error 0 device", {"error-device"}},
    {"after-error-device", "submit 0 s0; error 0 device; shutter 0 100", {"error-device", "warn:after-error-device"}},
    {"error-stream", "submit 0 s0; error 0 request s0; buffer 0 s0 err", {"warn:error-stream"}},
    {"error-notify-repeat", "submit 0 s0; error 0 request; error 0 request", {"warn:error-notify-repeat"}},
    {"error-request-metadata", "submit 0 s0; error 0 request; result 0 p1 ts=100", {"error-request-metadata"}},
    {"error-request-metadata first", "submit 0 s0; result 0 p1 ts=100; error 0 request", {"error-request-metadata"}},
    {"error-request-buffer", "submit 0 s0; error 0 request; buffer 0 s0 ok", {"error-request-buffer"}},
    {"error-request-exclusive",
     "submit 0 s0 s1; error 0 request; error 0 buffer s0; buffer 0 s0 err; buffer 0 s1 err",
     {"error-request-exclusive"}},
    {"error-request-exclusive after the frame",
     "submit 0 s0; error 0 request; buffer 0 s0 err; error 0 buffer s0",
     {"error-request-exclusive"}},
    {"error-request-shutter", "submit 0 s0; error 0 request; shutter 0 100", {"warn:error-request-shutter"}},
    {"error-result-late", "submit 0 s0 s1; shutter 0 100; result 0 p1 ts=100; error 0 result", {"error-result-late"}},
    {"error-result-metadata", "submit 0 s0; error 0 result; result 0 p1 ts=100", {"warn:error-result-metadata"}},
    {"error-result-shutter", "submit 0 s0; error 0 result; buffer 0 s0 ok; shutter 0 100", {"error-result-shutter"}},
    {"error-buffer-status", "submit 0 s0 s1; buffer 0 s0 ok; error 0 buffer s0", {"warn:error-buffer-status"}},
    {"error-buffer-notify",
     "submit 0 s0; shutter 0 100; result 0 p1 ts=100; buffer 0 s0 err",
     {"warn:error-buffer-notify"}},
    {"buffer-once twice", "submit 0 s0 s1; buffer 0 s0 ok; buffer 0 s0 ok", {"buffer-once"}},
    {"buffer-once after the frame", FRAME0 "; buffer 0 s0 ok", {"buffer-once"}},
    {"buffer-fifo", "submit 0 s0; submit 1 s0; buffer 1 s0 ok; buffer 0 s0 ok", {"buffer-fifo"}},
    {"buffer-fifo OK buffers during flush",
     "submit 0 s0; submit 1 s0; flush; buffer 1 s0 ok; buffer 0 s0 ok; flushed",
     {"buffer-fifo"}},
    {"buffer-fifo-error",
     "submit 0 s0; submit 1 s0; error 1 request; buffer 1 s0 err; error 0 request; buffer 0 s0 err",
     {"warn:buffer-fifo-error"}},
    {"buffer-returned",
     "submit 0 s0; submit 1 s0; shutter 0 100; result 0 p1 ts=100; shutter 1 200; result 1 p1 ts=200; buffer 1 s0 ok; "
     "wait",
     {"buffer-returned"}},
    {"result-timeout", "submit 0 s0; shutter 0 100; wait", {"result-timeout"}},
    {"buffer-acquire-fence", "submit 0 s0; buffer 0 s0 ok acq=5", {"warn:buffer-acquire-fence"}},
    {"release-fence pending", "submit 0 s0; buffer 0 s0 ok rel=pending", {"release-fence"}},
    {"release-fence not a file", "submit 0 s0; buffer 0 s0 ok rel=bad", {"release-fence"}},
    {"3a-state-at-open",
     "submit 0 s0; shutter 0 100; result 0 p1 ts=100 aestate=3; buffer 0 s0 ok",
     {"warn:3a-state-at-open"}},
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.steps; }

class ResultCheckerRules : public ::testing::TestWithParam<Case> {};

TEST_P(ResultCheckerRules, FlagsExactlyTheBrokenRule) {
    const Case& c = GetParam();
    for (const auto& id : c.expected) ASSERT_NE(FindRule(id.substr(id.rfind(':') + 1)), nullptr) << id;
    ASSERT_EQ(fcntl(999, F_GETFD), -1) << "fd 999 must be free for the bad-fence case";
    Sequence sequence;
    EXPECT_EQ(sequence.Run(c.steps), c.expected) << c.steps;
    // The checker closes every release fence it is given.
    for (int fd : sequence.fences()) EXPECT_EQ(fcntl(fd, F_GETFD), -1) << "release fence " << fd << " left open";
    EXPECT_NE(fcntl(STDERR_FILENO, F_GETFD), -1) << "the checker closed stderr";
}

std::string CaseName(const ::testing::TestParamInfo<Case>& info) {
    std::string name = info.param.name;
    for (char& ch : name)
        if (!isalnum(static_cast<unsigned char>(ch))) ch = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Sequences, ResultCheckerRules, ::testing::ValuesIn(kCases), CaseName);

}  // namespace
}  // namespace hal3_check

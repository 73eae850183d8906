// Streaming: every output size, the hardware level's stream combinations,
// reconfiguration, flush and the recording frame rate.
#include "Scenarios.h"

#include <algorithm>

namespace hal3_check {

namespace {

// Long enough that a module ignoring its acquire fences has written the
// buffer meanwhile, short enough for every scenario run.
constexpr int64_t kFenceHoldNs = 300000000;

}  // namespace

class Preview : public CameraScenario {};
TEST_P(Preview, EverySize) {
    ASSERT_NO_FATAL_FAILURE(Open());
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    int sizes = 0;
    for (const auto& c : m_staticInfo->outputs()) {
        if (c.format == HAL_PIXEL_FORMAT_BLOB) continue;
        uint64_t consumer = c.format == HAL_PIXEL_FORMAT_IMPLEMENTATION_DEFINED ? kConsumerDisplay : kConsumerApp;
        if (!Configure({{c.format, uint32_t(c.width), uint32_t(c.height), consumer}})) {
            if (Lost()) return;
            continue;
        }
        Report::Get().Trace("preview " + std::to_string(c.width) + "x" + std::to_string(c.height) + " format " +
                            std::to_string(c.format));
        // The first size also gets a request whose buffer is still busy elsewhere.
        if (sizes == 0) Stream(1, s.get(), {0}, false, kFenceHoldNs);
        Stream(options().frames, s.get(), {0});
        if (!Drain()) return;
        ++sizes;
    }
    if (sizes == 0) Record({RuleId::kConfigure, kNoFrame, "no preview size streamed"});
    m_note = "sizes=" + std::to_string(sizes) + " ";
}

// Every combination the camera's level guarantees, each streamed a few
// frames with every stream in the last request.
class StreamCombinations : public CameraScenario {};
TEST_P(StreamCombinations, OfTheHardwareLevel) {
    ASSERT_NO_FATAL_FAILURE(Open());
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    int streamed = 0;
    for (const auto& requested : MandatoryCombinations()) {
        std::string names;
        for (const auto& stream : requested)
            names += " " + std::to_string(stream.format) + ":" + std::to_string(stream.width) + "x" +
                     std::to_string(stream.height);
        Report::Get().Trace("combination" + names);
        if (!Configure(requested)) {
            if (Lost()) return;
            continue;
        }
        std::vector<size_t> all, repeating;
        for (size_t i = 0; i < requested.size(); ++i) {
            all.push_back(i);
            if (requested[i].format != HAL_PIXEL_FORMAT_BLOB) repeating.push_back(i);
        }
        if (!repeating.empty()) Stream(2, s.get(), repeating, false);
        Stream(1, s.get(), all);
        if (!Drain()) return;
        ++streamed;
    }
    if (streamed == 0) Record({RuleId::kStaticStreamConfigs, kNoFrame, "no guaranteed combination has sizes"});
    m_note = "combinations=" + std::to_string(streamed);
}

class Reconfigure : public CameraScenario {};
TEST_P(Reconfigure, Cycles) {
    ASSERT_NO_FATAL_FAILURE(Open());
    auto sizes = YuvSizes();
    if (sizes.empty()) return;
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    for (int cycle = 0; cycle < 4; ++cycle) {
        const auto& c = sizes[size_t(cycle) % sizes.size()];
        if (!Configure({{HAL_PIXEL_FORMAT_YCBCR_420_888, uint32_t(c.width), uint32_t(c.height), kConsumerApp}})) return;
        Stream(std::max(3, options().frames / 4), s.get(), {0});
        if (!Drain()) return;
    }
    m_note = "cycles=4";
}

class Flush : public CameraScenario {};
TEST_P(Flush, WithRequestsInFlightAndWithNone) {
    ASSERT_NO_FATAL_FAILURE(Open());
    auto sizes = YuvSizes();
    if (sizes.empty()) return;
    StreamConfig c = sizes.back();
    if (!Configure({{HAL_PIXEL_FORMAT_YCBCR_420_888, uint32_t(c.width), uint32_t(c.height), kConsumerApp}})) return;
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    size_t mostHeld = 0;
    for (int round = 0; round < 3; ++round) {
        if (!Stream(int(m_streams->stream(0)->max_buffers), s.get(), {0})) return;
        m_checker->Sync();
        mostHeld = std::max(mostHeld, m_checker->InFlight());
        TimedFlush();
        m_checker->Sync();
        size_t left = m_checker->InFlight();
        if (left != 0)
            Record({RuleId::kFlushDrains, kNoFrame,
                    std::to_string(left) + " frame(s) still in flight when flush returned"});
        if (!Drain()) return;
    }
    TimedFlush();             // with nothing in flight
    Stream(3, s.get(), {0});  // streaming resumes after a flush
    Drain();
    // A module may finish each request inside process_capture_request: then
    // no flush found work to cut short, which is legal.
    m_note = "flushed_error_frames=" + std::to_string(m_checker->errorFrames()) +
             (mostHeld < 2 ? " requests_finished_before_flush" : "");
}

class Recording : public CameraScenario {};
TEST_P(Recording, HoldsItsFrameRate) {
    ASSERT_NO_FATAL_FAILURE(Open());
    // The fastest fixed fps range, and the smallest video size that reaches it
    // (so a host build with sanitizers keeps pace: it is the timing under test).
    auto ranges = Find(m_static, ANDROID_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES);
    int32_t fps = 0;
    for (size_t i = 0; i + 1 < ranges.count; i += 2)
        if (ranges.data.i32[i] == ranges.data.i32[i + 1]) fps = std::max(fps, ranges.data.i32[i]);
    if (fps == 0) GTEST_SKIP() << "no fixed fps range";
    const int64_t targetNs = 1000000000LL / fps;
    StreamConfig video{};
    for (const auto& c : Sizes(HAL_PIXEL_FORMAT_IMPLEMENTATION_DEFINED))
        if (c.minFrameNs <= targetNs) video = c;
    const RuleId rule = LegacyOrExternal() ? RuleId::kFrameRateLegacy : RuleId::kFrameRate;
    if (video.width <= 0) {
        Record({rule, kNoFrame, "no video size reaches " + std::to_string(fps) + " fps"});
        return;
    }
    if (!Configure(
            {{HAL_PIXEL_FORMAT_IMPLEMENTATION_DEFINED, uint32_t(video.width), uint32_t(video.height), kConsumerVideo}}))
        return;
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_VIDEO_RECORD);
    int32_t range[2] = {fps, fps};
    Set(s, ANDROID_CONTROL_AE_TARGET_FPS_RANGE, range, 2);
    // The pipeline fills first: its first frames are not held to the rate.
    const size_t startup = size_t(std::max(1, m_staticInfo->pipelineMaxDepth()));
    Stream(options().frames + int(startup), s.get(), {0});
    Drain();
    const int64_t slack = targetNs * options().rateTolerancePct / 100;
    size_t intervals = 0, outside = 0;
    std::string first;
    for (size_t i = startup + 1; i < m_frames.size(); ++i) {
        if (m_frames[i].errorRequest || m_frames[i - 1].errorRequest) continue;
        ++intervals;
        int64_t interval = int64_t(m_frames[i].shutterNs - m_frames[i - 1].shutterNs);
        if (interval >= targetNs - slack && interval <= targetNs + slack) continue;
        if (outside++ == 0)
            first = "frames " + std::to_string(m_frames[i - 1].frame) + "-" + std::to_string(m_frames[i].frame) +
                    ": interval " + std::to_string(interval / 1000) + " us";
    }
    // A dropped frame now and then is tolerated, as CTS does.
    const size_t budget = std::max<size_t>(1, intervals / 20);
    if (outside > budget)
        Record({rule, kNoFrame,
                std::to_string(outside) + " of " + std::to_string(intervals) + " intervals outside " +
                    std::to_string(targetNs / 1000) + " us +-" + std::to_string(options().rateTolerancePct) +
                    "% (budget " + std::to_string(budget) + "), first " + first});
    m_note = "fps=" + std::to_string(fps) + " outside=" + std::to_string(outside);
}

HAL3_CAMERAS(Preview);
HAL3_CAMERAS(StreamCombinations);
HAL3_CAMERAS(Reconfigure);
HAL3_CAMERAS(Flush);
HAL3_CAMERAS(Recording);

}  // namespace hal3_check

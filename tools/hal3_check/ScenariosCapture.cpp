// Capture: a still after 3A, with the preview repeating as an app keeps it,
// and the sensor's test pattern.
#include "Scenarios.h"

#include <algorithm>
#include <cmath>

namespace hal3_check {

class StillCapture : public CameraScenario {};
TEST_P(StillCapture, After3A) {
    ASSERT_NO_FATAL_FAILURE(Open());
    StreamSpec preview = Largest(HAL_PIXEL_FORMAT_IMPLEMENTATION_DEFINED, kConsumerDisplay, 1920, 1080),
               jpeg = Largest(HAL_PIXEL_FORMAT_BLOB, kConsumerApp);
    if (preview.width == 0 || jpeg.width == 0)
        return Fatal({RuleId::kStaticStreamConfigs, kNoFrame, "no preview or JPEG size"});
    if (!Configure({preview, jpeg})) return;
    // Only the modes the camera lists are asked for: a fixed-focus camera gets
    // no AF trigger and its AF INACTIVE counts as done, as CTS has it.
    const bool af = Lists(ANDROID_CONTROL_AF_AVAILABLE_MODES, kAfModeAuto),
               ae = Lists(ANDROID_CONTROL_AE_AVAILABLE_MODES, kAeModeOn);
    MetadataPtr idle = Settings(CAMERA3_TEMPLATE_PREVIEW);
    if (af) SetU8(idle, ANDROID_CONTROL_AF_MODE, kAfModeAuto);
    MetadataPtr trigger(clone_camera_metadata(idle.get()));
    if (ae) SetU8(trigger, ANDROID_CONTROL_AE_PRECAPTURE_TRIGGER, kAePrecaptureStart);
    if (af) SetU8(trigger, ANDROID_CONTROL_AF_TRIGGER, kAfTriggerStart);
    auto done = [&](const FrameRecord& f) {
        int aeState = GetU8(f.result.get(), ANDROID_CONTROL_AE_STATE, -1);
        int afState = GetU8(f.result.get(), ANDROID_CONTROL_AF_STATE, -1);
        bool aeDone = ae ? aeState == kAeStateConverged || aeState == kAeStateFlashRequired || aeState == kAeStateLocked
                         : aeState == kAeStateInactive;
        bool afDone =
            af ? afState == kAfStateFocusedLocked || afState == kAfStateNotFocusedLocked : afState == kAfStateInactive;
        return aeDone && afDone;
    };
    // The preview repeats, never drained, while the triggers run and 3A
    // converges, within a bound.
    Stream(2, idle.get(), {0}, false);
    Stream(1, trigger.get(), {0}, false);
    const size_t triggered = m_frames.size();
    bool converged = false;
    for (int i = 0; i < 60 && !converged && !HasFailure() && !Lost(); ++i) {
        Stream(1, idle.get(), {0}, false);
        Collect();
        converged =
            std::any_of(m_frames.begin() + ptrdiff_t(std::min(triggered, m_frames.size())), m_frames.end(), done);
    }
    if (!converged)
        Record({RuleId::k3aConverge, kNoFrame,
                std::string(ae ? "AE did not converge" : "AE not INACTIVE") + " or " +
                    (af ? "AF did not lock" : "AF not INACTIVE") + " after the triggers"});
    MetadataPtr still = Settings(CAMERA3_TEMPLATE_STILL_CAPTURE);
    ASSERT_EQ(GetU8(still.get(), ANDROID_CONTROL_CAPTURE_INTENT, -1), CAMERA3_TEMPLATE_STILL_CAPTURE);
    Stream(1, still.get(), {0, 1});
    Stream(2, idle.get(), {0}, false);  // and the preview goes on
    Drain();
    if (m_framesFixture->jpegs() != 1)
        Record({RuleId::kJpegBlob, kNoFrame,
                std::to_string(m_framesFixture->jpegs()) + " JPEG(s) from the still capture"});
}

class TestPattern : public CameraScenario {};
TEST_P(TestPattern, ColorBars) {
    auto modes = Find(m_static, ANDROID_SENSOR_AVAILABLE_TEST_PATTERN_MODES);
    if (std::find(modes.data.i32, modes.data.i32 + modes.count, int32_t(kTestPatternColorBars)) ==
        modes.data.i32 + modes.count)
        GTEST_SKIP() << "COLOR_BARS not in android.sensor.availableTestPatternModes";
    ASSERT_NO_FATAL_FAILURE(Open());
    auto sizes = YuvSizes();
    if (sizes.empty()) return;
    // The bars span the active array; a stream of another aspect shows its
    // centre, cropped left and right when the stream is narrower. The
    // smallest size of the array's aspect is taken where there is one.
    auto active = Find(m_static, ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE);
    const double arrayAspect =
        active.count == 4 && active.data.i32[3] > 0 ? double(active.data.i32[2]) / active.data.i32[3] : 0;
    auto aspect = [](const StreamConfig& c) { return double(c.width) / c.height; };
    StreamConfig c = sizes.back();
    for (const auto& size : sizes)
        if (std::abs(aspect(size) - arrayAspect) < 0.01) c = size;
    const double visible = arrayAspect > 0 ? std::min(1.0, aspect(c) / arrayAspect) : 1;
    if (!Configure({{HAL_PIXEL_FORMAT_YCBCR_420_888, uint32_t(c.width), uint32_t(c.height), kConsumerApp}})) return;
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    const int32_t mode = kTestPatternColorBars;
    Set(s, ANDROID_SENSOR_TEST_PATTERN_MODE, &mode, 1);
    // A setting applies within android.sync.maxLatency frames; when that is
    // unknown, within the pipeline depth.
    int latency = GetI32(m_static, ANDROID_SYNC_MAX_LATENCY, -1);
    if (latency < 0) latency = std::max(1, m_staticInfo->pipelineMaxDepth());
    Stream(latency + 3, s.get(), {0});
    if (!Drain()) return;
    for (size_t i = size_t(latency); i < m_frames.size(); ++i)
        if (GetI32(m_frames[i].result.get(), ANDROID_SENSOR_TEST_PATTERN_MODE, -1) != mode)
            Record({RuleId::kTestPattern, m_frames[i].frame, "the result does not echo the test pattern mode"});
    // Nothing was submitted after the last frame: its buffer still holds its picture.
    const GrallocBuffer* picture = m_framesFixture->lastReturned(0);
    if (picture == nullptr) return Fatal({RuleId::kTestPattern, kNoFrame, "no frame to look at"});
    ReportFailures(CheckColorBars(*picture, (1 - visible) / 2, visible));
}

HAL3_CAMERAS(StillCapture);
HAL3_CAMERAS(TestPattern);

}  // namespace hal3_check

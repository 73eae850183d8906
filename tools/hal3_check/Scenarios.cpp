#include "Scenarios.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <thread>

namespace hal3_check {

std::vector<std::string> CameraIds() {
    std::vector<std::string> ids;
    int n = ModuleConnector::Get().NumberOfCameras();
    for (int i = 0; i < n; ++i)
        if (options().camera.empty() || options().camera == std::to_string(i)) ids.push_back(std::to_string(i));
    return ids;
}

void CameraScenario::SetUp() {
    id_ = GetParam();
    ASSERT_EQ(module_.Info(std::stoi(id_), &info_), 0) << "[rule camera-info] get_camera_info(" << id_ << ") failed";
    static_ = info_.static_camera_characteristics;
    ASSERT_NE(static_, nullptr) << "[rule camera-info] no static metadata";
    partialCount_ = uint32_t(std::max(1, GetI32(static_, ANDROID_REQUEST_PARTIAL_RESULT_COUNT, 1)));
    blobBytes_ = uint32_t(std::max(0, GetI32(static_, ANDROID_JPEG_MAX_SIZE, 0)));
    stallNs_ = int64_t(options().stallMs) * 1000000;
}

void CameraScenario::TearDown() {
    if (device_ != nullptr && device_->device() != nullptr) Close();
    checker_.reset();  // its thread may still use the fixtures' inspector
    std::vector<int64_t> latencies;
    uint32_t errors = 0;
    for (const auto& f : frames_) {
        if (f.errorRequest || f.errorResult) ++errors;
        else latencies.push_back(f.doneNs - f.submitNs);
    }
    std::sort(latencies.begin(), latencies.end());
    auto pct = [&](double p) { return latencies.empty() ? 0.0 : latencies[size_t(p * (latencies.size() - 1))] / 1e6; };
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    char line[512];
    snprintf(line, sizeof line, "hal3_check: camera %s %-22s %s frames=%zu error_frames=%u latency_ms p50=%.1f p99=%.1f%s%s",
             id_.c_str(), test->test_suite_name(), HasFailure() ? "FAIL" : IsSkipped() ? "SKIP" : "PASS",
             frames_.size(), errors, pct(0.5), pct(0.99), note_.empty() ? "" : " ", note_.c_str());
    Report::Get().Summary(line);
}

void CameraScenario::ReportFailures(const std::vector<std::string>& failures) {
    size_t shown = 0;
    for (const auto& f : failures)
        if (shown++ < 20) ADD_FAILURE() << f;
    if (failures.size() > 20) ADD_FAILURE() << failures.size() - 20 << " more failures in " << Report::Get().dir() << "/trace.txt";
}

void CameraScenario::Open() {
    device_ = DeviceConnector::Make();
    ASSERT_EQ(device_->Open(module_, id_), 0) << "[rule open] open(" << id_ << ") failed";
    ASSERT_GE(device_->device()->common.version, uint32_t(CAMERA_DEVICE_API_VERSION_3_2)) << "[rule open] device API below 3.2";
    std::string tag = id_ + " " + ::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name();
    checker_ = std::make_unique<ResultChecker>(partialCount_, stallNs_,
                                               [tag](const std::string& l) { Report::Get().Trace("[" + tag + "] " + l); });
    device_->Attach(checker_.get());
    ASSERT_EQ(device_->Initialize(), 0) << "[rule initialize] initialize failed";
    streams_ = std::make_unique<StreamFixture>(device_);
    std::string prefix = "camera" + id_ + "_" + ::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name();
    std::replace(prefix.begin(), prefix.end(), '/', '_');
    frames_fixture_ = std::make_unique<FrameFixture>(device_, streams_.get(), checker_.get(), stallNs_, prefix);
}

bool CameraScenario::Configure(const std::vector<StreamSpec>& specs) {
    std::vector<std::string> failures;
    int rc = streams_->Configure(specs, blobBytes_, &failures);
    if (rc != 0) failures.push_back("[rule configure] a supported configuration was refused: " + std::to_string(rc));
    ReportFailures(failures);
    frames_fixture_->ResetSettings();
    return rc == 0 && failures.empty();
}

MetadataPtr CameraScenario::Settings(int templateType) {
    const camera_metadata_t* d = device_->DefaultSettings(templateType);
    if (d == nullptr) return MetadataPtr(allocate_camera_metadata(8, 64));
    return MetadataPtr(clone_camera_metadata(d));
}

bool CameraScenario::Stream(int count, const camera_metadata_t* settings, const std::vector<size_t>& streams,
                            bool dumpLast) {
    for (int i = 0; i < count; ++i) {
        uint32_t frame = frames_fixture_->nextFrame();
        if (dumpLast && i == count - 1) frames_fixture_->DumpFrame(frame);
        int rc = frames_fixture_->Submit(settings, streams, &frame);
        if (rc == -ETIMEDOUT) {
            ReportFailures(checker_->TakeFailures());
            ADD_FAILURE() << "[rule result-timeout] no buffer came back to submit frame " << frame;
            return false;
        }
        if (rc != 0) {
            ADD_FAILURE() << "[rule request] frame " << frame << " refused: " << rc;
            return false;
        }
    }
    return true;
}

bool CameraScenario::Drain() {
    bool idle = checker_->WaitIdle();
    if (!idle) {
        std::string table = checker_->InFlightTable();
        fprintf(stderr, "in-flight table at the time-out (camera %s):\n%s", id_.c_str(), table.c_str());
        Report::Get().WriteFile("inflight_" + id_ + ".txt", std::vector<uint8_t>(table.begin(), table.end()));
    }
    ReportFailures(checker_->TakeFailures());
    uint32_t counterTag = module_.FindVendorTag("com.zelkov.sim", "frameCounter");
    for (auto& f : checker_->TakeCompleted()) {
        int64_t drawn = counterTag ? GetI64(f.result.get(), counterTag, -1) : -1;
        if (drawn >= 0 && drawn != int64_t(f.frame))
            ADD_FAILURE() << "[rule stale-frame] frame " << f.frame << ": com.zelkov.sim.frameCounter says " << drawn;
        frames_.push_back(std::move(f));
    }
    return idle;
}

void CameraScenario::Close() {
    int rc = device_->Flush();
    EXPECT_EQ(rc, 0) << "[rule flush] flush failed";
    checker_->Sync();
    size_t left = checker_->InFlight();
    bool stalled = !Drain();
    if (!stalled) {
        EXPECT_EQ(left, 0u) << "[rule flush-drains] " << left << " frame(s) still in flight when flush returned";
    }
    EXPECT_EQ(device_->Close(), 0) << "[rule close] close failed";
    // Give a misbehaving pipeline a few frame times to call back after close.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(device_->lateCallbacks(), 0) << "[rule no-callback-after-close] callbacks after close";
    std::vector<std::string> dumps = frames_fixture_->dumped();
    if (!dumps.empty()) note_ += (note_.empty() || note_.back() == ' ' ? "" : " ") + std::string("dumps=") + std::to_string(dumps.size());
}

std::vector<StreamConfig> CameraScenario::Sizes(int format) const {
    std::vector<StreamConfig> out;
    for (const auto& c : OutputConfigs(static_))
        if (c.format == format) out.push_back(c);
    std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) { return a.width * a.height > b.width * b.height; });
    return out;
}

namespace {

constexpr int kFormatImplementationDefined = 0x22;
constexpr int kFormatYuv420 = 0x23;
constexpr uint8_t kIntent[] = {0, 1, 2, 3, 4, 5, 6};

std::string Name(const ::testing::TestParamInfo<std::string>& p) { return "camera" + p.param; }

}  // namespace

// ---- Module and device level ----

class StaticMetadata : public CameraScenario {};
TEST_P(StaticMetadata, HoldsEveryRequiredKey) {
    ReportFailures(CheckStaticMetadata(static_, info_.facing, info_.orientation));
    EXPECT_GE(info_.device_version, uint32_t(CAMERA_DEVICE_API_VERSION_3_2)) << "[rule camera-info] device API below 3.2";
    EXPECT_GT(partialCount_, 0u);
    note_ = "keys=" + std::to_string(get_camera_metadata_entry_count(static_));
}

class OpenClose : public CameraScenario {};
TEST_P(OpenClose, BadIdsAndSecondOpenFail) {
    hw_device_t* dev = nullptr;
    const hw_module_t* m = &module_.module()->common;
    for (const char* bad : {"-1", "99", "x"})
        EXPECT_NE(m->methods->open(m, bad, &dev), 0) << "[rule open-bad-id] open(\"" << bad << "\") succeeded";
    ASSERT_NO_FATAL_FAILURE(Open());
    DeviceConnector* second = DeviceConnector::Make();
    int rc = second->Open(module_, id_);
    EXPECT_NE(rc, 0) << "[rule open-twice] a second open of camera " << id_ << " succeeded";
    if (rc == 0) second->Close();
    for (int t = CAMERA3_TEMPLATE_PREVIEW; t <= CAMERA3_TEMPLATE_MANUAL; ++t)
        ReportFailures(CheckDefaultSettings(device_->DefaultSettings(t), t));
    EXPECT_EQ(device_->DefaultSettings(0), nullptr) << "[rule default-settings] template 0 gave settings";
    Close();
    ASSERT_NO_FATAL_FAILURE(Open());  // a closed camera opens again
    Close();
}

class InvalidConfiguration : public CameraScenario {};
TEST_P(InvalidConfiguration, IsRefusedWithEinval) {
    ASSERT_NO_FATAL_FAILURE(Open());
    StreamConfig yuv = Sizes(kFormatYuv420).at(0);
    uint32_t w = uint32_t(yuv.width), h = uint32_t(yuv.height);
    const struct {
        const char* what;
        std::vector<StreamSpec> specs;
    } cases[] = {
        {"no streams", {}},
        {"unsupported size", {{kFormatYuv420, w + 2, h + 2, kUsageSwReadOften}}},
        {"zero size", {{kFormatYuv420, 0, 0, kUsageSwReadOften}}},
        {"unsupported format", {{0x7fff, w, h, kUsageSwReadOften}}},
        {"bad rotation", {{kFormatYuv420, w, h, kUsageSwReadOften, 7}}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> failures;
        EXPECT_EQ(streams_->Configure(c.specs, blobBytes_, &failures), -EINVAL) << "[rule configure-invalid] " << c.what;
    }
    camera3_stream_configuration_t none{0, nullptr, 0, nullptr};
    EXPECT_EQ(device_->Configure(&none), -EINVAL) << "[rule configure-invalid] null stream list";
    EXPECT_EQ(device_->device()->ops->configure_streams(device_->device(), nullptr), -EINVAL)
        << "[rule configure-invalid] null configuration";
    // A good configuration still works after the refusals.
    ASSERT_TRUE(Configure({{kFormatYuv420, w, h, kUsageSwReadOften}}));
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    EXPECT_TRUE(Stream(3, s.get(), {0}));
    Drain();
}

// ---- Streaming ----

class Preview : public CameraScenario {};
TEST_P(Preview, EverySize) {
    ASSERT_NO_FATAL_FAILURE(Open());
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    int sizes = 0;
    for (const auto& c : OutputConfigs(static_)) {
        if (c.format == kFormatBlob) continue;
        uint64_t usage = c.format == kFormatImplementationDefined ? kUsageHwComposer : kUsageSwReadOften;
        if (!Configure({{c.format, uint32_t(c.width), uint32_t(c.height), usage}})) continue;
        Report::Get().Trace("preview " + std::to_string(c.width) + "x" + std::to_string(c.height) + " format " +
                            std::to_string(c.format));
        Stream(options().frames, s.get(), {0});
        if (!Drain()) return;
        ++sizes;
    }
    EXPECT_GT(sizes, 0) << "[rule configure] no preview size streamed";
    note_ = "sizes=" + std::to_string(sizes) + " ";
}

class ThreeStreams : public CameraScenario {};
TEST_P(ThreeStreams, PreviewYuvAndJpeg) {
    ASSERT_NO_FATAL_FAILURE(Open());
    auto preview = Sizes(kFormatImplementationDefined), yuv = Sizes(kFormatYuv420), jpeg = Sizes(kFormatBlob);
    ASSERT_FALSE(preview.empty() || yuv.empty() || jpeg.empty());
    const auto& p = preview.back();  // smallest preview, largest YUV and JPEG
    ASSERT_TRUE(Configure({{kFormatImplementationDefined, uint32_t(p.width), uint32_t(p.height), kUsageHwComposer},
                           {kFormatYuv420, uint32_t(yuv[0].width), uint32_t(yuv[0].height), kUsageSwReadOften},
                           {kFormatBlob, uint32_t(jpeg[0].width), uint32_t(jpeg[0].height), kUsageSwReadOften}}));
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    for (int i = 0; i < options().frames; ++i)
        if (!Stream(1, s.get(), i % 5 == 4 ? std::vector<size_t>{0, 1, 2} : std::vector<size_t>{0, 1}, i == options().frames - 1))
            break;
    Drain();
    EXPECT_GT(frames_fixture_->jpegs(), 0u) << "[rule jpeg-blob] no JPEG came back";
}

class Reconfigure : public CameraScenario {};
TEST_P(Reconfigure, Cycles) {
    ASSERT_NO_FATAL_FAILURE(Open());
    auto sizes = Sizes(kFormatYuv420);
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    for (int cycle = 0; cycle < 4; ++cycle) {
        const auto& c = sizes[size_t(cycle) % sizes.size()];
        ASSERT_TRUE(Configure({{kFormatYuv420, uint32_t(c.width), uint32_t(c.height), kUsageSwReadOften}}));
        Stream(std::max(3, options().frames / 4), s.get(), {0});
        ASSERT_TRUE(Drain());
    }
    note_ = "cycles=4";
}

class Flush : public CameraScenario {};
TEST_P(Flush, WithRequestsInFlightAndWithNone) {
    ASSERT_NO_FATAL_FAILURE(Open());
    StreamConfig c = Sizes(kFormatYuv420).back();
    ASSERT_TRUE(Configure({{kFormatYuv420, uint32_t(c.width), uint32_t(c.height), kUsageSwReadOften}}));
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    for (int round = 0; round < 3; ++round) {
        Stream(int(streams_->pool(0).size()), s.get(), {0});
        EXPECT_EQ(device_->Flush(), 0) << "[rule flush] flush failed";
        checker_->Sync();
        EXPECT_EQ(checker_->InFlight(), 0u) << "[rule flush-drains] frames still in flight when flush returned";
        ASSERT_TRUE(Drain());
    }
    EXPECT_EQ(device_->Flush(), 0) << "[rule flush] flush with nothing in flight failed";
    Stream(3, s.get(), {0});  // streaming resumes after a flush
    Drain();
    note_ = "flushed_error_frames=" + std::to_string(checker_->errorFrames());
}

class InvalidRequests : public CameraScenario {};
TEST_P(InvalidRequests, AreRefusedWithEinval) {
    ASSERT_NO_FATAL_FAILURE(Open());
    StreamConfig c = Sizes(kFormatYuv420).back();
    ASSERT_TRUE(Configure({{kFormatYuv420, uint32_t(c.width), uint32_t(c.height), kUsageSwReadOften}}));
    camera3_stream_t stranger = *streams_->stream(0);  // never configured
    buffer_handle_t* h = streams_->pool(0).Acquire(stallNs_);
    ASSERT_NE(h, nullptr);
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    camera3_stream_buffer_t good{streams_->stream(0), h, 0, -1, -1}, foreign{&stranger, h, 0, -1, -1};
    const struct {
        const char* what;
        const camera_metadata_t* settings;
        uint32_t count;
        const camera3_stream_buffer_t* buffers;
    } cases[] = {
        {"first request without settings", nullptr, 1, &good},
        {"no output buffers", s.get(), 0, nullptr},
        {"buffer of an unconfigured stream", s.get(), 1, &foreign},
    };
    for (const auto& r : cases) {
        camera3_capture_request_t request{};
        request.frame_number = 1000;
        request.settings = r.settings;
        request.num_output_buffers = r.count;
        request.output_buffers = r.buffers;
        EXPECT_EQ(device_->Submit(&request), -EINVAL) << "[rule request-invalid] " << r.what;
    }
    streams_->pool(0).Release(h);
    EXPECT_EQ(device_->device()->ops->process_capture_request(device_->device(), nullptr), -EINVAL)
        << "[rule request-invalid] null request";
    EXPECT_TRUE(Stream(3, s.get(), {0}));  // the device still takes good requests
    Drain();
}

class StillCapture : public CameraScenario {};
TEST_P(StillCapture, After3A) {
    ASSERT_NO_FATAL_FAILURE(Open());
    auto preview = Sizes(kFormatImplementationDefined), jpeg = Sizes(kFormatBlob);
    ASSERT_FALSE(preview.empty() || jpeg.empty());
    ASSERT_TRUE(Configure({{kFormatImplementationDefined, uint32_t(preview.back().width), uint32_t(preview.back().height),
                            kUsageHwComposer},
                           {kFormatBlob, uint32_t(jpeg[0].width), uint32_t(jpeg[0].height), kUsageSwReadOften}}));
    MetadataPtr idle = Settings(CAMERA3_TEMPLATE_PREVIEW);
    SetU8(idle, ANDROID_CONTROL_AF_MODE, kAfModeAuto);
    MetadataPtr trigger(clone_camera_metadata(idle.get()));
    SetU8(trigger, ANDROID_CONTROL_AE_PRECAPTURE_TRIGGER, kAePrecaptureStart);
    SetU8(trigger, ANDROID_CONTROL_AF_TRIGGER, kAfTriggerStart);
    Stream(2, idle.get(), {0}, false);
    Stream(1, trigger.get(), {0}, false);
    // Preview on until AE has converged and AF has locked, within a bound.
    bool converged = false;
    for (int i = 0; i < 60 && !converged && !HasFailure(); ++i) {
        Stream(1, idle.get(), {0}, false);
        Drain();
        for (const auto& f : frames_) {
            int ae = GetU8(f.result.get(), ANDROID_CONTROL_AE_STATE, -1), af = GetU8(f.result.get(), ANDROID_CONTROL_AF_STATE, -1);
            converged |= (ae == kAeStateConverged || ae == kAeStateFlashRequired || ae == kAeStateLocked) &&
                         (af == kAfStateFocusedLocked || af == kAfStateNotFocusedLocked);
        }
    }
    EXPECT_TRUE(converged) << "[rule 3a-converge] AE did not converge or AF did not lock after the triggers";
    MetadataPtr still = Settings(CAMERA3_TEMPLATE_STILL_CAPTURE);
    ASSERT_EQ(GetU8(still.get(), ANDROID_CONTROL_CAPTURE_INTENT, -1), kIntent[CAMERA3_TEMPLATE_STILL_CAPTURE]);
    Stream(1, still.get(), {0, 1});
    Drain();
    EXPECT_EQ(frames_fixture_->jpegs(), 1u) << "[rule jpeg-blob] the still capture gave no JPEG";
}

class Recording : public CameraScenario {};
TEST_P(Recording, HoldsItsFrameRate) {
    ASSERT_NO_FATAL_FAILURE(Open());
    // The fastest fixed fps range, and the smallest video size that reaches it
    // (so a host build with sanitizers keeps pace: it is the timing under test).
    auto ranges = Find(static_, ANDROID_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES);
    int32_t fps = 0;
    for (size_t i = 0; i + 1 < ranges.count; i += 2)
        if (ranges.data.i32[i] == ranges.data.i32[i + 1]) fps = std::max(fps, ranges.data.i32[i]);
    if (fps == 0) GTEST_SKIP() << "no fixed fps range";
    const int64_t targetNs = 1000000000LL / fps;
    StreamConfig video{};
    for (const auto& c : Sizes(kFormatImplementationDefined))
        if (c.minFrameNs <= targetNs) video = c;
    ASSERT_GT(video.width, 0) << "[rule frame-rate] no video size reaches " << fps << " fps";
    ASSERT_TRUE(Configure({{kFormatImplementationDefined, uint32_t(video.width), uint32_t(video.height), kUsageHwVideoEncoder}}));
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_VIDEO_RECORD);
    int32_t range[2] = {fps, fps};
    Set(s, ANDROID_CONTROL_AE_TARGET_FPS_RANGE, range, 2);
    Stream(options().frames, s.get(), {0});
    Drain();
    int outside = 0;
    const int64_t slack = targetNs * options().rateTolerancePct / 100;
    for (size_t i = 1; i < frames_.size(); ++i) {
        if (frames_[i].errorRequest || frames_[i - 1].errorRequest) continue;
        int64_t interval = int64_t(frames_[i].shutterNs - frames_[i - 1].shutterNs);
        if (interval >= targetNs - slack && interval <= targetNs + slack) continue;
        ++outside;
        ADD_FAILURE() << "[rule frame-rate] frames " << frames_[i - 1].frame << "-" << frames_[i].frame << ": interval "
                      << interval / 1000 << " us, target " << targetNs / 1000 << " us +-" << options().rateTolerancePct << "%";
    }
    note_ = "fps=" + std::to_string(fps) + " outside=" + std::to_string(outside);
}

class TestPattern : public CameraScenario {};
TEST_P(TestPattern, ColorBars) {
    auto modes = Find(static_, ANDROID_SENSOR_AVAILABLE_TEST_PATTERN_MODES);
    if (std::find(modes.data.i32, modes.data.i32 + modes.count, int32_t(kTestPatternColorBars)) == modes.data.i32 + modes.count)
        GTEST_SKIP() << "COLOR_BARS not in android.sensor.availableTestPatternModes";
    ASSERT_NO_FATAL_FAILURE(Open());
    StreamConfig c = Sizes(kFormatYuv420).back();
    ASSERT_TRUE(Configure({{kFormatYuv420, uint32_t(c.width), uint32_t(c.height), kUsageSwReadOften}}));
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    const int32_t mode = kTestPatternColorBars;
    Set(s, ANDROID_SENSOR_TEST_PATTERN_MODE, &mode, 1);
    Stream(3, s.get(), {0});
    ASSERT_TRUE(Drain());
    for (const auto& f : frames_)
        EXPECT_EQ(GetI32(f.result.get(), ANDROID_SENSOR_TEST_PATTERN_MODE, -1), mode)
            << "[rule test-pattern] frame " << f.frame << ": the result does not echo the test pattern mode";
    // Nothing was submitted after the last frame: its buffer still holds its picture.
    ASSERT_FALSE(frames_.empty() || frames_.back().buffers.empty());
    const GrallocBuffer* picture = streams_->pool(0).Find(frames_.back().buffers[0].handle);
    ASSERT_NE(picture, nullptr);
    ReportFailures(CheckColorBars(*picture));
}

#define HAL3_CAMERAS(suite) INSTANTIATE_TEST_SUITE_P(Camera, suite, ::testing::ValuesIn(CameraIds()), Name)
HAL3_CAMERAS(StaticMetadata);
HAL3_CAMERAS(OpenClose);
HAL3_CAMERAS(InvalidConfiguration);
HAL3_CAMERAS(Preview);
HAL3_CAMERAS(ThreeStreams);
HAL3_CAMERAS(Reconfigure);
HAL3_CAMERAS(Flush);
HAL3_CAMERAS(InvalidRequests);
HAL3_CAMERAS(StillCapture);
HAL3_CAMERAS(Recording);
HAL3_CAMERAS(TestPattern);

}  // namespace hal3_check

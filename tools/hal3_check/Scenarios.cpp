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
    m_id = GetParam();
    std::string tag = m_id + " " + ::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name();
    m_findings = std::make_unique<FindingSink>(
        FindingSink::Hooks{[tag](const std::string& l) { Report::Get().Trace("[" + tag + "] " + l); },
                           [](const Finding& f, bool ends) {
                               if (ends)
                                   [&] { FAIL() << Text(f); }();
                               else
                                   ADD_FAILURE() << Text(f);
                           }});
    FindingSink::SetCurrent(m_findings.get());
    if (m_module.Info(std::stoi(m_id), &m_info) != 0)
        return Fatal({RuleId::kCameraInfo, kNoFrame, "get_camera_info(" + m_id + ") failed"});
    m_static = m_info.static_camera_characteristics;
    if (m_static == nullptr) return Fatal({RuleId::kCameraInfo, kNoFrame, "no static metadata"});
    if (validate_camera_metadata_structure(m_static, nullptr) != 0)
        return Fatal({RuleId::kStaticStructure, kNoFrame, "static metadata is malformed"});
    m_partialCount = uint32_t(std::max(1, GetI32(m_static, ANDROID_REQUEST_PARTIAL_RESULT_COUNT, 1)));
    // Our own core draws the frame number into its pictures and reports it in
    // a vendor tag; only a module that declares that tag among its result keys
    // is held to them.
    uint32_t counter = m_module.FindVendorTag("com.zelkov.sim", "frameCounter");
    auto resultKeys = Find(m_static, ANDROID_REQUEST_AVAILABLE_RESULT_KEYS);
    if (counter != 0 && std::find(resultKeys.data.i32, resultKeys.data.i32 + resultKeys.count, int32_t(counter)) !=
                            resultKeys.data.i32 + resultKeys.count)
        m_frameCounterTag = counter;
    m_blobBytes = uint32_t(std::max(0, GetI32(m_static, ANDROID_JPEG_MAX_SIZE, 0)));
    m_stallNs = int64_t(options().stallMs) * 1000000;
}

void CameraScenario::TearDown() {
    if (m_device != nullptr && m_device->device() != nullptr) Close();
    m_checker.reset();  // its thread may still use the fixtures' inspector
    std::vector<int64_t> latencies;
    uint32_t errors = 0;
    for (const auto& f : m_frames) {
        if (f.errorRequest || f.errorResult || f.errorBuffer)
            ++errors;
        else
            latencies.push_back(f.doneNs - f.submitNs);
    }
    std::sort(latencies.begin(), latencies.end());
    auto pct = [&](double p) { return latencies.empty() ? 0.0 : latencies[size_t(p * (latencies.size() - 1))] / 1e6; };
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    char line[512];
    size_t warnings = m_findings->warnings(), failures = m_findings->failures();
    if (failures > FindingSink::kShownFailures)
        ADD_FAILURE() << failures - FindingSink::kShownFailures << " more failures in " << Report::Get().dir()
                      << "/trace.txt";
    std::string warned = warnings ? " warnings=" + std::to_string(warnings) : "";
    snprintf(line, sizeof line,
             "hal3_check: camera %s %-22s %s frames=%zu error_frames=%u latency_ms p50=%.1f p99=%.1f%s%s%s",
             m_id.c_str(), test->test_suite_name(),
             HasFailure()  ? "FAIL"
             : IsSkipped() ? "SKIP"
                           : "PASS",
             m_frames.size(), errors, pct(0.5), pct(0.99), m_note.empty() ? "" : " ", m_note.c_str(), warned.c_str());
    Report::Get().Summary(line);
    FindingSink::SetCurrent(nullptr);
}

void CameraScenario::ReportFailures(const std::vector<Finding>& findings) {
    for (const auto& f : findings) m_findings->Add(f);
}

void CameraScenario::Open() {
    m_device = DeviceConnector::Make();
    if (m_device->Open(m_module, m_id) != 0) return Fatal({RuleId::kOpen, kNoFrame, "open(" + m_id + ") failed"});
    if (m_device->version() < uint32_t(CAMERA_DEVICE_API_VERSION_3_2))
        return Fatal({RuleId::kDeviceVersion, kNoFrame, "the open device reports an API below 3.2"});
    std::string tag = m_id + " " + ::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name();
    m_checker =
        std::make_unique<ResultChecker>(LimitsOf(StaticInfo(m_static), m_stallNs), *m_findings,
                                        [tag](const std::string& l) { Report::Get().Trace("[" + tag + "] " + l); });
    m_device->Attach(m_checker.get());
    if (m_device->Initialize() != 0) return Fatal({RuleId::kInitialize, kNoFrame, "initialize failed"});
    m_initialized = true;
    m_streams = std::make_unique<StreamFixture>(m_device);
    std::string prefix =
        "camera" + m_id + "_" + ::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name();
    std::replace(prefix.begin(), prefix.end(), '/', '_');
    m_framesFixture = std::make_unique<FrameFixture>(m_device, m_streams.get(), m_checker.get(), m_stallNs, prefix);
    m_framesFixture->DecodeFrameNumbers(m_frameCounterTag != 0);
}

bool CameraScenario::Configure(const std::vector<StreamSpec>& specs) {
    std::vector<Finding> failures;
    int rc = m_streams->Configure(specs, m_blobBytes, &failures);
    if (rc == -ENODEV)
        m_checker->DeviceLost("configure_streams");
    else if (rc != 0)
        failures.push_back(
            {RuleId::kConfigure, kNoFrame, "a supported configuration was refused: " + std::to_string(rc)});
    ReportFailures(failures);
    m_framesFixture->ResetSettings();
    return rc == 0 && failures.empty();
}

MetadataPtr CameraScenario::Settings(int templateType) {
    const camera_metadata_t* d = m_device->DefaultSettings(templateType);
    if (d != nullptr && validate_camera_metadata_structure(d, nullptr) != 0) {
        Record(
            {RuleId::kDefaultSettings, kNoFrame, "template " + std::to_string(templateType) + ": malformed settings"});
        d = nullptr;
    }
    if (d == nullptr) return MetadataPtr(allocate_camera_metadata(8, 64));
    return MetadataPtr(clone_camera_metadata(d));
}

bool CameraScenario::Stream(int count, const camera_metadata_t* settings, const std::vector<size_t>& streams,
                            bool dumpLast) {
    for (int i = 0; i < count; ++i) {
        if (m_checker->deviceError()) return false;  // only close is left
        uint32_t frame = m_framesFixture->nextFrame();
        if (dumpLast && i == count - 1) m_framesFixture->DumpFrame(frame);
        int rc = m_framesFixture->Submit(settings, streams, &frame);
        if (rc == -ETIMEDOUT) {
            m_checker->Sync();
            Record({RuleId::kResultTimeout, frame, "no buffer came back to submit it"});
            return false;
        }
        if (rc == -ENODEV)
            m_checker->DeviceLost("process_capture_request");
        else if (rc != 0)
            Record({RuleId::kRequest, frame, "refused: " + std::to_string(rc)});
        if (rc != 0) return false;
    }
    return true;
}

bool CameraScenario::Drain() {
    bool idle = m_checker->WaitIdle();
    if (!idle) {
        std::string table = m_checker->InFlightTable();
        fprintf(stderr, "in-flight table at the time-out (camera %s):\n%s", m_id.c_str(), table.c_str());
        std::string suite = ::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name();
        Report::Get().WriteFile("inflight_" + m_id + "_" + suite.substr(suite.rfind('/') + 1) + ".txt",
                                std::vector<uint8_t>(table.begin(), table.end()));
    }
    for (auto& f : m_checker->TakeCompleted()) {
        int64_t drawn = m_frameCounterTag ? GetI64(f.result.get(), m_frameCounterTag, -1) : -1;
        if (drawn >= 0 && drawn != int64_t(f.frame))
            Record({RuleId::kStaleFrame, f.frame, "com.zelkov.sim.frameCounter says " + std::to_string(drawn)});
        m_frames.push_back(std::move(f));
    }
    return idle;
}

int CameraScenario::TimedFlush() {
    m_checker->BeginFlush();
    int64_t start = NowNs();
    int rc = m_device->Flush();
    int64_t ms = (NowNs() - start) / 1000000;
    m_checker->EndFlush();
    if (rc == -ENODEV)
        m_checker->DeviceLost("flush");
    else if (rc != 0)
        Record({RuleId::kFlush, kNoFrame, "flush failed: " + std::to_string(rc)});
    if (ms > 1000)
        Record({RuleId::kFlushTime, kNoFrame, "flush took " + std::to_string(ms) + " ms"});
    else if (ms > 100)
        Record({RuleId::kFlushTimeTarget, kNoFrame, "flush took " + std::to_string(ms) + " ms"});
    return rc;
}

void CameraScenario::Close() {
    if (m_checker == nullptr || !m_initialized) {
        // Open stopped short: as the service, only close what was opened.
        if (m_device->Close() != 0) Record({RuleId::kClose, kNoFrame, "close failed"});
        return;
    }
    if (!m_checker->deviceError()) {
        TimedFlush();
        m_checker->Sync();
        size_t left = m_checker->InFlight();
        bool stalled = !Drain();
        if (!stalled && left != 0)
            Record({RuleId::kFlushDrains, kNoFrame,
                    std::to_string(left) + " frame(s) still in flight when flush returned"});
    }
    Drain();  // after a fatal error, what came is still reported
    if (m_device->Close() != 0) Record({RuleId::kClose, kNoFrame, "close failed"});
    // Give a misbehaving pipeline a few frame times to call back after close.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    if (int late = m_device->lateCallbacks())
        Record({RuleId::kNoCallbackAfterClose, kNoFrame, std::to_string(late) + " callback(s) after close"});
    std::vector<std::string> dumps = m_framesFixture->dumped();
    if (!dumps.empty())
        m_note +=
            (m_note.empty() || m_note.back() == ' ' ? "" : " ") + std::string("dumps=") + std::to_string(dumps.size());
}

std::vector<StreamConfig> CameraScenario::YuvSizes() {
    std::vector<StreamConfig> sizes = Sizes(0x23 /* YCbCr_420_888 */);
    if (sizes.empty()) Record({RuleId::kStaticYuv, kNoFrame, "no YUV_420_888 output size"});
    return sizes;
}

std::vector<StreamConfig> CameraScenario::Sizes(int format) const {
    std::vector<StreamConfig> out;
    for (const auto& c : OutputConfigs(m_static))
        if (c.format == format) out.push_back(c);
    std::sort(out.begin(), out.end(),
              [](const auto& a, const auto& b) { return a.width * a.height > b.width * b.height; });
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
    ReportFailures(CheckStaticMetadata(m_static, m_info.facing, m_info.orientation));
    if (m_info.device_version < uint32_t(CAMERA_DEVICE_API_VERSION_3_2))
        Record({RuleId::kDeviceVersion, kNoFrame, "camera_info reports a device API below 3.2"});
    EXPECT_GT(m_partialCount, 0u);
    m_note = "keys=" + std::to_string(get_camera_metadata_entry_count(m_static));
}

class OpenClose : public CameraScenario {};
TEST_P(OpenClose, BadIdsAndSecondOpenFail) {
    for (const char* bad : {"-1", "99", "x"})
        if (m_module.ProbeOpen(bad) == 0)
            Record({RuleId::kOpenBadId, kNoFrame, "open(\"" + std::string(bad) + "\") succeeded"});
    ASSERT_NO_FATAL_FAILURE(Open());
    DeviceConnector* second = DeviceConnector::Make();
    int rc = second->Open(m_module, m_id);
    if (rc == 0) Record({RuleId::kOpenTwice, kNoFrame, "a second open of camera " + m_id + " succeeded"});
    if (rc == 0) second->Close();
    // ZSL is required only with a reprocessing capability and MANUAL only with
    // MANUAL_SENSOR (CameraDevice's template list); without them a null is a refusal.
    const bool zsl =
        HasCapability(m_static, kCapabilityPrivateReprocessing) || HasCapability(m_static, kCapabilityYuvReprocessing);
    const bool manual = HasCapability(m_static, kCapabilityManualSensor);
    for (int t = CAMERA3_TEMPLATE_PREVIEW; t <= CAMERA3_TEMPLATE_MANUAL; ++t) {
        bool required = t == CAMERA3_TEMPLATE_ZERO_SHUTTER_LAG ? zsl : t == CAMERA3_TEMPLATE_MANUAL ? manual : true;
        ReportFailures(CheckDefaultSettings(m_device->DefaultSettings(t), t, required));
    }
    if (m_device->DefaultSettings(0) != nullptr)
        Record({RuleId::kDefaultSettings, kNoFrame, "template 0 gave settings"});
    Close();
    ASSERT_NO_FATAL_FAILURE(Open());  // a closed camera opens again
    Close();
}

class InvalidConfiguration : public CameraScenario {};
TEST_P(InvalidConfiguration, IsRefusedWithEinval) {
    ASSERT_NO_FATAL_FAILURE(Open());
    auto sizes = YuvSizes();
    if (sizes.empty()) return;
    StreamConfig yuv = sizes[0];
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
        std::vector<Finding> failures;
        int rc = m_streams->Configure(c.specs, m_blobBytes, &failures);
        if (rc != -EINVAL)
            Record({RuleId::kConfigureInvalid, kNoFrame, std::string(c.what) + ": " + std::to_string(rc)});
    }
    camera3_stream_configuration_t none{0, nullptr, 0, nullptr};
    if (int rc = m_device->Configure(&none); rc != -EINVAL)
        Record({RuleId::kConfigureInvalid, kNoFrame, "null stream list: " + std::to_string(rc)});
    if (int rc = m_device->Configure(nullptr); rc != -EINVAL)
        Record({RuleId::kConfigureInvalid, kNoFrame, "null configuration: " + std::to_string(rc)});
    // A good configuration still works after the refusals.
    if (!Configure({{kFormatYuv420, w, h, kUsageSwReadOften}})) return;
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
    for (const auto& c : OutputConfigs(m_static)) {
        if (c.format == kFormatBlob) continue;
        uint64_t usage = c.format == kFormatImplementationDefined ? kUsageHwComposer : kUsageSwReadOften;
        if (!Configure({{c.format, uint32_t(c.width), uint32_t(c.height), usage}})) continue;
        Report::Get().Trace("preview " + std::to_string(c.width) + "x" + std::to_string(c.height) + " format " +
                            std::to_string(c.format));
        Stream(options().frames, s.get(), {0});
        if (!Drain()) return;
        ++sizes;
    }
    if (sizes == 0) Record({RuleId::kConfigure, kNoFrame, "no preview size streamed"});
    m_note = "sizes=" + std::to_string(sizes) + " ";
}

class ThreeStreams : public CameraScenario {};
TEST_P(ThreeStreams, PreviewYuvAndJpeg) {
    ASSERT_NO_FATAL_FAILURE(Open());
    auto preview = Sizes(kFormatImplementationDefined), yuv = YuvSizes(), jpeg = Sizes(kFormatBlob);
    if (preview.empty() || yuv.empty() || jpeg.empty())
        return Fatal({RuleId::kStaticStreamConfigs, kNoFrame, "no preview or JPEG size"});
    const auto& p = preview.back();  // smallest preview, largest YUV and JPEG
    if (!Configure({{kFormatImplementationDefined, uint32_t(p.width), uint32_t(p.height), kUsageHwComposer},
                    {kFormatYuv420, uint32_t(yuv[0].width), uint32_t(yuv[0].height), kUsageSwReadOften},
                    {kFormatBlob, uint32_t(jpeg[0].width), uint32_t(jpeg[0].height), kUsageSwReadOften}}))
        return;
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    for (int i = 0; i < options().frames; ++i)
        if (!Stream(1, s.get(), i % 5 == 4 ? std::vector<size_t>{0, 1, 2} : std::vector<size_t>{0, 1},
                    i == options().frames - 1))
            break;
    Drain();
    if (m_framesFixture->jpegs() == 0) Record({RuleId::kJpegBlob, kNoFrame, "no JPEG came back"});
}

class Reconfigure : public CameraScenario {};
TEST_P(Reconfigure, Cycles) {
    ASSERT_NO_FATAL_FAILURE(Open());
    auto sizes = YuvSizes();
    if (sizes.empty()) return;
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    for (int cycle = 0; cycle < 4; ++cycle) {
        const auto& c = sizes[size_t(cycle) % sizes.size()];
        if (!Configure({{kFormatYuv420, uint32_t(c.width), uint32_t(c.height), kUsageSwReadOften}})) return;
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
    if (!Configure({{kFormatYuv420, uint32_t(c.width), uint32_t(c.height), kUsageSwReadOften}})) return;
    if (m_streams->stream(0)->max_buffers < 2) GTEST_SKIP() << "max_buffers is 1: one request in flight at a time";
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    for (int round = 0; round < 3; ++round) {
        if (!Stream(int(m_streams->pool(0).size()), s.get(), {0})) return;
        m_checker->Sync();
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
    m_note = "flushed_error_frames=" + std::to_string(m_checker->errorFrames());
}

class InvalidRequests : public CameraScenario {};
TEST_P(InvalidRequests, AreRefusedWithEinval) {
    ASSERT_NO_FATAL_FAILURE(Open());
    auto sizes = YuvSizes();
    if (sizes.empty()) return;
    StreamConfig c = sizes.back();
    if (!Configure({{kFormatYuv420, uint32_t(c.width), uint32_t(c.height), kUsageSwReadOften}})) return;
    camera3_stream_t stranger = *m_streams->stream(0);  // never configured
    buffer_handle_t* h = m_streams->pool(0).Acquire(m_stallNs);
    ASSERT_NE(h, nullptr);
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    camera3_stream_buffer_t good{m_streams->stream(0), h, 0, -1, -1}, foreign{&stranger, h, 0, -1, -1};
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
        if (int rc = m_device->Submit(&request); rc != -EINVAL)
            Record({RuleId::kRequestInvalid, kNoFrame, std::string(r.what) + ": " + std::to_string(rc)});
    }
    m_streams->pool(0).Release(h);
    if (int rc = m_device->Submit(nullptr); rc != -EINVAL)
        Record({RuleId::kRequestInvalid, kNoFrame, "null request: " + std::to_string(rc)});
    EXPECT_TRUE(Stream(3, s.get(), {0}));  // the device still takes good requests
    Drain();
}

class StillCapture : public CameraScenario {};
TEST_P(StillCapture, After3A) {
    ASSERT_NO_FATAL_FAILURE(Open());
    auto preview = Sizes(kFormatImplementationDefined), jpeg = Sizes(kFormatBlob);
    if (preview.empty() || jpeg.empty())
        return Fatal({RuleId::kStaticStreamConfigs, kNoFrame, "no preview or JPEG size"});
    if (!Configure({{kFormatImplementationDefined, uint32_t(preview.back().width), uint32_t(preview.back().height),
                     kUsageHwComposer},
                    {kFormatBlob, uint32_t(jpeg[0].width), uint32_t(jpeg[0].height), kUsageSwReadOften}}))
        return;
    // Only the modes the camera lists are asked for: a fixed-focus camera gets
    // no AF trigger and its AF INACTIVE counts as done, as CTS has it.
    auto lists = [&](uint32_t tag, uint8_t mode) {
        auto modes = Find(m_static, tag);
        return std::find(modes.data.u8, modes.data.u8 + modes.count, mode) != modes.data.u8 + modes.count;
    };
    const bool af = lists(ANDROID_CONTROL_AF_AVAILABLE_MODES, kAfModeAuto),
               ae = lists(ANDROID_CONTROL_AE_AVAILABLE_MODES, kAeModeOn);
    MetadataPtr idle = Settings(CAMERA3_TEMPLATE_PREVIEW);
    if (af) SetU8(idle, ANDROID_CONTROL_AF_MODE, kAfModeAuto);
    MetadataPtr trigger(clone_camera_metadata(idle.get()));
    if (ae) SetU8(trigger, ANDROID_CONTROL_AE_PRECAPTURE_TRIGGER, kAePrecaptureStart);
    if (af) SetU8(trigger, ANDROID_CONTROL_AF_TRIGGER, kAfTriggerStart);
    Stream(2, idle.get(), {0}, false);
    Stream(1, trigger.get(), {0}, false);
    // Preview on until AE has converged and AF has locked, within a bound.
    bool converged = false;
    for (int i = 0; i < 60 && !converged && !HasFailure(); ++i) {
        Stream(1, idle.get(), {0}, false);
        Drain();
        for (const auto& f : m_frames) {
            int aeState = GetU8(f.result.get(), ANDROID_CONTROL_AE_STATE, -1);
            int afState = GetU8(f.result.get(), ANDROID_CONTROL_AF_STATE, -1);
            bool aeDone =
                ae ? aeState == kAeStateConverged || aeState == kAeStateFlashRequired || aeState == kAeStateLocked
                   : aeState == kAeStateInactive;
            bool afDone = af ? afState == kAfStateFocusedLocked || afState == kAfStateNotFocusedLocked
                             : afState == kAfStateInactive;
            converged |= aeDone && afDone;
        }
    }
    if (!converged)
        Record({RuleId::k3aConverge, kNoFrame,
                std::string(ae ? "AE did not converge" : "AE not INACTIVE") + " or " +
                    (af ? "AF did not lock" : "AF not INACTIVE") + " after the triggers"});
    MetadataPtr still = Settings(CAMERA3_TEMPLATE_STILL_CAPTURE);
    ASSERT_EQ(GetU8(still.get(), ANDROID_CONTROL_CAPTURE_INTENT, -1), kIntent[CAMERA3_TEMPLATE_STILL_CAPTURE]);
    Stream(1, still.get(), {0, 1});
    Drain();
    if (m_framesFixture->jpegs() != 1)
        Record({RuleId::kJpegBlob, kNoFrame,
                std::to_string(m_framesFixture->jpegs()) + " JPEG(s) from the still capture"});
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
    for (const auto& c : Sizes(kFormatImplementationDefined))
        if (c.minFrameNs <= targetNs) video = c;
    if (video.width <= 0)
        return Fatal({RuleId::kFrameRate, kNoFrame, "no video size reaches " + std::to_string(fps) + " fps"});
    if (!Configure(
            {{kFormatImplementationDefined, uint32_t(video.width), uint32_t(video.height), kUsageHwVideoEncoder}}))
        return;
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_VIDEO_RECORD);
    int32_t range[2] = {fps, fps};
    Set(s, ANDROID_CONTROL_AE_TARGET_FPS_RANGE, range, 2);
    Stream(options().frames, s.get(), {0});
    Drain();
    int outside = 0;
    const int64_t slack = targetNs * options().rateTolerancePct / 100;
    for (size_t i = 1; i < m_frames.size(); ++i) {
        if (m_frames[i].errorRequest || m_frames[i - 1].errorRequest) continue;
        int64_t interval = int64_t(m_frames[i].shutterNs - m_frames[i - 1].shutterNs);
        if (interval >= targetNs - slack && interval <= targetNs + slack) continue;
        ++outside;
        Record({RuleId::kFrameRate, kNoFrame,
                "frames " + std::to_string(m_frames[i - 1].frame) + "-" + std::to_string(m_frames[i].frame) +
                    ": interval " + std::to_string(interval / 1000) + " us, target " + std::to_string(targetNs / 1000) +
                    " us +-" + std::to_string(options().rateTolerancePct) + "%"});
    }
    m_note = "fps=" + std::to_string(fps) + " outside=" + std::to_string(outside);
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
    StreamConfig c = sizes.back();
    if (!Configure({{kFormatYuv420, uint32_t(c.width), uint32_t(c.height), kUsageSwReadOften}})) return;
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    const int32_t mode = kTestPatternColorBars;
    Set(s, ANDROID_SENSOR_TEST_PATTERN_MODE, &mode, 1);
    Stream(3, s.get(), {0});
    if (!Drain()) return;
    for (const auto& f : m_frames)
        if (GetI32(f.result.get(), ANDROID_SENSOR_TEST_PATTERN_MODE, -1) != mode)
            Record({RuleId::kTestPattern, f.frame, "the result does not echo the test pattern mode"});
    // Nothing was submitted after the last frame: its buffer still holds its picture.
    if (m_frames.empty() || m_frames.back().buffers.empty())
        return Fatal({RuleId::kTestPattern, kNoFrame, "no frame to look at"});
    const GrallocBuffer* picture = m_streams->pool(0).Find(m_frames.back().buffers[0].handle);
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

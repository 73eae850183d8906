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
    m_staticInfo = std::make_unique<StaticInfo>(m_static);
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
    m_version = m_device->version();
    const camera3_device_ops_t* ops = m_device->device()->ops;
    if (ops->dump == nullptr) Record({RuleId::kDeviceOps, kNoFrame, "dump is NULL"});
    if (ops->register_stream_buffers != nullptr)
        Record({RuleId::kDeviceOps, kNoFrame, "register_stream_buffers is set (NULL from device API 3.2)"});
    if (ops->get_metadata_vendor_tag_ops != nullptr)
        Record({RuleId::kDeviceOps, kNoFrame, "get_metadata_vendor_tag_ops is set (NULL from device API 3.2)"});
    std::string tag = m_id + " " + ::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name();
    m_checker =
        std::make_unique<ResultChecker>(LimitsOf(*m_staticInfo, m_stallNs), *m_findings,
                                        [tag](const std::string& l) { Report::Get().Trace("[" + tag + "] " + l); });
    m_device->Attach(m_checker.get());
    if (m_device->Initialize() != 0) return Fatal({RuleId::kInitialize, kNoFrame, "initialize failed"});
    m_initialized = true;
    m_streams = std::make_unique<StreamFixture>(m_device);
    m_streams->ReadEveryStream(m_frameCounterTag != 0);
    std::string prefix =
        "camera" + m_id + "_" + ::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name();
    std::replace(prefix.begin(), prefix.end(), '/', '_');
    m_framesFixture = std::make_unique<FrameFixture>(m_device, m_streams.get(), m_checker.get(), m_stallNs, prefix);
    m_framesFixture->DecodeFrameNumbers(m_frameCounterTag != 0);
}

bool CameraScenario::Configure(const std::vector<StreamSpec>& requested) {
    std::vector<Finding> failures;
    int rc = m_streams->Configure(requested, m_blobBytes, &failures);
    if (rc == -ENODEV)
        m_checker->DeviceLost("configure_streams");
    else if (rc != 0)
        failures.push_back(
            {RuleId::kConfigure, kNoFrame, "a supported configuration was refused: " + std::to_string(rc)});
    ReportFailures(failures);
    m_framesFixture->ResetSettings();
    // A should-finding (a usage heuristic, a changed size) leaves the streams usable.
    return rc == 0 &&
           std::none_of(failures.begin(), failures.end(), [](const Finding& f) { return LevelOf(f) == Level::kMust; });
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
                            bool dumpLast, int64_t fenceHoldNs) {
    for (int i = 0; i < count; ++i) {
        if (Lost()) return false;
        uint32_t frame = m_framesFixture->nextFrame();
        if (dumpLast && i == count - 1) m_framesFixture->DumpFrame(frame);
        int rc = m_framesFixture->Submit(settings, streams, &frame, fenceHoldNs);
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
    Collect();
    return idle;
}

void CameraScenario::Collect() {
    for (auto& f : m_checker->TakeCompleted()) {
        int64_t drawn = m_frameCounterTag ? GetI64(f.result.get(), m_frameCounterTag, -1) : -1;
        if (drawn >= 0 && drawn != int64_t(f.frame))
            Record({RuleId::kStaleFrame, f.frame, "com.zelkov.sim.frameCounter says " + std::to_string(drawn)});
        m_frames.push_back(std::move(f));
    }
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
    ReportFailures(m_framesFixture->LeakedFences());
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
    std::vector<StreamConfig> sizes = Sizes(HAL_PIXEL_FORMAT_YCBCR_420_888);
    if (sizes.empty()) Record({RuleId::kStaticYuv, kNoFrame, "no YUV_420_888 output size"});
    return sizes;
}

std::string CameraName(const ::testing::TestParamInfo<std::string>& p) { return "camera" + p.param; }

StreamSpec CameraScenario::Largest(int format, uint64_t consumer, uint32_t maxWidth, uint32_t maxHeight) const {
    for (const auto& c : Sizes(format))
        if ((maxWidth == 0 || uint32_t(c.width) <= maxWidth) && (maxHeight == 0 || uint32_t(c.height) <= maxHeight))
            return {format, uint32_t(c.width), uint32_t(c.height), consumer};
    return {format, 0, 0, consumer};
}

bool CameraScenario::LegacyOrExternal() const {
    const int level = m_staticInfo->hardwareLevel();
    return level < 0 || level == ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_LEGACY ||
           level == ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_EXTERNAL;
}

bool CameraScenario::Lists(uint32_t tag, uint8_t value) const {
    auto e = Find(m_static, tag);
    return std::find(e.data.u8, e.data.u8 + e.count, value) != e.data.u8 + e.count;
}

std::vector<std::vector<StreamSpec>> CameraScenario::MandatoryCombinations() const {
    // Sizes as MandatoryStreamCombination names them; RECORD (the largest
    // camcorder size) is taken as PREVIEW: a guarantee "up to" a size holds
    // below it too.
    enum Size { kVga, kPreview, kMaximum };
    constexpr int P = HAL_PIXEL_FORMAT_IMPLEMENTATION_DEFINED, Y = HAL_PIXEL_FORMAT_YCBCR_420_888,
                  J = HAL_PIXEL_FORMAT_BLOB;
    struct Stream {
        int format;
        Size size;
    };
    using Table = std::vector<std::vector<Stream>>;
    static const Table kLegacy = {{{P, kMaximum}},
                                  {{J, kMaximum}},
                                  {{Y, kMaximum}},
                                  {{P, kPreview}, {J, kMaximum}},
                                  {{Y, kPreview}, {J, kMaximum}},
                                  {{P, kPreview}, {P, kPreview}},
                                  {{P, kPreview}, {Y, kPreview}},
                                  {{P, kPreview}, {Y, kPreview}, {J, kMaximum}}};
    static const Table kLimited = {{{P, kPreview}, {P, kPreview}},  // PRIV / YUV preview + RECORD
                                   {{P, kPreview}, {Y, kPreview}},
                                   {{Y, kPreview}, {Y, kPreview}},
                                   {{P, kPreview}, {P, kPreview}, {J, kPreview}},
                                   {{P, kPreview}, {Y, kPreview}, {J, kPreview}},
                                   {{Y, kPreview}, {Y, kPreview}, {J, kMaximum}}};
    static const Table kFull = {{{P, kMaximum}, {P, kMaximum}},
                                {{P, kMaximum}, {Y, kMaximum}},
                                {{Y, kMaximum}, {Y, kMaximum}},
                                {{P, kPreview}, {P, kPreview}, {J, kMaximum}},
                                {{Y, kVga}, {P, kPreview}, {Y, kMaximum}},
                                {{Y, kVga}, {Y, kPreview}, {Y, kMaximum}}};
    const int level = m_staticInfo->hardwareLevel();
    std::vector<const Table*> tables = {&kLegacy};
    if (!LegacyOrExternal()) tables.push_back(&kLimited);
    if (level == ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_FULL || level == ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_3)
        tables.push_back(&kFull);
    std::vector<std::vector<StreamSpec>> out;
    for (const Table* table : tables)
        for (const auto& combination : *table) {
            std::vector<StreamSpec> requested;
            int privs = 0;
            for (const Stream& s : combination) {
                // The consumer an app would give: display and GPU for PRIV, ImageReader for YUV and JPEG.
                uint64_t consumer = s.format != P ? kConsumerApp : privs++ == 0 ? kConsumerDisplay : kConsumerVideo;
                StreamSpec stream = s.size == kVga       ? Largest(s.format, consumer, 640, 480)
                                    : s.size == kPreview ? Largest(s.format, consumer, 1920, 1080)
                                                         : Largest(s.format, consumer);
                if (stream.width == 0) break;  // nothing that small: the combination does not apply
                requested.push_back(stream);
            }
            auto same = [&](const std::vector<StreamSpec>& o) {
                return std::equal(o.begin(), o.end(), requested.begin(), requested.end(),
                                  [](const auto& a, const auto& b) {
                                      return a.format == b.format && a.width == b.width && a.height == b.height &&
                                             a.consumerUsage == b.consumerUsage;
                                  });
            };
            // RECORD taken as PREVIEW makes some combinations of a higher level repeat a lower one's.
            if (requested.size() == combination.size() && std::none_of(out.begin(), out.end(), same))
                out.push_back(requested);
        }
    return out;
}

}  // namespace hal3_check

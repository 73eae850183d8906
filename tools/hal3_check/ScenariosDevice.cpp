// Module and device level: static metadata, open and close, templates, and
// the robustness probes (requests and configurations the camera service never
// sends; the checker's bookkeeping survives a module that takes one).
#include "Scenarios.h"

#include <algorithm>
#include <cerrno>

namespace hal3_check {

class StaticMetadata : public CameraScenario {};
TEST_P(StaticMetadata, HoldsEveryRequiredKey) {
    ReportFailures(CheckStaticMetadata(m_static, m_info.facing, m_info.orientation));
    if (m_info.device_version < uint32_t(CAMERA_DEVICE_API_VERSION_3_2))
        Record({RuleId::kDeviceVersion, kNoFrame, "camera_info reports a device API below 3.2"});
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
    // CameraDevice's template list: without BACKWARD_COMPATIBLE only PREVIEW;
    // VIDEO_SNAPSHOT not on LEGACY; ZSL only with a reprocessing capability
    // and MANUAL only with MANUAL_SENSOR. A template not required may be null.
    const bool compatible = HasCapability(m_static, kCapabilityBackwardCompatible);
    const bool zsl =
        HasCapability(m_static, kCapabilityPrivateReprocessing) || HasCapability(m_static, kCapabilityYuvReprocessing);
    const bool manual = HasCapability(m_static, kCapabilityManualSensor);
    const int level = m_staticInfo->hardwareLevel();
    auto keys = Find(m_static, ANDROID_REQUEST_AVAILABLE_REQUEST_KEYS);
    for (int t = CAMERA3_TEMPLATE_PREVIEW; t <= CAMERA3_TEMPLATE_MANUAL; ++t) {
        bool required = t == CAMERA3_TEMPLATE_PREVIEW ||
                        (compatible &&
                         (t == CAMERA3_TEMPLATE_ZERO_SHUTTER_LAG ? zsl
                          : t == CAMERA3_TEMPLATE_MANUAL         ? manual
                          : t == CAMERA3_TEMPLATE_VIDEO_SNAPSHOT ? level != ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_LEGACY
                                                                 : true));
        const camera_metadata_t* settings = m_device->DefaultSettings(t);
        ReportFailures(CheckDefaultSettings(settings, t, required));
        if (!required || settings == nullptr || validate_camera_metadata_structure(settings, nullptr) != 0) continue;
        for (size_t i = 0; i < keys.count; ++i)
            if (!Has(settings, uint32_t(keys.data.i32[i])))
                Record({RuleId::kTemplateKeys, kNoFrame,
                        "template " + std::to_string(t) + " lacks " + TagName(uint32_t(keys.data.i32[i])) +
                            ", listed in android.request.availableRequestKeys"});
    }
    Close();
    ASSERT_NO_FATAL_FAILURE(Open());  // a closed camera opens again
    Close();
}

class InvalidConfiguration : public CameraScenario {};
TEST_P(InvalidConfiguration, IsRefusedWithEinval) {
    ASSERT_NO_FATAL_FAILURE(Open());
    auto sizes = YuvSizes();
    if (sizes.empty()) return;
    constexpr int kYuv = HAL_PIXEL_FORMAT_YCBCR_420_888;
    uint32_t w = uint32_t(sizes[0].width), h = uint32_t(sizes[0].height);
    struct Case {
        const char* what;
        std::vector<StreamSpec> requested;
    };
    std::vector<Case> cases = {
        {"no streams", {}},
        {"unsupported size", {{kYuv, w + 2, h + 2, kConsumerApp}}},
        {"zero size", {{kYuv, 0, 0, kConsumerApp}}},
        {"unsupported format", {{0x7fff, w, h, kConsumerApp}}},
    };
    // Rotation came with device API 3.3: a 3.2 device never sees the field set.
    if (m_version >= CAMERA_DEVICE_API_VERSION_3_3) cases.push_back({"bad rotation", {{kYuv, w, h, kConsumerApp, 7}}});
    auto probe = [&](const Case& c) {
        std::vector<Finding> ignored;  // of a configuration taken against the rule
        int rc = m_streams->Configure(c.requested, m_blobBytes, &ignored);
        if (rc == -ENODEV) m_checker->DeviceLost("configure_streams");
        if (rc != -EINVAL && rc != -ENODEV)
            Record({RuleId::kConfigureInvalid, kNoFrame, std::string(c.what) + ": " + std::to_string(rc)});
        return rc != -ENODEV;
    };
    for (const auto& c : cases)
        if (!probe(c)) return;
    camera3_stream_configuration_t none{0, nullptr, 0, nullptr};
    if (int rc = m_device->Configure(&none); rc != -EINVAL)
        Record({RuleId::kConfigureInvalid, kNoFrame, "null stream list: " + std::to_string(rc)});
    if (int rc = m_device->Configure(nullptr); rc != -EINVAL)
        Record({RuleId::kConfigureInvalid, kNoFrame, "null configuration: " + std::to_string(rc)});
    // A good configuration still works after the refusals; after one more
    // refusal its streams stay valid through close.
    if (!Configure({{kYuv, w, h, kConsumerApp}})) return;
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    EXPECT_TRUE(Stream(3, s.get(), {0}));
    if (Drain()) probe(cases[1]);
}

class InvalidRequests : public CameraScenario {};
TEST_P(InvalidRequests, AreRefusedWithEinval) {
    ASSERT_NO_FATAL_FAILURE(Open());
    auto sizes = YuvSizes();
    if (sizes.empty()) return;
    if (!Configure({{HAL_PIXEL_FORMAT_YCBCR_420_888, uint32_t(sizes.back().width), uint32_t(sizes.back().height),
                     kConsumerApp}}))
        return;
    MetadataPtr s = Settings(CAMERA3_TEMPLATE_PREVIEW);
    camera3_stream_t* unconfigured = m_streams->Unconfigured(0);  // a fresh record: no priv of the device's
    const struct {
        const char* what;
        const camera_metadata_t* settings;
        camera3_stream_t* stream;
    } cases[] = {
        {"first request without settings", nullptr, m_streams->stream(0)},
        {"no output buffers", s.get(), nullptr},
        {"buffer of an unconfigured stream", s.get(), unconfigured},
    };
    for (const auto& r : cases) {
        camera3_stream_buffer_t buffer{r.stream, nullptr, CAMERA3_BUFFER_STATUS_OK, -1, -1};
        if (r.stream != nullptr && (buffer.buffer = m_streams->pool(0).Acquire(m_stallNs)) == nullptr) break;
        camera3_capture_request_t request{};
        request.settings = r.settings;
        request.num_output_buffers = r.stream != nullptr ? 1 : 0;
        request.output_buffers = r.stream != nullptr ? &buffer : nullptr;
        int rc = m_framesFixture->SubmitProbe(&request);  // taken, it is a frame like any other
        if (rc == -ENODEV) return m_checker->DeviceLost("process_capture_request");
        if (rc != -EINVAL)
            Record({RuleId::kRequestInvalid, request.frame_number, std::string(r.what) + ": " + std::to_string(rc)});
    }
    if (int rc = m_device->Submit(nullptr); rc != -EINVAL)
        Record({RuleId::kRequestInvalid, kNoFrame, "null request: " + std::to_string(rc)});
    EXPECT_TRUE(Stream(3, s.get(), {0}));  // the device still takes good requests
    Drain();
}

HAL3_CAMERAS(StaticMetadata);
HAL3_CAMERAS(OpenClose);
HAL3_CAMERAS(InvalidConfiguration);
HAL3_CAMERAS(InvalidRequests);

}  // namespace hal3_check

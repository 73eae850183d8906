#ifndef HAL3_CHECK_METADATA_H
#define HAL3_CHECK_METADATA_H
// Small helpers over the platform's packed camera metadata, and the checks a
// camera service applies to static metadata and to default request settings.

#include "Finding.h"

#include <system/camera_metadata.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace hal3_check {

struct MetadataDeleter {
    void operator()(camera_metadata_t* m) const { free_camera_metadata(m); }
};
using MetadataPtr = std::unique_ptr<camera_metadata_t, MetadataDeleter>;

// Short names of the standard enum values the scenarios use.
enum : uint8_t {
    kAeModeOff = ANDROID_CONTROL_AE_MODE_OFF,
    kAeModeOn = ANDROID_CONTROL_AE_MODE_ON,
    kAePrecaptureIdle = ANDROID_CONTROL_AE_PRECAPTURE_TRIGGER_IDLE,
    kAePrecaptureStart = ANDROID_CONTROL_AE_PRECAPTURE_TRIGGER_START,
    kAfTriggerIdle = ANDROID_CONTROL_AF_TRIGGER_IDLE,
    kAfTriggerStart = ANDROID_CONTROL_AF_TRIGGER_START,
    kAfModeAuto = ANDROID_CONTROL_AF_MODE_AUTO,
    kAeStateInactive = ANDROID_CONTROL_AE_STATE_INACTIVE,
    kAeStateConverged = ANDROID_CONTROL_AE_STATE_CONVERGED,
    kAeStateFlashRequired = ANDROID_CONTROL_AE_STATE_FLASH_REQUIRED,
    kAeStateLocked = ANDROID_CONTROL_AE_STATE_LOCKED,
    kAfStateInactive = ANDROID_CONTROL_AF_STATE_INACTIVE,
    kAfStateFocusedLocked = ANDROID_CONTROL_AF_STATE_FOCUSED_LOCKED,
    kAfStateNotFocusedLocked = ANDROID_CONTROL_AF_STATE_NOT_FOCUSED_LOCKED,
    kCapabilityBackwardCompatible = ANDROID_REQUEST_AVAILABLE_CAPABILITIES_BACKWARD_COMPATIBLE,
    kCapabilityManualSensor = ANDROID_REQUEST_AVAILABLE_CAPABILITIES_MANUAL_SENSOR,
    kCapabilityPrivateReprocessing = ANDROID_REQUEST_AVAILABLE_CAPABILITIES_PRIVATE_REPROCESSING,
    kCapabilityYuvReprocessing = ANDROID_REQUEST_AVAILABLE_CAPABILITIES_YUV_REPROCESSING,
    kTestPatternOff = ANDROID_SENSOR_TEST_PATTERN_MODE_OFF,
    kTestPatternColorBars = ANDROID_SENSOR_TEST_PATTERN_MODE_COLOR_BARS,
};
constexpr int32_t kStreamOutput = ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS_OUTPUT;

// Entry of `tag`, or count 0 when missing.
camera_metadata_ro_entry_t Find(const camera_metadata_t* m, uint32_t tag);
bool Has(const camera_metadata_t* m, uint32_t tag);
int64_t GetI64(const camera_metadata_t* m, uint32_t tag, int64_t fallback);
int32_t GetI32(const camera_metadata_t* m, uint32_t tag, int32_t fallback);
int GetU8(const camera_metadata_t* m, uint32_t tag, int fallback);
std::string TagName(uint32_t tag);
std::vector<uint32_t> Tags(const camera_metadata_t* m);

// Adds or replaces one entry (the buffer grows as needed).
void Set(MetadataPtr& m, uint32_t tag, const void* data, size_t count);
void SetU8(MetadataPtr& m, uint32_t tag, uint8_t v);

// One output configuration of android.scaler.availableStreamConfigurations,
// with its durations from the min-frame and stall tables (-1: not listed; a
// stall not listed is 0, as StreamConfigurationMap has it).
struct StreamConfig {
    int32_t format, width, height;
    int64_t minFrameNs, stallNs;
};
std::vector<StreamConfig> OutputConfigs(const camera_metadata_t* staticInfo);

// One camera's static metadata, read once for the checks and the scenarios.
class StaticInfo {
public:
    explicit StaticInfo(const camera_metadata_t* staticInfo);
    const camera_metadata_t* raw() const { return m_raw; }
    uint32_t partialCount() const { return m_partialCount; }     // at least 1
    int pipelineMaxDepth() const { return m_pipelineMaxDepth; }  // 0 when not given
    int hardwareLevel() const { return m_hardwareLevel; }  // ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_*, -1 when not given
    const std::set<uint32_t>& resultKeys() const { return m_resultKeys; }
    const std::vector<StreamConfig>& outputs() const { return m_outputs; }
    // The outputs of `format`, largest first.
    std::vector<StreamConfig> Outputs(int32_t format) const;
    // The longest min frame duration plus the longest stall of any output.
    int64_t longestFrameAndStallNs() const;

private:
    const camera_metadata_t* m_raw;
    uint32_t m_partialCount;
    int m_pipelineMaxDepth, m_hardwareLevel;
    std::set<uint32_t> m_resultKeys;
    std::vector<StreamConfig> m_outputs;
};

// Findings of the static metadata of one camera.
std::vector<Finding> CheckStaticMetadata(const camera_metadata_t* staticInfo, int facing, int orientation);
// Failures of the default settings of one template; an optional template
// (one whose capability the camera lacks) may answer null.
std::vector<Finding> CheckDefaultSettings(const camera_metadata_t* settings, int templateType, bool required);
// Whether android.request.availableCapabilities lists `capability`.
bool HasCapability(const camera_metadata_t* staticInfo, uint8_t capability);

}  // namespace hal3_check

#endif  // HAL3_CHECK_METADATA_H

#ifndef HAL3_CHECK_METADATA_H
#define HAL3_CHECK_METADATA_H
// Small helpers over the platform's packed camera metadata, and the checks a
// camera service applies to static metadata and to default request settings.

#include "Finding.h"

#include <system/camera_metadata.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace hal3_check {

struct MetadataDeleter {
    void operator()(camera_metadata_t* m) const { free_camera_metadata(m); }
};
using MetadataPtr = std::unique_ptr<camera_metadata_t, MetadataDeleter>;

// Values of the standard enums this tool needs (the tag tables carry no enum values).
enum : uint8_t {
    kAeModeOff = 0,
    kAeModeOn = 1,
    kAePrecaptureIdle = 0,
    kAePrecaptureStart = 1,
    kAfTriggerIdle = 0,
    kAfTriggerStart = 1,
    kAfModeAuto = 1,
    kAeStateInactive = 0,
    kAeStateConverged = 2,
    kAeStateFlashRequired = 4,
    kAeStateLocked = 3,
    kAfStateInactive = 0,
    kAfStateFocusedLocked = 4,
    kAfStateNotFocusedLocked = 5,
    kCapabilityBackwardCompatible = 0,
    kCapabilityManualSensor = 1,
    kCapabilityPrivateReprocessing = 4,
    kCapabilityYuvReprocessing = 7,
    kTestPatternOff = 0,
    kTestPatternColorBars = 2,
};
constexpr int32_t kStreamOutput = 0;  // direction in the stream configuration table

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
// with its durations from the min-frame and stall tables.
struct StreamConfig {
    int32_t format, width, height;
    int64_t minFrameNs, stallNs;
};
std::vector<StreamConfig> OutputConfigs(const camera_metadata_t* staticInfo);

// Findings of the static metadata of one camera.
std::vector<Finding> CheckStaticMetadata(const camera_metadata_t* staticInfo, int facing, int orientation);
// Failures of the default settings of one template; an optional template
// (one whose capability the camera lacks) may answer null.
std::vector<Finding> CheckDefaultSettings(const camera_metadata_t* settings, int templateType, bool required);
// Whether android.request.availableCapabilities lists `capability`.
bool HasCapability(const camera_metadata_t* staticInfo, uint8_t capability);

}  // namespace hal3_check

#endif  // HAL3_CHECK_METADATA_H

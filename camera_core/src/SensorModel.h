// The simulated sensor and lens: the fixed optics every camera shares, and the
// limits within which AE, or a manual request, sets exposure and gain.
#ifndef ZELKOV_CAMERA_CORE_SENSOR_MODEL_H
#define ZELKOV_CAMERA_CORE_SENSOR_MODEL_H

#include <cstdint>

namespace camera_core {
namespace sensor {

constexpr int64_t kMinExposureNs = 100000;
constexpr int32_t kMinSensitivity = 100;
constexpr int32_t kMaxSensitivity = 1600;
constexpr float kPhysicalSizeMm[2] = {5.6f, 4.2f};
constexpr float kFocalLengthMm = 4.38f;
constexpr float kAperture = 2.0f;  // f-number, fixed
constexpr float kFilterDensity = 0.0f;
constexpr float kMinimumFocusDistance = 10.0f;  // diopters
constexpr float kHyperfocalDistance = 0.2f;     // diopters (approximately calibrated)
// Rows are read out over this share of the shortest frame duration.
constexpr int64_t kReadoutPercent = 90;

}  // namespace sensor
}  // namespace camera_core

#endif

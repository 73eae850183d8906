// The static characteristics of one camera, built from its configuration.
#ifndef ZELKOV_CAMERA_CORE_STATIC_METADATA_H
#define ZELKOV_CAMERA_CORE_STATIC_METADATA_H

#include <cstdint>
#include <vector>

#include "Config.h"
#include "Metadata.h"

namespace camera_core {

Metadata BuildCharacteristics(const CameraConfig& camera);

// android.request.availableCapabilities: BACKWARD_COMPATIBLE and MANUAL_SENSOR
// (exposure, gain and frame duration follow the request when AE is off).
std::vector<uint8_t> Capabilities(const CameraConfig& camera);

// The longest frame duration the sensor runs at (android.sensor.info.maxFrameDuration).
int64_t MaxFrameDuration(const CameraConfig& camera);

// Bytes of the largest JPEG a BLOB buffer holds, trailer included.
int32_t JpegMaxSize(const CameraConfig& camera);

}  // namespace camera_core

#endif

// How long a frame takes: never shorter than its slowest stream allows (a
// stalling stream adds its stall); under AE, the target range's highest rate;
// under manual exposure, the requested frame duration, long enough for the
// requested exposure and no longer than the sensor's longest frame.
#ifndef ZELKOV_CAMERA_CORE_FRAME_TIMING_H
#define ZELKOV_CAMERA_CORE_FRAME_TIMING_H

#include <cstdint>
#include <vector>

#include "Config.h"
#include "Metadata.h"

namespace camera_core {

int64_t ChooseFrameDuration(const CameraConfig& camera, const Metadata& settings,
                            const std::vector<const StreamConfig*>& streams);

}  // namespace camera_core

#endif

// Default request settings per capture template.
#ifndef ZELKOV_CAMERA_CORE_REQUEST_TEMPLATES_H
#define ZELKOV_CAMERA_CORE_REQUEST_TEMPLATES_H

#include "Config.h"
#include "Metadata.h"

namespace camera_core {

// True for the templates the camera's capabilities allow: preview, still,
// video and video snapshot always; zero shutter lag only with reprocessing,
// manual only with MANUAL_SENSOR.
bool IsSupportedTemplate(const CameraConfig& camera, int type);

// The settings of one template; the caller checks IsSupportedTemplate first.
Metadata BuildDefaultSettings(const CameraConfig& camera, int type);

}  // namespace camera_core

#endif

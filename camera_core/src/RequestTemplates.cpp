#include "RequestTemplates.h"

#include <algorithm>

#include <android/constants/CameraConstants.h>

#include "MetadataTags.h"
#include "SensorModel.h"
#include "StaticMetadata.h"

namespace camera_core {
namespace {

// The capture intent values equal the template numbers (preview 1 ... manual 6).
uint8_t CaptureIntent(int type) { return static_cast<uint8_t>(type); }

uint8_t AfMode(int type) {
    if (type == zelkov::GET_CAMERA3_TEMPLATE_MANUAL()) return value::kAfModeOff;
    if (type == zelkov::GET_CAMERA3_TEMPLATE_VIDEO_RECORD() || type == zelkov::GET_CAMERA3_TEMPLATE_VIDEO_SNAPSHOT()) {
        return value::kAfModeContinuousVideo;
    }
    return value::kAfModeContinuousPicture;
}

// Video wants a fixed rate: the fastest range whose minimum equals its
// maximum; the others the widest range that reaches the fastest rate.
void TargetFpsRange(const CameraConfig& camera, bool video, int32_t range[2]) {
    range[0] = camera.fpsRanges[0];
    range[1] = camera.fpsRanges[1];
    for (size_t i = 0; i + 1 < camera.fpsRanges.size(); i += 2) {
        const int32_t low = camera.fpsRanges[i];
        const int32_t high = camera.fpsRanges[i + 1];
        const bool fixed = low == high;
        const bool better = video ? (fixed && (range[0] != range[1] || high > range[1]))
                                  : (high > range[1] || (high == range[1] && low < range[0]));
        if (better) {
            range[0] = low;
            range[1] = high;
        }
    }
}

}  // namespace

bool IsSupportedTemplate(const CameraConfig& camera, int type) {
    const std::vector<uint8_t> capabilities = Capabilities(camera);
    const auto has = [&capabilities](uint8_t capability) {
        return std::find(capabilities.begin(), capabilities.end(), capability) != capabilities.end();
    };
    if (type == zelkov::GET_CAMERA3_TEMPLATE_ZERO_SHUTTER_LAG()) {
        return has(value::kCapabilityPrivateReprocessing) || has(value::kCapabilityYuvReprocessing);
    }
    if (type == zelkov::GET_CAMERA3_TEMPLATE_MANUAL()) return has(value::kCapabilityManualSensor);
    return type >= zelkov::GET_CAMERA3_TEMPLATE_PREVIEW() && type <= zelkov::GET_CAMERA3_TEMPLATE_VIDEO_SNAPSHOT();
}

Metadata BuildDefaultSettings(const CameraConfig& camera, int type) {
    Metadata settings;
    const bool video =
        type == zelkov::GET_CAMERA3_TEMPLATE_VIDEO_RECORD() || type == zelkov::GET_CAMERA3_TEMPLATE_VIDEO_SNAPSHOT();
    int32_t fps[2];
    TargetFpsRange(camera, video, fps);
    const int32_t crop[4] = {0, 0, camera.activeArray[2], camera.activeArray[3]};
    const int32_t thumbnail[2] = {160, 120};

    // The manual template leaves exposure to the request.
    const bool manual = type == zelkov::GET_CAMERA3_TEMPLATE_MANUAL();
    settings.SetOne(tag::kControlCaptureIntent, CaptureIntent(type));
    settings.SetOne(tag::kControlMode, manual ? value::kControlModeOff : value::kControlModeAuto);
    settings.SetOne(tag::kControlAeMode, manual ? value::kAeModeOff : value::kAeModeOn);
    settings.SetOne(tag::kControlAfMode, AfMode(type));
    settings.SetOne(tag::kControlAwbMode, value::kAwbModeAuto);
    settings.Set(tag::kControlAeTargetFpsRange, fps, 2);
    settings.SetOne(tag::kControlAePrecaptureTrigger, value::kTriggerIdle);
    settings.SetOne(tag::kControlAfTrigger, value::kTriggerIdle);
    settings.SetOne(tag::kControlAeLock, value::kOff);
    settings.SetOne(tag::kControlAwbLock, value::kOff);
    settings.SetOne(tag::kControlAeAntibandingMode, value::kAntibandingAuto);
    settings.SetOne(tag::kControlAeExposureCompensation, int32_t{0});
    settings.SetOne(tag::kControlEffectMode, value::kOff);
    settings.SetOne(tag::kControlSceneMode, value::kOff);
    settings.SetOne(tag::kControlVideoStabilizationMode, value::kOff);
    settings.SetOne(tag::kFlashMode, value::kOff);
    settings.SetOne(tag::kJpegQuality, uint8_t{95});
    settings.SetOne(tag::kJpegThumbnailQuality, uint8_t{85});
    settings.Set(tag::kJpegThumbnailSize, thumbnail, 2);
    settings.SetOne(tag::kJpegOrientation, int32_t{0});
    settings.SetOne(tag::kSensorTestPatternMode, value::kTestPatternOff);
    settings.SetOne(tag::kSensorExposureTime, int64_t{10000000});
    settings.SetOne(tag::kSensorSensitivity, int32_t{100});
    settings.SetOne(tag::kSensorFrameDuration, int64_t{1000000000} / fps[1]);
    // A still capture takes its time over the picture; the others keep the frame rate.
    const uint8_t processing =
        type == zelkov::GET_CAMERA3_TEMPLATE_STILL_CAPTURE() ? value::kProcessingHighQuality : value::kProcessingFast;
    settings.SetOne(tag::kNoiseReductionMode, processing);
    settings.SetOne(tag::kEdgeMode, processing);
    settings.SetOne(tag::kHotPixelMode, processing);
    settings.SetOne(tag::kShadingMode, processing);
    settings.SetOne(tag::kColorCorrectionAberrationMode, processing);
    settings.SetOne(tag::kTonemapMode,
                    processing == value::kProcessingHighQuality ? value::kTonemapHighQuality : value::kTonemapFast);
    settings.SetOne(tag::kStatisticsFaceDetectMode, value::kOff);
    settings.SetOne(tag::kBlackLevelLock, value::kOff);
    settings.SetOne(tag::kStatisticsHotPixelMapMode, value::kOff);
    settings.SetOne(tag::kStatisticsLensShadingMapMode, value::kOff);
    settings.Set(tag::kScalerCropRegion, crop, 4);
    settings.SetOne(tag::kLensFocusDistance, 0.0f);
    settings.SetOne(tag::kLensAperture, sensor::kAperture);
    settings.SetOne(tag::kLensFilterDensity, sensor::kFilterDensity);
    settings.SetOne(tag::kLensFocalLength, sensor::kFocalLengthMm);
    settings.SetOne(tag::kLensOpticalStabilizationMode, value::kOff);
    return settings;
}

}  // namespace camera_core

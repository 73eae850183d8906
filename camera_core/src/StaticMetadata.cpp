#include "StaticMetadata.h"

#include <algorithm>

#include <android/constants/CameraConstants.h>
#include <android/constants/PixelFormatConstants.h>

#include "MetadataTags.h"
#include "RequestTemplates.h"
#include "ResultComposer.h"
#include "SensorModel.h"

namespace camera_core {
namespace {

void AddStreamConfigurations(const CameraConfig& camera, Metadata* md) {
    std::vector<int32_t> configurations;
    std::vector<int64_t> minFrameDurations;
    std::vector<int64_t> stallDurations;
    for (const StreamConfig& stream : camera.streams) {
        const int32_t w = static_cast<int32_t>(stream.width);
        const int32_t h = static_cast<int32_t>(stream.height);
        configurations.insert(configurations.end(), {stream.format, w, h, value::kStreamConfigurationOutput});
        minFrameDurations.insert(minFrameDurations.end(), {stream.format, w, h, stream.minFrameDurationNs});
        stallDurations.insert(stallDurations.end(), {stream.format, w, h, stream.stallDurationNs});
    }
    md->Set(tag::kScalerAvailableStreamConfigurations, configurations);
    md->Set(tag::kScalerAvailableMinFrameDurations, minFrameDurations);
    md->Set(tag::kScalerAvailableStallDurations, stallDurations);
}

void AddSensor(const CameraConfig& camera, Metadata* md) {
    const int32_t pixelArray[2] = {static_cast<int32_t>(camera.pixelWidth), static_cast<int32_t>(camera.pixelHeight)};
    const int64_t maxFrameDuration = MaxFrameDuration(camera);
    const int64_t exposureRange[2] = {sensor::kMinExposureNs, maxFrameDuration};
    const int32_t sensitivityRange[2] = {sensor::kMinSensitivity, sensor::kMaxSensitivity};
    const int32_t testPatterns[2] = {value::kTestPatternOff, value::kTestPatternColorBars};
    md->Set(tag::kSensorInfoPixelArraySize, pixelArray, 2);
    md->Set(tag::kSensorInfoActiveArraySize, camera.activeArray, 4);
    md->Set(tag::kSensorInfoPreCorrectionActiveArraySize, camera.activeArray, 4);
    md->SetOne(tag::kSensorInfoTimestampSource, value::kTimestampSourceRealtime);
    md->SetOne(tag::kSensorInfoMaxFrameDuration, maxFrameDuration);
    md->Set(tag::kSensorInfoExposureTimeRange, exposureRange, 2);
    md->Set(tag::kSensorInfoSensitivityRange, sensitivityRange, 2);
    md->Set(tag::kSensorInfoPhysicalSize, sensor::kPhysicalSizeMm, 2);
    md->SetOne(tag::kSensorOrientation, static_cast<int32_t>(camera.orientation));
    md->Set(tag::kSensorAvailableTestPatternModes, testPatterns, 2);
}

void AddLens(const CameraConfig& camera, Metadata* md) {
    md->SetOne(tag::kLensFacing, camera.facing == 0 ? value::kLensFacingBack : value::kLensFacingFront);
    md->SetOne(tag::kLensInfoAvailableApertures, sensor::kAperture);
    md->SetOne(tag::kLensInfoAvailableFilterDensities, sensor::kFilterDensity);
    md->SetOne(tag::kLensInfoAvailableFocalLengths, sensor::kFocalLengthMm);
    md->SetOne(tag::kLensInfoAvailableOpticalStabilization, value::kOff);
    md->SetOne(tag::kLensInfoMinimumFocusDistance, sensor::kMinimumFocusDistance);
    md->SetOne(tag::kLensInfoHyperfocalDistance, sensor::kHyperfocalDistance);
    md->SetOne(tag::kLensInfoFocusDistanceCalibration, value::kFocusCalibrationApproximate);
}

void AddControls(const CameraConfig& camera, Metadata* md) {
    std::vector<uint8_t> aeModes = {value::kAeModeOff, value::kAeModeOn};
    if (camera.flash) aeModes.insert(aeModes.end(), {value::kAeModeOnAutoFlash, value::kAeModeOnAlwaysFlash});
    const uint8_t afModes[] = {value::kAfModeOff, value::kAfModeAuto, value::kAfModeContinuousVideo,
                               value::kAfModeContinuousPicture};
    const uint8_t awbModes[] = {value::kAwbModeAuto};
    const uint8_t controlModes[] = {value::kControlModeOff, value::kControlModeAuto};
    const uint8_t antibanding[] = {value::kOff, value::kAntibandingAuto};
    const int32_t compensationRange[2] = {0, 0};
    const zelkov::zel_camera_metadata_rational compensationStep = {1, 1};
    const int32_t maxRegions[3] = {0, 0, 0};
    md->Set(tag::kControlAeAvailableModes, aeModes);
    md->Set(tag::kControlAfAvailableModes, afModes, 4);
    md->Set(tag::kControlAwbAvailableModes, awbModes, 1);
    md->Set(tag::kControlAvailableModes, controlModes, 2);
    md->Set(tag::kControlAeAvailableAntibandingModes, antibanding, 2);
    md->Set(tag::kControlAeAvailableTargetFpsRanges, camera.fpsRanges);
    md->Set(tag::kControlAeCompensationRange, compensationRange, 2);
    md->Set(tag::kControlAeCompensationStep, &compensationStep, 1);
    md->SetOne(tag::kControlAvailableEffects, value::kOff);
    md->SetOne(tag::kControlAvailableSceneModes, value::kOff);
    md->SetOne(tag::kControlAvailableVideoStabilizationModes, value::kOff);
    md->Set(tag::kControlMaxRegions, maxRegions, 3);
    md->SetOne(tag::kControlAeLockAvailable, uint8_t{1});
    md->SetOne(tag::kControlAwbLockAvailable, uint8_t{1});
    md->SetOne(tag::kFlashInfoAvailable, static_cast<uint8_t>(camera.flash ? 1 : 0));
    md->SetOne(tag::kStatisticsInfoAvailableFaceDetectModes, value::kOff);
    md->SetOne(tag::kStatisticsInfoMaxFaceCount, int32_t{0});
}

// The post-processing modes the templates choose from, each with OFF.
void AddProcessing(Metadata* md) {
    const std::vector<uint8_t> modes = {value::kOff, value::kProcessingFast, value::kProcessingHighQuality};
    const uint8_t tonemapModes[] = {value::kTonemapFast, value::kTonemapHighQuality};
    md->Set(tag::kNoiseReductionAvailableNoiseReductionModes, modes);
    md->Set(tag::kEdgeAvailableEdgeModes, modes);
    md->Set(tag::kHotPixelAvailableHotPixelModes, modes);
    md->Set(tag::kShadingAvailableModes, modes);
    md->Set(tag::kColorCorrectionAvailableAberrationModes, modes);
    md->Set(tag::kTonemapAvailableToneMapModes, tonemapModes, 2);
    md->SetOne(tag::kStatisticsInfoAvailableHotPixelMapModes, value::kOff);
    md->SetOne(tag::kStatisticsInfoAvailableLensShadingMapModes, value::kOff);
}

void AddRequestModel(const CameraConfig& camera, Metadata* md) {
    const int32_t maxOutputStreams[3] = {0, 3, 1};  // raw, processed, stalling (JPEG)
    const int32_t thumbnailSizes[4] = {0, 0, 160, 120};
    md->SetOne(tag::kInfoSupportedHardwareLevel, value::kHardwareLevelLimited);
    md->Set(tag::kRequestAvailableCapabilities, Capabilities(camera));
    md->SetOne(tag::kRequestPartialResultCount, static_cast<int32_t>(camera.partialResultCount));
    md->SetOne(tag::kRequestPipelineMaxDepth, static_cast<uint8_t>(camera.pipelineDepth));
    md->Set(tag::kRequestMaxNumOutputStreams, maxOutputStreams, 3);
    md->SetOne(tag::kSyncMaxLatency, int32_t{0});  // per-frame control
    md->SetOne(tag::kScalerAvailableMaxDigitalZoom, 1.0f);
    md->SetOne(tag::kScalerCroppingType, value::kOff);  // center only
    md->SetOne(tag::kJpegMaxSize, JpegMaxSize(camera));
    md->Set(tag::kJpegAvailableThumbnailSizes, thumbnailSizes, 4);
}

std::vector<int32_t> AsKeys(const std::vector<unsigned int>& tags) { return {tags.begin(), tags.end()}; }

}  // namespace

std::vector<uint8_t> Capabilities(const CameraConfig&) {
    return {value::kCapabilityBackwardCompatible, value::kCapabilityManualSensor};
}

int64_t MaxFrameDuration(const CameraConfig& camera) {
    int32_t slowestFps = camera.fpsRanges[0];
    for (size_t i = 0; i < camera.fpsRanges.size(); i += 2) slowestFps = std::min(slowestFps, camera.fpsRanges[i]);
    int64_t longest = 1000000000LL / std::max(slowestFps, 1);
    for (const StreamConfig& stream : camera.streams) longest = std::max(longest, stream.minFrameDurationNs);
    return longest;
}

int32_t JpegMaxSize(const CameraConfig& camera) {
    uint64_t largest = 320 * 240;
    for (const StreamConfig& stream : camera.streams) {
        if (stream.format == zelkov::GET_HAL_PIXEL_FORMAT_BLOB()) {
            largest = std::max<uint64_t>(largest, uint64_t{stream.width} * stream.height);
        }
    }
    // Half a byte per pixel holds any test pattern at the highest quality.
    return static_cast<int32_t>(largest / 2 + 4096);
}

Metadata BuildCharacteristics(const CameraConfig& camera) {
    Metadata md;
    AddStreamConfigurations(camera, &md);
    AddSensor(camera, &md);
    AddLens(camera, &md);
    AddControls(camera, &md);
    AddProcessing(&md);
    AddRequestModel(camera, &md);

    const std::vector<unsigned int> requestKeys =
        BuildDefaultSettings(camera, zelkov::GET_CAMERA3_TEMPLATE_PREVIEW()).Tags();
    std::vector<unsigned int> resultKeys = requestKeys;
    for (unsigned int key : ResultComposer::DynamicTags()) {
        if (std::find(resultKeys.begin(), resultKeys.end(), key) == resultKeys.end()) resultKeys.push_back(key);
    }
    md.Set(tag::kRequestAvailableRequestKeys, AsKeys(requestKeys));
    md.Set(tag::kRequestAvailableResultKeys, AsKeys(resultKeys));
    std::vector<unsigned int> characteristicsKeys = md.Tags();
    characteristicsKeys.push_back(tag::kRequestAvailableCharacteristicsKeys);
    md.Set(tag::kRequestAvailableCharacteristicsKeys, AsKeys(characteristicsKeys));
    return md;
}

}  // namespace camera_core

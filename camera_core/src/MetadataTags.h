// Metadata tags and enumeration values this core reads and writes. A vendor
// core keeps its own table of the framework's tag numbers: the numbers are
// part of the camera HAL ABI (section << 16 | index), so they never move.
#ifndef ZELKOV_CAMERA_CORE_METADATA_TAGS_H
#define ZELKOV_CAMERA_CORE_METADATA_TAGS_H

#include <cstdint>

namespace camera_core {
namespace tag {

constexpr unsigned int kColorCorrectionAberrationMode = 0x3;
constexpr unsigned int kColorCorrectionAvailableAberrationModes = 0x4;
constexpr unsigned int kColorCorrectionMode = 0x0;
constexpr unsigned int kControlAeAntibandingMode = 0x10000;
constexpr unsigned int kControlAeExposureCompensation = 0x10001;
constexpr unsigned int kControlAeLock = 0x10002;
constexpr unsigned int kControlAeMode = 0x10003;
constexpr unsigned int kControlAeTargetFpsRange = 0x10005;
constexpr unsigned int kControlAePrecaptureTrigger = 0x10006;
constexpr unsigned int kControlAfMode = 0x10007;
constexpr unsigned int kControlAfTrigger = 0x10009;
constexpr unsigned int kControlAwbLock = 0x1000a;
constexpr unsigned int kControlAwbMode = 0x1000b;
constexpr unsigned int kControlCaptureIntent = 0x1000d;
constexpr unsigned int kControlEffectMode = 0x1000e;
constexpr unsigned int kControlMode = 0x1000f;
constexpr unsigned int kControlSceneMode = 0x10010;
constexpr unsigned int kControlVideoStabilizationMode = 0x10011;
constexpr unsigned int kControlAeAvailableAntibandingModes = 0x10012;
constexpr unsigned int kControlAeAvailableModes = 0x10013;
constexpr unsigned int kControlAeAvailableTargetFpsRanges = 0x10014;
constexpr unsigned int kControlAeCompensationRange = 0x10015;
constexpr unsigned int kControlAeCompensationStep = 0x10016;
constexpr unsigned int kControlAfAvailableModes = 0x10017;
constexpr unsigned int kControlAvailableEffects = 0x10018;
constexpr unsigned int kControlAvailableSceneModes = 0x10019;
constexpr unsigned int kControlAvailableVideoStabilizationModes = 0x1001a;
constexpr unsigned int kControlAwbAvailableModes = 0x1001b;
constexpr unsigned int kControlMaxRegions = 0x1001c;
constexpr unsigned int kControlAeState = 0x1001f;
constexpr unsigned int kControlAfState = 0x10020;
constexpr unsigned int kControlAwbState = 0x10022;
constexpr unsigned int kControlAeLockAvailable = 0x10024;
constexpr unsigned int kControlAwbLockAvailable = 0x10025;
constexpr unsigned int kControlAvailableModes = 0x10026;
constexpr unsigned int kEdgeMode = 0x30000;
constexpr unsigned int kEdgeAvailableEdgeModes = 0x30002;
constexpr unsigned int kFlashMode = 0x40002;
constexpr unsigned int kFlashState = 0x40005;
constexpr unsigned int kFlashInfoAvailable = 0x50000;
constexpr unsigned int kHotPixelMode = 0x60000;
constexpr unsigned int kHotPixelAvailableHotPixelModes = 0x60001;
constexpr unsigned int kJpegOrientation = 0x70003;
constexpr unsigned int kJpegQuality = 0x70004;
constexpr unsigned int kJpegThumbnailQuality = 0x70005;
constexpr unsigned int kJpegThumbnailSize = 0x70006;
constexpr unsigned int kJpegAvailableThumbnailSizes = 0x70007;
constexpr unsigned int kJpegMaxSize = 0x70008;
constexpr unsigned int kLensAperture = 0x80000;
constexpr unsigned int kLensFilterDensity = 0x80001;
constexpr unsigned int kLensFocalLength = 0x80002;
constexpr unsigned int kLensFocusDistance = 0x80003;
constexpr unsigned int kLensOpticalStabilizationMode = 0x80004;
constexpr unsigned int kLensFacing = 0x80005;
constexpr unsigned int kLensState = 0x80009;
constexpr unsigned int kLensInfoAvailableApertures = 0x90000;
constexpr unsigned int kLensInfoAvailableFilterDensities = 0x90001;
constexpr unsigned int kLensInfoAvailableFocalLengths = 0x90002;
constexpr unsigned int kLensInfoAvailableOpticalStabilization = 0x90003;
constexpr unsigned int kLensInfoHyperfocalDistance = 0x90004;
constexpr unsigned int kLensInfoMinimumFocusDistance = 0x90005;
constexpr unsigned int kLensInfoFocusDistanceCalibration = 0x90007;
constexpr unsigned int kNoiseReductionMode = 0xa0000;
constexpr unsigned int kNoiseReductionAvailableNoiseReductionModes = 0xa0002;
constexpr unsigned int kRequestPipelineDepth = 0xc0009;
constexpr unsigned int kRequestMaxNumOutputStreams = 0xc0006;
constexpr unsigned int kRequestPipelineMaxDepth = 0xc000a;
constexpr unsigned int kRequestPartialResultCount = 0xc000b;
constexpr unsigned int kRequestAvailableCapabilities = 0xc000c;
constexpr unsigned int kRequestAvailableRequestKeys = 0xc000d;
constexpr unsigned int kRequestAvailableResultKeys = 0xc000e;
constexpr unsigned int kRequestAvailableCharacteristicsKeys = 0xc000f;
constexpr unsigned int kScalerCropRegion = 0xd0000;
constexpr unsigned int kScalerAvailableMaxDigitalZoom = 0xd0004;
constexpr unsigned int kScalerAvailableStreamConfigurations = 0xd000a;
constexpr unsigned int kScalerAvailableMinFrameDurations = 0xd000b;
constexpr unsigned int kScalerAvailableStallDurations = 0xd000c;
constexpr unsigned int kScalerCroppingType = 0xd000d;
constexpr unsigned int kSensorExposureTime = 0xe0000;
constexpr unsigned int kSensorFrameDuration = 0xe0001;
constexpr unsigned int kSensorSensitivity = 0xe0002;
constexpr unsigned int kSensorOrientation = 0xe000e;
constexpr unsigned int kSensorTimestamp = 0xe0010;
constexpr unsigned int kSensorTestPatternMode = 0xe0018;
constexpr unsigned int kSensorAvailableTestPatternModes = 0xe0019;
constexpr unsigned int kSensorRollingShutterSkew = 0xe001a;
constexpr unsigned int kSensorInfoActiveArraySize = 0xf0000;
constexpr unsigned int kSensorInfoSensitivityRange = 0xf0001;
constexpr unsigned int kSensorInfoExposureTimeRange = 0xf0003;
constexpr unsigned int kSensorInfoMaxFrameDuration = 0xf0004;
constexpr unsigned int kSensorInfoPhysicalSize = 0xf0005;
constexpr unsigned int kSensorInfoPixelArraySize = 0xf0006;
constexpr unsigned int kSensorInfoTimestampSource = 0xf0008;
constexpr unsigned int kSensorInfoPreCorrectionActiveArraySize = 0xf000a;
constexpr unsigned int kShadingMode = 0x100000;
constexpr unsigned int kShadingAvailableModes = 0x100002;
constexpr unsigned int kStatisticsFaceDetectMode = 0x110000;
constexpr unsigned int kStatisticsHotPixelMapMode = 0x110003;
constexpr unsigned int kStatisticsLensShadingMapMode = 0x110010;
constexpr unsigned int kStatisticsInfoAvailableFaceDetectModes = 0x120000;
constexpr unsigned int kStatisticsInfoMaxFaceCount = 0x120002;
constexpr unsigned int kStatisticsInfoAvailableHotPixelMapModes = 0x120006;
constexpr unsigned int kStatisticsInfoAvailableLensShadingMapModes = 0x120007;
constexpr unsigned int kTonemapMode = 0x130003;
constexpr unsigned int kTonemapAvailableToneMapModes = 0x130005;
constexpr unsigned int kInfoSupportedHardwareLevel = 0x150000;
constexpr unsigned int kBlackLevelLock = 0x160000;
constexpr unsigned int kSyncFrameNumber = 0x170000;
constexpr unsigned int kSyncMaxLatency = 0x170001;

// Vendor section com.zelkov.sim.
constexpr unsigned int kVendorGyroSample = 0x80000000;     // float[3]
constexpr unsigned int kVendorGyroTimestamp = 0x80000001;  // int64, ns
constexpr unsigned int kVendorFrameCounter = 0x80000002;   // int64

}  // namespace tag

// Metadata entry types.
constexpr uint8_t kTypeByte = 0;
constexpr uint8_t kTypeInt32 = 1;
constexpr uint8_t kTypeFloat = 2;
constexpr uint8_t kTypeInt64 = 3;

// Enumeration values of the entries above.
namespace value {
constexpr uint8_t kHardwareLevelLimited = 0;
constexpr uint8_t kCapabilityBackwardCompatible = 0;
constexpr uint8_t kTimestampSourceRealtime = 1;  // CLOCK_BOOTTIME
constexpr int32_t kStreamConfigurationOutput = 0;
constexpr uint8_t kLensFacingFront = 0;
constexpr uint8_t kLensFacingBack = 1;
constexpr uint8_t kControlModeOff = 0;
constexpr uint8_t kControlModeAuto = 1;
constexpr uint8_t kAeModeOff = 0;
constexpr uint8_t kAeModeOn = 1;
constexpr uint8_t kAeModeOnAutoFlash = 2;
constexpr uint8_t kAeModeOnAlwaysFlash = 3;
constexpr uint8_t kAeModeOnAutoFlashRedeye = 4;
constexpr uint8_t kAfModeOff = 0;
constexpr uint8_t kAfModeAuto = 1;
constexpr uint8_t kAfModeContinuousVideo = 3;
constexpr uint8_t kAfModeContinuousPicture = 4;
constexpr uint8_t kAfModeEdof = 5;
constexpr uint8_t kAwbModeOff = 0;
constexpr uint8_t kAwbModeAuto = 1;
constexpr uint8_t kTriggerIdle = 0;
constexpr uint8_t kTriggerStart = 1;
constexpr uint8_t kTriggerCancel = 2;
constexpr uint8_t kAeStateInactive = 0;
constexpr uint8_t kAeStateSearching = 1;
constexpr uint8_t kAeStateConverged = 2;
constexpr uint8_t kAeStateLocked = 3;
constexpr uint8_t kAeStateFlashRequired = 4;
constexpr uint8_t kAeStatePrecapture = 5;
constexpr uint8_t kAfStateInactive = 0;
constexpr uint8_t kAfStatePassiveScan = 1;
constexpr uint8_t kAfStatePassiveFocused = 2;
constexpr uint8_t kAfStateActiveScan = 3;
constexpr uint8_t kAfStateFocusedLocked = 4;
constexpr uint8_t kAfStateNotFocusedLocked = 5;
constexpr uint8_t kAwbStateInactive = 0;
constexpr uint8_t kAwbStateSearching = 1;
constexpr uint8_t kAwbStateConverged = 2;
constexpr uint8_t kAwbStateLocked = 3;
constexpr int32_t kTestPatternOff = 0;
constexpr int32_t kTestPatternColorBars = 2;
constexpr uint8_t kOff = 0;  // the "off" / "unavailable" / "stationary" value of many enumerations
constexpr uint8_t kAntibandingAuto = 3;
constexpr uint8_t kLensMoving = 1;
constexpr uint8_t kFlashStateUnavailable = 0;
constexpr uint8_t kFlashStateReady = 2;
constexpr uint8_t kFlashStateFired = 3;
constexpr uint8_t kCaptureIntentStillCapture = 2;
constexpr uint8_t kFocusCalibrationApproximate = 1;
// Post-processing modes (noise reduction, edge, hot pixel, shading, aberration).
constexpr uint8_t kProcessingFast = 1;
constexpr uint8_t kProcessingHighQuality = 2;
constexpr uint8_t kTonemapFast = 1;
constexpr uint8_t kTonemapHighQuality = 2;
constexpr uint8_t kCapabilityManualSensor = 1;
constexpr uint8_t kCapabilityPrivateReprocessing = 4;
constexpr uint8_t kCapabilityYuvReprocessing = 7;
}  // namespace value

}  // namespace camera_core

#endif

#include "ResultComposer.h"

#include <algorithm>

#include "MetadataTags.h"
#include "SensorModel.h"

namespace camera_core {
namespace {

constexpr unsigned int kSectionControl = 0x1;
constexpr unsigned int kSectionFlash = 0x4;
constexpr unsigned int kSectionLens = 0x8;
constexpr unsigned int kSectionSensor = 0xe;

}  // namespace

int64_t RollingShutterSkewNs(const CameraConfig& camera) {
    int32_t fastestFps = 1;
    for (size_t i = 1; i < camera.fpsRanges.size(); i += 2) fastestFps = std::max(fastestFps, camera.fpsRanges[i]);
    return 1000000000LL / fastestFps * sensor::kReadoutPercent / 100;
}

const std::vector<unsigned int>& ResultComposer::DynamicTags() {
    static const std::vector<unsigned int> kTags = {
        tag::kControlAeState,
        tag::kControlAfState,
        tag::kControlAwbState,
        tag::kSensorTimestamp,
        tag::kSensorRollingShutterSkew,
        tag::kRequestPipelineDepth,
        tag::kLensState,
        tag::kLensAperture,
        tag::kLensFilterDensity,
        tag::kLensFocalLength,
        tag::kLensOpticalStabilizationMode,
        tag::kFlashState,
        tag::kVendorGyroSample,
        tag::kVendorGyroTimestamp,
        tag::kVendorFrameCounter,
    };
    return kTags;
}

Metadata ResultComposer::Compose(const Metadata& settings, const FrameFacts& facts, const CameraConfig& camera) {
    Metadata result(settings.Get());
    result.SetOne(tag::kControlAeState, facts.threeA.ae);
    result.SetOne(tag::kControlAfState, facts.threeA.af);
    result.SetOne(tag::kControlAwbState, facts.threeA.awb);
    result.SetOne(tag::kSensorTimestamp, facts.timestampNs);
    result.SetOne(tag::kSensorFrameDuration, facts.frameDurationNs);
    result.SetOne(tag::kSensorExposureTime, facts.threeA.exposureNs);
    result.SetOne(tag::kSensorSensitivity, facts.threeA.sensitivity);
    result.SetOne(tag::kSensorRollingShutterSkew, RollingShutterSkewNs(camera));
    result.SetOne(tag::kRequestPipelineDepth, facts.pipelineDepth);
    result.SetOne(tag::kLensState, facts.threeA.lens);
    result.SetOne(tag::kLensAperture, sensor::kAperture);
    result.SetOne(tag::kLensFilterDensity, sensor::kFilterDensity);
    result.SetOne(tag::kLensFocalLength, sensor::kFocalLengthMm);
    result.SetOne(tag::kLensOpticalStabilizationMode, value::kOff);  // the only mode offered
    result.SetOne(tag::kFlashState, facts.threeA.flash);
    result.Set(tag::kVendorGyroSample, facts.gyro.xyz, 3);
    result.SetOne(tag::kVendorGyroTimestamp, facts.gyro.timestampNs);
    result.SetOne(tag::kVendorFrameCounter, facts.frameCounter);
    return result;
}

uint32_t ResultComposer::PartialOf(unsigned int tag, uint32_t count) {
    const unsigned int section = tag >> 16;
    uint32_t partial = 3;
    if (section == kSectionControl) {
        partial = 1;
    } else if (section == kSectionSensor || section == kSectionLens || section == kSectionFlash ||
               tag == tag::kVendorGyroSample || tag == tag::kVendorGyroTimestamp) {
        partial = 2;
    }
    // Fewer partials: the later groups share the last one.
    return std::min(partial, count);
}

std::vector<Metadata> ResultComposer::Split(const Metadata& result, uint32_t count) {
    std::vector<Metadata> parts(count);
    zelkov::zel_camera_metadata_ro_entry entry;
    for (size_t i = 0; result.Entry(i, &entry); ++i) parts[PartialOf(entry.tag, count) - 1].CopyEntry(entry);
    return parts;
}

}  // namespace camera_core

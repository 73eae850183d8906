#include "FrameTiming.h"

#include <algorithm>

#include "MetadataTags.h"
#include "StaticMetadata.h"

namespace camera_core {
namespace {

int64_t GetI64(const Metadata& settings, unsigned int tag, int64_t fallback) {
    zelkov::zel_camera_metadata_ro_entry entry;
    return settings.Find(tag, &entry) && entry.count > 0 ? entry.data.i64[0] : fallback;
}

}  // namespace

int64_t ChooseFrameDuration(const CameraConfig& camera, const Metadata& settings,
                            const std::vector<const StreamConfig*>& streams) {
    int64_t floor = 0;
    for (const StreamConfig* stream : streams)
        floor = std::max(floor, stream->minFrameDurationNs + stream->stallDurationNs);
    const int64_t targetFps = std::max(settings.GetI32(tag::kControlAeTargetFpsRange, 1, 30), 1);
    const int64_t targetNs = 1000000000LL / targetFps;
    const bool manual = settings.GetU8(tag::kControlMode, value::kControlModeAuto) == value::kControlModeOff ||
                        settings.GetU8(tag::kControlAeMode, value::kAeModeOn) == value::kAeModeOff;
    if (!manual) return std::max(floor, targetNs);
    const int64_t requested =
        std::max(GetI64(settings, tag::kSensorFrameDuration, targetNs), GetI64(settings, tag::kSensorExposureTime, 0));
    return std::max(floor, std::min(requested, MaxFrameDuration(camera)));
}

}  // namespace camera_core

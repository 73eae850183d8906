#include "ResultComposer.h"

#include "MetadataTags.h"

namespace camera_core {

const std::vector<unsigned int>& ResultComposer::DynamicTags() {
    static const std::vector<unsigned int> kTags = {
        tag::kControlAeState,     tag::kControlAfState,   tag::kControlAwbState,
        tag::kSensorTimestamp,    tag::kRequestPipelineDepth, tag::kLensState,
        tag::kFlashState,         tag::kVendorGyroSample, tag::kVendorGyroTimestamp,
        tag::kVendorFrameCounter,
    };
    return kTags;
}

Metadata ResultComposer::Compose(const Metadata& settings, const FrameFacts& facts) {
    Metadata result(settings.Get());
    result.SetOne(tag::kControlAeState, facts.threeA.ae);
    result.SetOne(tag::kControlAfState, facts.threeA.af);
    result.SetOne(tag::kControlAwbState, facts.threeA.awb);
    result.SetOne(tag::kSensorTimestamp, facts.timestampNs);
    result.SetOne(tag::kSensorFrameDuration, facts.frameDurationNs);
    result.SetOne(tag::kRequestPipelineDepth, facts.pipelineDepth);
    result.SetOne(tag::kLensState, value::kOff);
    result.SetOne(tag::kFlashState, value::kOff);
    result.Set(tag::kVendorGyroSample, facts.gyro.xyz, 3);
    result.SetOne(tag::kVendorGyroTimestamp, facts.gyro.timestampNs);
    result.SetOne(tag::kVendorFrameCounter, facts.frameCounter);
    return result;
}

std::vector<Metadata> ResultComposer::Split(const Metadata& result, uint32_t count) {
    std::vector<Metadata> parts(count);
    zelkov::zel_camera_metadata_ro_entry entry;
    for (size_t i = 0; result.Entry(i, &entry); ++i) parts[i % count].CopyEntry(entry);
    return parts;
}

}  // namespace camera_core

// The partial results of a frame: split by meaning, no key twice, 3A first.
#include <gtest/gtest.h>

#include <set>

#include "MetadataTags.h"
#include "RequestTemplates.h"
#include "ResultComposer.h"

namespace camera_core {
namespace {

CameraConfig SmallCamera() {
    CameraConfig camera;
    camera.activeArray[2] = 320;
    camera.activeArray[3] = 240;
    camera.fpsRanges = {15, 30, 30, 30};
    return camera;
}

TEST(ResultComposerTest, PartialsSplitByMeaningWithEveryKeyOnce) {
    const CameraConfig camera = SmallCamera();
    const Metadata settings = BuildDefaultSettings(camera, 1);
    const FrameFacts facts{1000, 33333333, 4, {2, 2, 2, 0, 0, 10000000, 100}, {{0.f, 0.f, 0.f}, 0}, 7};
    const Metadata result = ResultComposer::Compose(settings, facts, camera);
    const std::vector<unsigned int> tags = result.Tags();
    const std::set<unsigned int> all(tags.begin(), tags.end());
    const std::set<unsigned int> threeA = {tag::kControlAeState, tag::kControlAfState, tag::kControlAwbState};

    for (uint32_t count : {1u, 2u, 3u}) {
        const std::vector<Metadata> parts = ResultComposer::Split(result, count);
        ASSERT_EQ(parts.size(), count);
        std::multiset<unsigned int> seen;
        for (const Metadata& part : parts) {
            EXPECT_FALSE(part.Tags().empty()) << count << " partials: an empty one";
            for (unsigned int t : part.Tags()) seen.insert(t);
        }
        for (unsigned int t : all) EXPECT_EQ(seen.count(t), 1u) << count << " partials: tag 0x" << std::hex << t;
        EXPECT_EQ(seen.size(), all.size()) << count << " partials";
        const std::vector<unsigned int> first = parts[0].Tags();
        for (unsigned int t : threeA) {
            EXPECT_NE(std::find(first.begin(), first.end(), t), first.end()) << count << " partials: 3A state late";
        }
        if (count > 1) {
            // The first partial is 3A only: nothing a framework waits on for other reasons.
            for (unsigned int t : first) EXPECT_EQ(t >> 16, 1u) << "tag 0x" << std::hex << t << " in the 3A partial";
        }
    }
}

TEST(ResultComposerTest, ResultsReportWhatTheSensorAndLensDid) {
    const CameraConfig camera = SmallCamera();
    Metadata settings = BuildDefaultSettings(camera, 1);
    settings.SetOne(tag::kSensorExposureTime, int64_t{1});  // AE on: not echoed
    const FrameFacts facts{1000, 33333333, 4, {2, 2, 2, 0, 0, 12345678, 321}, {{0.f, 0.f, 0.f}, 0}, 7};
    const Metadata result = ResultComposer::Compose(settings, facts, camera);
    zelkov::zel_camera_metadata_ro_entry entry;
    ASSERT_TRUE(result.Find(tag::kSensorExposureTime, &entry));
    EXPECT_EQ(entry.data.i64[0], 12345678);
    EXPECT_EQ(result.GetI32(tag::kSensorSensitivity, 0, 0), 321);
    ASSERT_TRUE(result.Find(tag::kSensorRollingShutterSkew, &entry));
    EXPECT_GT(entry.data.i64[0], 0);
    EXPECT_LT(entry.data.i64[0], 33333333);
    for (unsigned int t : {tag::kLensAperture, tag::kLensFocalLength, tag::kLensFilterDensity,
                           tag::kLensOpticalStabilizationMode, tag::kFlashState}) {
        EXPECT_TRUE(result.Find(t, &entry)) << "tag 0x" << std::hex << t;
    }
}

}  // namespace
}  // namespace camera_core

// The configuration file's errors, and the frame duration a request runs at.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

#include <android/constants/PixelFormatConstants.h>

#include "Config.h"
#include "FrameTiming.h"
#include "MetadataTags.h"

namespace camera_core {
namespace {

std::string CameraJson(const std::string& extra, const std::string& partials = "2", const std::string& id = "0",
                       const std::string& format = "NV21") {
    return R"({"cameras": [{"id": )" + id + R"(, "facing": "back", "orientation": 0, "pixel_array": [320, 240],
        "active_array": [0, 0, 320, 240], "partial_result_count": )" +
           partials + R"(, "fps_ranges": [[15, 30]],)" + extra + R"( "streams": [{"format": ")" + format +
           R"(", "size": [320, 240], "min_frame_duration_ns": 33333333}]}]})";
}

bool Load(const std::string& text, std::string* error) {
    char path[] = "/tmp/camera_core_configXXXXXX";
    const int fd = mkstemp(path);
    if (fd < 0) return false;
    close(fd);
    std::ofstream(path) << text;
    std::vector<CameraConfig> cameras;
    const bool ok = LoadCameraConfigs(path, &cameras, error);
    std::remove(path);
    return ok;
}

TEST(ConfigTest, MalformedCamerasAreRefusedWithAMessage) {
    const struct {
        const char* what;
        std::string text;
        const char* message;
    } kCases[] = {
        {"more partials than meanings", CameraJson("", "4"), "partial_result_count"},
        {"no partial", CameraJson("", "0"), "partial_result_count"},
        {"ids out of order", CameraJson("", "2", "1"), "ids"},
        {"an unknown format", CameraJson("", "2", "0", "RGBA"), "unknown format"},
        {"a scene without light", CameraJson(R"("scene_exposure_ns": 0,)"), "scene_exposure_ns"},
        {"not JSON", "{", ""},
    };
    for (const auto& c : kCases) {
        std::string error;
        EXPECT_FALSE(Load(c.text, &error)) << c.what;
        EXPECT_NE(error.find(c.message), std::string::npos) << c.what << ": " << error;
    }
    std::string error;
    EXPECT_TRUE(Load(CameraJson(R"("flash": true,)", "3"), &error)) << error;  // the largest split, with a flash
}

TEST(FrameTimingTest, TheSlowestStreamTheTargetRateOrTheManualRequestSetsTheDuration) {
    CameraConfig camera;
    camera.fpsRanges = {10, 30};
    const StreamConfig fast{0, 320, 240, 33333333, 0};
    const StreamConfig slow{0, 3840, 2160, 50000000, 0};
    const StreamConfig jpeg{0, 1920, 1080, 33333333, 33333333};
    camera.streams = {fast, slow, jpeg};  // the longest frame: 1 / 10 fps
    const struct {
        const char* what;
        bool manual;
        int32_t targetFps;
        int64_t requestedNs;
        int64_t exposureNs;
        std::vector<const StreamConfig*> streams;
        int64_t expected;
    } kCases[] = {
        {"AE: the target's highest rate", false, 30, 0, 0, {&fast}, 33333333},
        {"AE: a slow stream holds the rate down", false, 30, 0, 0, {&fast, &slow}, 50000000},
        {"AE: a stalling stream adds its stall", false, 30, 0, 0, {&fast, &jpeg}, 66666666},
        {"AE: a lower target", false, 15, 0, 0, {&fast}, 66666666},
        {"manual: as requested", true, 30, 40000000, 1000000, {&fast}, 40000000},
        {"manual: long enough for the exposure", true, 30, 40000000, 60000000, {&fast}, 60000000},
        {"manual: no longer than the sensor's longest frame", true, 30, 900000000, 0, {&fast}, 100000000},
        {"manual: no shorter than the streams allow", true, 30, 1000000, 0, {&slow}, 50000000},
    };
    for (const auto& c : kCases) {
        Metadata settings;
        const int32_t range[2] = {c.targetFps, c.targetFps};
        settings.Set(tag::kControlAeTargetFpsRange, range, 2);
        if (c.manual) settings.SetOne(tag::kControlAeMode, value::kAeModeOff);
        if (c.requestedNs > 0) settings.SetOne(tag::kSensorFrameDuration, c.requestedNs);
        if (c.exposureNs > 0) settings.SetOne(tag::kSensorExposureTime, c.exposureNs);
        EXPECT_EQ(ChooseFrameDuration(camera, settings, c.streams), c.expected) << c.what;
    }
}

}  // namespace
}  // namespace camera_core

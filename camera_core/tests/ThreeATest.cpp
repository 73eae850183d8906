// 3A state machines, frame by frame: each case is a list of settings phases
// and the runs of states expected (a state for a number of frames within a
// range, since scan lengths are drawn per camera seed).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "MetadataTags.h"
#include "ThreeA.h"

namespace camera_core {
namespace {

struct Setting {
    unsigned int tag;
    uint8_t value;
};

struct Phase {
    std::vector<Setting> settings;
    int frames;
};

struct StateRun {
    uint8_t state;
    int min;
    int max;
};

enum class Routine { kAe, kAf, kAwb };

constexpr int64_t kFrameNs = 33333333;

// Each state of `states` in order, as runs of equal states matched against `runs`.
std::string MatchRuns(const std::vector<uint8_t>& states, const std::vector<StateRun>& runs) {
    size_t at = 0;
    for (const StateRun& run : runs) {
        int count = 0;
        while (at < states.size() && states[at] == run.state) ++at, ++count;
        if (count < run.min || count > run.max) {
            return "state " + std::to_string(run.state) + " held " + std::to_string(count) + " frames";
        }
    }
    return at == states.size() ? ""
                               : "unexpected state " + std::to_string(states[at]) + " at frame " + std::to_string(at);
}

std::vector<uint8_t> Drive(CameraConfig camera, const std::vector<Phase>& phases, Routine routine) {
    ThreeA threeA(camera);
    std::vector<uint8_t> states;
    for (const Phase& phase : phases) {
        for (int i = 0; i < phase.frames; ++i) {
            Metadata settings;
            // A trigger is in the first frame of its phase only, as the device passes it on.
            for (const Setting& s : phase.settings) {
                const bool trigger = s.tag == tag::kControlAfTrigger || s.tag == tag::kControlAePrecaptureTrigger;
                settings.SetOne(s.tag, trigger && i > 0 ? value::kTriggerIdle : s.value);
            }
            const ThreeAResult result = threeA.Update(settings, kFrameNs);
            states.push_back(routine == Routine::kAe ? result.ae : routine == Routine::kAf ? result.af : result.awb);
        }
    }
    return states;
}

CameraConfig Camera(bool flash, int64_t sceneExposureNs) {
    CameraConfig camera;
    camera.seed = 7;
    camera.flash = flash;
    camera.sceneExposureNs = sceneExposureNs;
    return camera;
}

TEST(ThreeATest, TransitionsFollowTheFrameworkStateMachines) {
    using namespace value;
    const Setting afAuto{tag::kControlAfMode, kAfModeAuto};
    const Setting afPicture{tag::kControlAfMode, kAfModeContinuousPicture};
    const Setting afVideo{tag::kControlAfMode, kAfModeContinuousVideo};
    const Setting afStart{tag::kControlAfTrigger, kTriggerStart};
    const Setting afCancel{tag::kControlAfTrigger, kTriggerCancel};
    const Setting precapture{tag::kControlAePrecaptureTrigger, kTriggerStart};
    const Setting aeLock{tag::kControlAeLock, 1};
    const Setting awbLock{tag::kControlAwbLock, 1};
    const Setting autoFlash{tag::kControlAeMode, kAeModeOnAutoFlash};
    const Setting controlOff{tag::kControlMode, kControlModeOff};
    const int64_t bright = 10000000;
    const int64_t dark = 2000000000;  // more than 33 ms at the highest gain
    const struct {
        const char* what;
        CameraConfig camera;
        Routine routine;
        std::vector<Phase> phases;
        std::vector<StateRun> runs;
    } kCases[] = {
        {"AE searches, then converges",
         Camera(false, bright),
         Routine::kAe,
         {{{}, 8}},
         {{kAeStateSearching, 1, 4}, {kAeStateConverged, 4, 7}}},
        {"precapture runs once, then converges",
         Camera(false, bright),
         Routine::kAe,
         {{{}, 5}, {{precapture}, 8}},
         {{kAeStateSearching, 1, 4}, {kAeStateConverged, 1, 4}, {kAeStatePrecapture, 1, 4}, {kAeStateConverged, 4, 7}}},
        {"a lock holds and ignores precapture",
         Camera(false, bright),
         Routine::kAe,
         {{{aeLock}, 2}, {{aeLock, precapture}, 3}, {{}, 1}},
         {{kAeStateLocked, 5, 5}, {kAeStateSearching, 1, 1}}},
        {"a dark scene asks for the flash",
         Camera(true, dark),
         Routine::kAe,
         {{{autoFlash}, 8}},
         {{kAeStateSearching, 1, 4}, {kAeStateFlashRequired, 4, 7}}},
        {"no flash: a dark scene converges as it can",
         Camera(false, dark),
         Routine::kAe,
         {{{autoFlash}, 8}},
         {{kAeStateSearching, 1, 4}, {kAeStateConverged, 4, 7}}},
        {"3A off is inactive", Camera(false, bright), Routine::kAe, {{{controlOff}, 3}}, {{kAeStateInactive, 3, 3}}},
        {"auto focus scans on a trigger and locks",
         Camera(false, bright),
         Routine::kAf,
         {{{afAuto}, 2}, {{afAuto, afStart}, 6}},
         {{kAfStateInactive, 2, 2}, {kAfStateActiveScan, 1, 4}, {kAfStateFocusedLocked, 2, 5}}},
        {"a cancel unlocks",
         Camera(false, bright),
         Routine::kAf,
         {{{afAuto, afStart}, 6}, {{afAuto, afCancel}, 2}},
         {{kAfStateActiveScan, 1, 4}, {kAfStateFocusedLocked, 2, 5}, {kAfStateInactive, 2, 2}}},
        {"continuous picture scans passively, a trigger locks",
         Camera(false, bright),
         Routine::kAf,
         {{{afPicture}, 6}, {{afPicture, afStart}, 2}},
         {{kAfStatePassiveScan, 1, 4}, {kAfStatePassiveFocused, 2, 5}, {kAfStateFocusedLocked, 2, 2}}},
        {"a continuous video trigger mid-scan locks unfocused",
         Camera(false, bright),
         Routine::kAf,
         {{{afVideo}, 1}, {{afVideo, afStart}, 3}},
         {{kAfStatePassiveScan, 1, 1}, {kAfStateNotFocusedLocked, 3, 3}}},
        {"AWB searches, converges, locks",
         Camera(false, bright),
         Routine::kAwb,
         {{{}, 6}, {{awbLock}, 2}},
         {{kAwbStateSearching, 1, 4}, {kAwbStateConverged, 2, 5}, {kAwbStateLocked, 2, 2}}},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(MatchRuns(Drive(c.camera, c.phases, c.routine), c.runs), "") << c.what;
    }
}

TEST(ThreeATest, ExposureIsChosenByAeAndFollowsTheRequestWhenManual) {
    const struct {
        const char* what;
        int64_t sceneNs;
        bool aeOff;
        int64_t requestedNs;
        int32_t requestedIso;
        int64_t exposureNs;
        int32_t iso;
    } kCases[] = {
        {"a bright scene at the lowest gain", 10000000, false, 1000000, 800, 10000000, 100},
        {"a dim scene: the frame's length, then gain", 99999999, false, 1000000, 800, kFrameNs, 300},
        {"a dark scene: gain at its limit", 2000000000, false, 1000000, 800, kFrameNs, 1600},
        {"manual: as requested", 10000000, true, 5000000, 400, 5000000, 400},
        {"manual: clamped to the frame and the gain range", 10000000, true, 90000000, 6400, kFrameNs, 1600},
    };
    for (const auto& c : kCases) {
        ThreeA threeA(Camera(false, c.sceneNs));
        Metadata settings;
        if (c.aeOff) settings.SetOne(tag::kControlAeMode, value::kAeModeOff);
        settings.SetOne(tag::kSensorExposureTime, c.requestedNs);
        settings.SetOne(tag::kSensorSensitivity, c.requestedIso);
        const ThreeAResult result = threeA.Update(settings, kFrameNs);
        EXPECT_EQ(result.exposureNs, c.exposureNs) << c.what;
        EXPECT_EQ(result.sensitivity, c.iso) << c.what;
    }
}

TEST(ThreeATest, TheFlashFiresForAStillCaptureThatNeedsIt) {
    using namespace value;
    const struct {
        const char* what;
        bool flash;
        int64_t sceneNs;
        uint8_t aeMode;
        uint8_t intent;
        uint8_t state;
    } kCases[] = {
        {"no flash unit", false, 2000000000, kAeModeOnAutoFlash, kCaptureIntentStillCapture, kFlashStateUnavailable},
        {"auto flash, a bright scene", true, 10000000, kAeModeOnAutoFlash, kCaptureIntentStillCapture,
         kFlashStateReady},
        {"auto flash, a dark scene", true, 2000000000, kAeModeOnAutoFlash, kCaptureIntentStillCapture,
         kFlashStateFired},
        {"auto flash, a dark preview", true, 2000000000, kAeModeOnAutoFlash, 1, kFlashStateReady},
        {"AE without flash", true, 2000000000, kAeModeOn, kCaptureIntentStillCapture, kFlashStateReady},
        {"always flash", true, 10000000, kAeModeOnAlwaysFlash, kCaptureIntentStillCapture, kFlashStateFired},
    };
    for (const auto& c : kCases) {
        ThreeA threeA(Camera(c.flash, c.sceneNs));
        Metadata settings;
        settings.SetOne(tag::kControlAeMode, c.aeMode);
        settings.SetOne(tag::kControlCaptureIntent, c.intent);
        ThreeAResult result{};
        for (int frame = 0; frame < 6; ++frame) result = threeA.Update(settings, kFrameNs);  // AE settles
        EXPECT_EQ(result.flash, c.state) << c.what;
    }
}

}  // namespace
}  // namespace camera_core

// The device as the framework drives it: request checks, one-shot triggers,
// the partial split, fences of failed buffers, flush, and requests, flushes
// and close from several threads. Bounds on time are generous: they tell a
// fast flush from one that waits for frames, not a loaded machine from an idle one.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <time.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "CameraHarness.h"
#include "Metadata.h"
#include "MetadataTags.h"

namespace camera_core {
namespace {

constexpr uint32_t kWidth = 160;
constexpr uint32_t kHeight = 120;
constexpr int kWaitMs = 5000;

class DeviceTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(m_camera.device(), nullptr);
        ASSERT_EQ(m_camera.Configure(kWidth, kHeight), 0);
        m_preview = m_camera.Preview();
        ASSERT_NE(m_preview, nullptr);
    }

    CameraHarness m_camera;
    const camera_metadata_t* m_preview = nullptr;
};

TEST_F(DeviceTest, RequestsBreakingTheOrderOrNamingAStreamTwiceAreRefused) {
    ASSERT_EQ(m_camera.Submit(10, m_preview), 0);
    const struct {
        const char* what;
        uint32_t frame;
        int streams;
        int expected;
    } kCases[] = {
        {"the same frame number again", 10, 1, -EINVAL},
        {"a lower frame number", 9, 1, -EINVAL},
        {"two buffers of one stream", 11, 2, -EINVAL},
        {"the next frame, after refusals", 11, 1, 0},
        {"a gap in the numbers", 20, 1, 0},
    };
    for (const auto& c : kCases) EXPECT_EQ(m_camera.Submit(c.frame, nullptr, -1, c.streams), c.expected) << c.what;
    EXPECT_TRUE(m_camera.WaitReturned(20, kWaitMs));
}

TEST_F(DeviceTest, ATriggerActsOnceThoughLaterRequestsRepeatItsSettings) {
    Metadata trigger(m_preview);
    trigger.SetOne(tag::kControlAfMode, value::kAfModeAuto);
    trigger.SetOne(tag::kControlAfTrigger, value::kTriggerStart);
    ASSERT_EQ(m_camera.Submit(1, trigger.Get()), 0);
    ASSERT_EQ(m_camera.Submit(2, nullptr), 0);
    ASSERT_EQ(m_camera.Submit(3, nullptr), 0);
    ASSERT_TRUE(m_camera.WaitReturned(3, kWaitMs));
    const std::vector<uint8_t> expected[] = {{value::kTriggerStart}, {value::kTriggerIdle}, {value::kTriggerIdle}};
    for (uint32_t frame = 1; frame <= 3; ++frame) EXPECT_EQ(m_camera.Frame(frame).afTriggers, expected[frame - 1]);
}

TEST_F(DeviceTest, TheFirstPartialCarriesThe3AStatesAndNoKeyComesTwice) {
    for (uint32_t frame = 1; frame <= 3; ++frame)
        ASSERT_EQ(m_camera.Submit(frame, frame == 1 ? m_preview : nullptr), 0);
    ASSERT_TRUE(m_camera.WaitReturned(3, kWaitMs));
    for (uint32_t frame = 1; frame <= 3; ++frame) {
        const FrameLog log = m_camera.Frame(frame);
        ASSERT_FALSE(log.partials.empty());
        EXPECT_EQ(log.partials.front(), 1u);
        EXPECT_FALSE(log.firstResultBeforeShutter);
        const std::vector<uint32_t>& first = log.partialTags.front();
        for (uint32_t t : {tag::kControlAeState, tag::kControlAfState, tag::kControlAwbState}) {
            EXPECT_NE(std::find(first.begin(), first.end(), t), first.end()) << "frame " << frame;
        }
        std::set<uint32_t> seen;
        for (const auto& tags : log.partialTags) {
            for (uint32_t t : tags)
                EXPECT_TRUE(seen.insert(t).second) << "frame " << frame << ": tag 0x" << std::hex << t;
        }
    }
}

TEST_F(DeviceTest, ABufferWhoseFenceNeverSignalsFailsAndHandsTheFenceBack) {
    int fence[2];
    ASSERT_EQ(pipe(fence), 0);
    ASSERT_EQ(m_camera.Submit(1, m_preview, fence[0]), 0);
    ASSERT_TRUE(m_camera.WaitReturned(1, kWaitMs));
    const FrameLog log = m_camera.Frame(1);
    ASSERT_EQ(log.buffers.size(), 1u);
    EXPECT_EQ(log.errorBuffers, 1);
    EXPECT_EQ(log.buffers[0].status, CAMERA3_BUFFER_STATUS_ERROR);
    EXPECT_EQ(log.buffers[0].release_fence, fence[0]);
    EXPECT_NE(fcntl(fence[0], F_GETFD), -1) << "the core closed a fence it handed back";
    close(fence[0]);
    close(fence[1]);
}

TEST_F(DeviceTest, FlushReturnsBeforeTheExposingFrameEndsWithEveryBufferBack) {
    // Manual exposure at the sensor's longest frame (1 s): a flush that waited
    // for the frame would return after it ended.
    constexpr int64_t kFrameNs = 1000000000;
    Metadata slow(m_preview);
    slow.SetOne(tag::kControlAeMode, value::kAeModeOff);
    slow.SetOne(tag::kSensorFrameDuration, kFrameNs);
    int fences[2];
    ASSERT_EQ(pipe(fences), 0);
    const uint32_t kFrames = 4;  // the pipeline's depth: none blocks
    for (uint32_t frame = 1; frame <= kFrames; ++frame) {
        ASSERT_EQ(m_camera.Submit(frame, frame == 1 ? slow.Get() : nullptr, frame == kFrames ? fences[0] : -1), 0);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the first frame is exposing
    ASSERT_EQ(m_camera.Flush(), 0);
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    const int64_t returnedNs = int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
    const FrameLog first = m_camera.Frame(1);
    ASSERT_TRUE(first.shutter);
    EXPECT_LT(returnedNs, first.shutterNs + kFrameNs) << "flush waited for the exposing frame to end";
    for (uint32_t frame = 1; frame <= kFrames; ++frame) {
        const FrameLog log = m_camera.Frame(frame);
        ASSERT_EQ(log.buffers.size(), 1u) << "frame " << frame << " not back when flush returned";
        // The exposing frame may be drawn already and complete; the later ones cannot be.
        const bool failed = log.buffers[0].status == CAMERA3_BUFFER_STATUS_ERROR;
        if (frame > 1) {
            EXPECT_TRUE(failed) << "frame " << frame;
        }
        EXPECT_EQ(failed, log.errorRequest || log.errorBuffers == 1) << "frame " << frame;
    }
    // A request that never started hands its acquire fence back.
    EXPECT_EQ(m_camera.Frame(kFrames).buffers[0].release_fence, fences[0]);
    close(fences[0]);
    close(fences[1]);
    ASSERT_EQ(m_camera.Submit(kFrames + 1, m_preview), 0);  // streaming resumes
    EXPECT_TRUE(m_camera.WaitReturned(kFrames + 1, kWaitMs));
}

TEST_F(DeviceTest, AFrameworkMaySubmitFromInsideItsResultCallback) {
    constexpr uint32_t kLast = 8;
    std::atomic<int> refused{0};
    m_camera.OnFinal([&](uint32_t frame) {
        if (frame < kLast && m_camera.Submit(frame + 1, nullptr) != 0) ++refused;
    });
    ASSERT_EQ(m_camera.Submit(1, m_preview), 0);
    EXPECT_TRUE(m_camera.WaitReturned(kLast, kWaitMs)) << "a submit from the callback deadlocked";
    EXPECT_EQ(refused.load(), 0);
    m_camera.OnFinal(nullptr);
}

TEST_F(DeviceTest, RequestsAndFlushesFromSeveralThreadsThenCloseLeaveNothingBehind) {
    constexpr uint32_t kFrames = 24;
    std::atomic<uint32_t> accepted{0};
    std::atomic<bool> done{false};
    std::thread submitter([&] {
        for (uint32_t frame = 1; frame <= kFrames; ++frame) {
            if (m_camera.Submit(frame, frame == 1 ? m_preview : nullptr) == 0) ++accepted;
        }
        done = true;
    });
    std::thread flusher([&] {
        while (!done) {
            EXPECT_EQ(m_camera.Flush(), 0);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    submitter.join();
    flusher.join();
    EXPECT_EQ(accepted.load(), kFrames);
    std::thread closer([&] { EXPECT_EQ(m_camera.Close(), 0); });
    closer.join();
    for (uint32_t frame = 1; frame <= kFrames; ++frame) {
        EXPECT_EQ(m_camera.Frame(frame).buffers.size(), 1u) << "frame " << frame;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(m_camera.CallbacksAfterClose(), 0u);
}

}  // namespace
}  // namespace camera_core

// The module as the camera service drives it, through hal3_check's layers:
// the checker holds every frame to the camera3 result rules (partials, keys,
// buffers, fences, errors, shutters) and each test adds what only the core
// promises: request checks, one-shot triggers, fences of failed buffers,
// flush, and requests, flushes and close from several threads. Bounds on time
// are generous: they tell a fast flush from one that waits for frames, not a
// loaded machine from an idle one.
#include <gtest/gtest.h>

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <thread>

#include <android/constants/PixelFormatConstants.h>

#include "Fixtures.h"
#include "ModuleConnector.h"

namespace camera_core {
namespace {

using hal3_check::FrameRecord;
using hal3_check::MetadataPtr;

constexpr uint32_t kWidth = 160;
constexpr uint32_t kHeight = 120;
constexpr int64_t kStallNs = 10000000000;  // sanitizers and a shared machine

int64_t BootTimeNs() {  // the shutter's clock
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

// The write end of a pipe without a reader polls as an error: the core fails
// the buffer at once and hands the fence back, and the checker's wait on it
// as the release fence returns at once too.
int ErrorFence() {
    int ends[2];
    if (pipe(ends) != 0) return -1;
    close(ends[0]);
    return ends[1];
}

class DeviceTest : public ::testing::Test {
protected:
    void SetUp() override {
        hal3_check::ModuleConnector& module = hal3_check::ModuleConnector::Get();
        std::string error = module.Load("");
        if (error.empty()) error = module.Start();
        ASSERT_EQ(error, "");
        camera_info info{};
        ASSERT_EQ(module.Info(0, &info), 0);
        m_checker = std::make_unique<hal3_check::ResultChecker>(
            hal3_check::LimitsOf(hal3_check::StaticInfo(info.static_camera_characteristics), kStallNs), m_findings,
            nullptr);
        hal3_check::FindingSink::SetCurrent(&m_findings);  // the device's entry points report there
        m_device->Attach(m_checker.get());
        ASSERT_EQ(m_device->Open(module, "0"), 0);
        ASSERT_EQ(m_device->Initialize(), 0);
        std::vector<hal3_check::Finding> failures;
        ASSERT_EQ(m_streams.Configure(
                      {{zelkov::GET_HAL_PIXEL_FORMAT_YCBCR_420_888(), kWidth, kHeight, hal3_check::kUsageSwReadOften}},
                      0, &failures),
                  0);
        for (const hal3_check::Finding& failure : failures) m_findings.Add(failure);
        m_checker->SetInspector(
            [this](uint32_t frame, const hal3_check::ReturnedBuffer& buffer, hal3_check::FindingSink&) {
                {
                    std::lock_guard<std::mutex> hold(m_lock);
                    m_releaseFences[frame] = buffer.releaseFence;
                }
                m_streams.pool(0).Release(buffer.handle);
            });
        m_preview = m_device->DefaultSettings(CAMERA3_TEMPLATE_PREVIEW);
        ASSERT_NE(m_preview, nullptr);
    }

    void TearDown() override {
        if (!m_checker) return;  // the module did not load
        if (m_device->device() != nullptr) {
            EXPECT_EQ(m_device->Close(), 0);
        }
        m_checker->Sync();
        EXPECT_EQ(m_checker->InFlight(), 0u) << "frames not back after close";
        EXPECT_EQ(m_device->lateCallbacks(), 0);
        hal3_check::FindingSink::SetCurrent(nullptr);
    }

    // A request for `frame` with `buffers` buffers of the stream, the first
    // waiting on `fence`. The checker learns of a frame number once, before
    // the device sees it: a request refused for a number in use leaves it be.
    int Submit(uint32_t frame, const camera_metadata_t* settings, int fence = -1, size_t buffers = 1) {
        std::vector<camera3_stream_buffer_t> list;
        for (size_t i = 0; i < buffers; ++i) {
            buffer_handle_t* handle = m_streams.pool(0).Acquire(kStallNs);
            if (handle == nullptr) {
                for (const camera3_stream_buffer_t& buffer : list) m_streams.pool(0).Release(buffer.buffer);
                return -ETIMEDOUT;
            }
            list.push_back({m_streams.stream(0), handle, CAMERA3_BUFFER_STATUS_OK, i == 0 ? fence : -1, -1});
        }
        camera3_capture_request_t request{};
        request.frame_number = frame;
        request.settings = settings;
        request.num_output_buffers = static_cast<uint32_t>(list.size());
        request.output_buffers = list.data();
        const bool announced = m_announced.insert(frame).second;
        if (announced) m_checker->OnSubmit(request);
        const int rc = m_device->Submit(&request);
        if (rc != 0) {
            if (announced) {
                m_checker->OnSubmitFailed(frame);
                m_announced.erase(frame);
            }
            for (const camera3_stream_buffer_t& buffer : list) m_streams.pool(0).Release(buffer.buffer);
        }
        return rc;
    }

    int Flush() {
        m_checker->BeginFlush();
        const int rc = m_device->Flush();
        m_checker->EndFlush();
        return rc;
    }

    // The frames completed so far, by frame number.
    std::vector<FrameRecord> Completed() {
        std::vector<FrameRecord> frames = m_checker->TakeCompleted();
        std::sort(frames.begin(), frames.end(),
                  [](const FrameRecord& a, const FrameRecord& b) { return a.frame < b.frame; });
        return frames;
    }

    // The release fence of the frame's first buffer, or -2 before it came back.
    int ReleaseFence(uint32_t frame) {
        std::lock_guard<std::mutex> hold(m_lock);
        return m_releaseFences.count(frame) != 0 ? m_releaseFences[frame] : -2;
    }

    // Each finding of a "must" rule fails the test.
    hal3_check::FindingSink m_findings{
        {nullptr, [](const hal3_check::Finding& finding, bool) { ADD_FAILURE() << hal3_check::Text(finding); }}};
    hal3_check::DeviceConnector* const m_device = hal3_check::DeviceConnector::Make();
    std::unique_ptr<hal3_check::ResultChecker> m_checker;
    hal3_check::StreamFixture m_streams{m_device};
    const camera_metadata_t* m_preview = nullptr;
    std::set<uint32_t> m_announced;
    std::mutex m_lock;
    std::map<uint32_t, int> m_releaseFences;  // the first buffer's, as the checker saw it
};

TEST_F(DeviceTest, RequestsBreakingTheOrderOrNamingAStreamTwiceAreRefused) {
    ASSERT_EQ(Submit(10, m_preview), 0);
    const struct {
        const char* what;
        uint32_t frame;
        size_t buffers;
        int expected;
    } kCases[] = {
        {"the same frame number again", 10, 1, -EINVAL},
        {"a lower frame number", 9, 1, -EINVAL},
        {"two buffers of one stream", 11, 2, -EINVAL},
        {"the next frame, after refusals", 11, 1, 0},
        {"a gap in the numbers", 20, 1, 0},
    };
    for (const auto& c : kCases) EXPECT_EQ(Submit(c.frame, nullptr, -1, c.buffers), c.expected) << c.what;
    EXPECT_TRUE(m_checker->WaitIdle());
    EXPECT_EQ(Completed().size(), 3u);
}

TEST_F(DeviceTest, ATriggerActsOnceThoughLaterRequestsRepeatItsSettings) {
    MetadataPtr trigger(clone_camera_metadata(m_preview));
    hal3_check::SetU8(trigger, ANDROID_CONTROL_AF_MODE, hal3_check::kAfModeAuto);
    hal3_check::SetU8(trigger, ANDROID_CONTROL_AF_TRIGGER, hal3_check::kAfTriggerStart);
    for (uint32_t frame = 1; frame <= 3; ++frame) ASSERT_EQ(Submit(frame, frame == 1 ? trigger.get() : nullptr), 0);
    ASSERT_TRUE(m_checker->WaitIdle());
    const std::vector<FrameRecord> frames = Completed();
    ASSERT_EQ(frames.size(), 3u);
    const int expected[] = {hal3_check::kAfTriggerStart, hal3_check::kAfTriggerIdle, hal3_check::kAfTriggerIdle};
    for (size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(hal3_check::GetU8(frames[i].result.get(), ANDROID_CONTROL_AF_TRIGGER, -1), expected[i])
            << "frame " << frames[i].frame;
    }
}

TEST_F(DeviceTest, ABufferWhoseFenceIsInErrorFailsAndHandsTheFenceBack) {
    const int fence = ErrorFence();
    ASSERT_GE(fence, 0);
    ASSERT_EQ(Submit(1, m_preview, fence), 0);
    ASSERT_TRUE(m_checker->WaitIdle());
    const std::vector<FrameRecord> frames = Completed();
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_TRUE(frames[0].errorBuffer);
    EXPECT_EQ(frames[0].buffers[0].status, CAMERA3_BUFFER_STATUS_ERROR);
    EXPECT_EQ(ReleaseFence(1), fence);  // and open: the checker flags a closed one
}

TEST_F(DeviceTest, FlushReturnsBeforeTheExposingFrameEndsWithEveryBufferBack) {
    // Manual exposure at the sensor's longest frame (1 s): a flush that waited
    // for the frame would return after it ended.
    constexpr int64_t kFrameNs = 1000000000;
    MetadataPtr slow(clone_camera_metadata(m_preview));
    hal3_check::SetU8(slow, ANDROID_CONTROL_AE_MODE, hal3_check::kAeModeOff);
    hal3_check::Set(slow, ANDROID_SENSOR_FRAME_DURATION, &kFrameNs, 1);
    const int fence = ErrorFence();
    ASSERT_GE(fence, 0);
    constexpr uint32_t kFrames = 4;  // the pipeline's depth: none blocks
    for (uint32_t frame = 1; frame <= kFrames; ++frame)
        ASSERT_EQ(Submit(frame, frame == 1 ? slow.get() : nullptr, frame == kFrames ? fence : -1), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the first frame is exposing
    ASSERT_EQ(Flush(), 0);
    const int64_t returnedNs = BootTimeNs();
    m_checker->Sync();
    EXPECT_EQ(m_checker->InFlight(), 0u) << "a frame not back when flush returned";
    const std::vector<FrameRecord> frames = Completed();
    ASSERT_EQ(frames.size(), kFrames);
    ASSERT_FALSE(frames[0].errorRequest) << "the first frame had not started";
    EXPECT_LT(returnedNs, static_cast<int64_t>(frames[0].shutterNs) + kFrameNs)
        << "flush waited for the exposing frame to end";
    // The exposing frame may be drawn already and complete; the later ones cannot be.
    for (uint32_t i = 1; i < kFrames; ++i)
        EXPECT_EQ(frames[i].buffers[0].status, CAMERA3_BUFFER_STATUS_ERROR) << "frame " << frames[i].frame;
    EXPECT_EQ(ReleaseFence(kFrames), fence) << "a request that never started keeps its acquire fence";
    ASSERT_EQ(Submit(kFrames + 1, m_preview), 0);  // streaming resumes
    EXPECT_TRUE(m_checker->WaitIdle());
}

TEST_F(DeviceTest, RequestsAndFlushesFromSeveralThreadsThenCloseLeaveNothingBehind) {
    constexpr uint32_t kFrames = 24;
    std::atomic<uint32_t> accepted{0};
    std::atomic<bool> done{false};
    std::thread submitter([&] {
        for (uint32_t frame = 1; frame <= kFrames; ++frame) {
            if (Submit(frame, frame == 1 ? m_preview : nullptr) == 0) ++accepted;
        }
        done = true;
    });
    std::thread flusher([&] {
        while (!done) {
            EXPECT_EQ(Flush(), 0);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    submitter.join();
    flusher.join();
    EXPECT_EQ(accepted.load(), kFrames);
    // As the camera service closes: after a flush, from a thread of its own.
    EXPECT_EQ(Flush(), 0);
    std::thread closer([&] { EXPECT_EQ(m_device->Close(), 0); });
    closer.join();
    m_checker->Sync();
    EXPECT_EQ(Completed().size(), kFrames);
}

}  // namespace
}  // namespace camera_core

// The callbacks between the pipeline and the framework: the pipeline holds no
// lock of its own while it calls back, so a framework may submit from inside
// a result; and a late shutter held back by FaultyCallbacks is not overtaken
// by the shutters that come meanwhile (a checker would see them out of order
// where the fault is a legal sequence).
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <vector>

#include "FaultyCallbacks.h"
#include "Pipeline.h"

namespace camera_core {
namespace {

// Each call as a line of text; `onResult` runs inside every result.
class Recorder : public FrameworkCallbacks {
public:
    explicit Recorder(std::vector<std::string>* calls, std::function<void(uint32_t)> onResult = nullptr)
        : m_calls(calls), m_onResult(std::move(onResult)) {}
    void Shutter(uint32_t frameNumber, int64_t) override { Add("shutter " + std::to_string(frameNumber)); }
    void Error(uint32_t frameNumber, camera3_stream*, int) override { Add("error " + std::to_string(frameNumber)); }
    void Result(uint32_t frameNumber, const camera_metadata*, uint32_t partial,
                const std::vector<zelkov::ZelCamera3StreamBuffer*>&) override {
        Add("result " + std::to_string(frameNumber) + "/" + std::to_string(partial));
        if (m_onResult) m_onResult(frameNumber);
    }

private:
    void Add(std::string call) {
        std::lock_guard<std::mutex> hold(m_lock);
        m_calls->push_back(std::move(call));
    }

    std::mutex m_lock;
    std::vector<std::string>* m_calls;
    std::function<void(uint32_t)> m_onResult;
};

TEST(CallbacksTest, AFrameworkMaySubmitFromInsideItsResultCallback) {
    constexpr uint32_t kLast = 5;
    CameraConfig camera;
    camera.pipelineDepth = 1;  // the next request fits only once this one has left
    camera.fpsRanges = {30, 30};
    std::vector<std::string> calls;
    std::promise<void> done;
    Pipeline* submitTo = nullptr;
    const auto next = [](uint32_t frame) { return CaptureRequest{frame, Metadata(), {}, 33333333}; };
    Pipeline pipeline(camera,
                      std::make_unique<Recorder>(&calls,
                                                 [&](uint32_t frame) {
                                                     if (frame < kLast) submitTo->Queue(next(frame + 1));
                                                     if (frame == kLast) done.set_value();
                                                 }),
                      Faults());
    submitTo = &pipeline;
    pipeline.Queue(next(1));
    EXPECT_EQ(done.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready)
        << "a submit from the callback deadlocked";
}

TEST(CallbacksTest, ALateShutterKeepsTheShuttersInOrder) {
    std::vector<std::string> calls;
    CameraConfig camera;
    camera.partialResultCount = 2;
    FaultyCallbacks callbacks(std::make_unique<Recorder>(&calls), camera, Faults(Fault::kLateShutter, 5));
    const Metadata part;
    callbacks.Shutter(4, 0);
    callbacks.Shutter(5, 1);
    callbacks.Result(4, part.Get(), 1, {});
    callbacks.Shutter(6, 2);  // the next frame exposes before the late one's first result
    callbacks.Result(5, part.Get(), 1, {});
    callbacks.Result(5, part.Get(), 2, {});
    callbacks.Shutter(7, 3);
    const std::vector<std::string> expected = {"shutter 4", "result 4/1", "result 5/1", "shutter 5",
                                               "shutter 6", "result 5/2", "shutter 7"};
    EXPECT_EQ(calls, expected);
}

}  // namespace
}  // namespace camera_core

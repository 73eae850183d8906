// The late shutter: held back past the frame's first result, it must not be
// overtaken by the shutters that come meanwhile (a checker would see them
// out of order where the fault is a legal sequence).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FaultyCallbacks.h"

namespace camera_core {
namespace {

class Recorder : public FrameworkCallbacks {
public:
    explicit Recorder(std::vector<std::string>* calls) : m_calls(calls) {}
    void Shutter(uint32_t frameNumber, int64_t) override {
        m_calls->push_back("shutter " + std::to_string(frameNumber));
    }
    void Error(uint32_t frameNumber, camera3_stream*, int) override {
        m_calls->push_back("error " + std::to_string(frameNumber));
    }
    void Result(uint32_t frameNumber, const camera_metadata*, uint32_t partial,
                const std::vector<zelkov::ZelCamera3StreamBuffer*>&) override {
        m_calls->push_back("result " + std::to_string(frameNumber) + "/" + std::to_string(partial));
    }

private:
    std::vector<std::string>* m_calls;
};

TEST(FaultyCallbacksTest, ALateShutterKeepsTheShuttersInOrder) {
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

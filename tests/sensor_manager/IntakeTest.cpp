// One looper pass at a time, on a queue attached by hand: batching, the poll's
// time-out and read errors. Routing, the orientation and ALC rules and the
// latency history are checked against a model of their own by the intake
// fuzz target, whose seeds and findings tests/fuzz_regressions replays.
#include <cstring>
#include <memory>
#include <vector>

#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_platform::MakeSensorEvent;
using zelkov_test::LogCapture;
using Peer = zelkov::SensorListenerTestPeer;

namespace {

class IntakeTest : public zelkov_test::SensorTest {
protected:
    void SetUp() override {
        SensorTest::SetUp();
        listener = std::make_unique<SensorListener>();
        Peer::AttachQueue(*listener);
    }
    void TearDown() override {
        Peer::DetachQueue(*listener);
        listener.reset();
        SensorTest::TearDown();
    }
    std::unique_ptr<SensorListener> listener;
};

TEST_F(IntakeTest, TwentyEventsAreReadAsEightEightAndFour) {
    std::vector<ASensorEvent> events;
    for (int i = 0; i < 20; ++i) events.push_back(MakeSensorEvent(ASENSOR_TYPE_LIGHT, {static_cast<float>(i)}));
    zelkov_platform::InjectSensorEvents(events.data(), events.size(), true);
    LogCapture capture;
    EXPECT_TRUE(Peer::Pass(*listener));
    EXPECT_EQ(zelkov_platform::GetEventsResults(), (std::vector<long>{8, 8, 4, 0}));
    EXPECT_EQ(Peer::Store(*listener).light, 19.0f);
    EXPECT_TRUE(capture.Messages().empty());
}

TEST_F(IntakeTest, PassWithoutEventsEndsAtThePollTimeOut) {
    const zelkov_test::Clock::time_point start = zelkov_test::Clock::now();
    EXPECT_TRUE(Peer::Pass(*listener));
    EXPECT_LT(zelkov_test::SecondsSince(start), 1.5) << "the poll waits 300 ms";
    EXPECT_TRUE(zelkov_platform::GetEventsResults().empty());
    EXPECT_FALSE(Peer::NewData(*listener));
}

// -4 is logged with its text, -11 (try again) is not; either ends the pass.
TEST_F(IntakeTest, ReadErrorEndsThePassAndOnlyARealErrorIsLogged) {
    for (int error : {-4, -11}) {
        SCOPED_TRACE(error);
        zelkov_platform::ClearGetEventsResults();
        LogCapture capture;
        zelkov_platform::InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_LIGHT, {1.0f}), true);
        zelkov_platform::FailNextGetEvents(error);
        EXPECT_TRUE(Peer::Pass(*listener));
        EXPECT_EQ(zelkov_platform::GetEventsResults(), (std::vector<long>{error}));
        EXPECT_FALSE(Peer::NewData(*listener)) << "the pass ended at the error";
        EXPECT_EQ(capture.Messages().size(), error == -4 ? 1u : 0u);
        EXPECT_EQ(
            capture.Count(1, std::string("SensorListener.cpp: sensor_events_listener: 262: reading events failed: ") +
                                 strerror(4)),
            error == -4 ? 1 : 0);
    }
}

}  // namespace

// One looper pass at a time, on a queue attached by hand: batching, routing,
// the orientation and ALC rules, latency statistics and read errors.
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_platform::InjectSensorEvent;
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
    // Queues the events, runs one pass, and returns the new-data flag.
    bool Deliver(std::initializer_list<ASensorEvent> events) {
        std::vector<ASensorEvent> batch(events);
        zelkov_platform::InjectSensorEvents(batch.data(), batch.size(), true);
        EXPECT_TRUE(Peer::Pass(*listener));
        return Peer::NewData(*listener);
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

TEST_F(IntakeTest, PollWithoutEventsReadsNothing) {
    EXPECT_TRUE(Peer::Pass(*listener));  // times out after the poll's own 300 ms
    EXPECT_TRUE(zelkov_platform::GetEventsResults().empty());
    EXPECT_FALSE(Peer::NewData(*listener));
}

TEST_F(IntakeTest, EveryRoutedTypeFillsItsMemberAndValidBit) {
    const int64_t stamp = 123456789;
    EXPECT_TRUE(Deliver({
        MakeSensorEvent(ASENSOR_TYPE_ACCELEROMETER, {0.5f, -9.8f, 1.25f}, stamp),
        MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {0.1f, 0.2f, 0.3f}, stamp + 1),
        MakeSensorEvent(ASENSOR_TYPE_LIGHT, {321.5f}, stamp),
        MakeSensorEvent(27, {2.0f}, stamp),
        MakeSensorEvent(ASENSOR_TYPE_ROTATION_VECTOR, {0.1f, 0.2f, 0.3f, 0.9f, 0.05f}, stamp + 2),
        MakeSensorEvent(0x10029, {40.0f, 1, 2, 3, 4, 5, 6}, stamp),
        MakeSensorEvent(0x1002A, {1, 2, 3, 4, 5, 6, 7}, stamp),
        MakeSensorEvent(0x1002F, {8.5f}, stamp),
    }));
    SensorListenerEvent store = Peer::Store(*listener);
    EXPECT_EQ(store.accel.x, 0.5f);
    EXPECT_EQ(store.accel.y, -9.8f);
    EXPECT_EQ(store.accel.z, 1.25f);
    EXPECT_EQ(store.gyro.z, 0.3f);
    EXPECT_EQ(store.gyro.timestamp, stamp + 1);
    EXPECT_EQ(store.light, 321.5f);
    EXPECT_EQ(store.orientation, 2u);
    EXPECT_EQ(store.rotation.w, 0.9f);
    EXPECT_EQ(store.rotation.accuracy, 0.05f);
    EXPECT_EQ(store.rotation.timestamp, stamp + 2);
    EXPECT_EQ(store.alc.value, 40.0f);
    EXPECT_EQ(store.alc.extra[0], 0.0f) << "extra values are kept only for the rear light sensor (1000)";
    EXPECT_EQ(store.vendor_1002a.values[6], 7.0f);
    EXPECT_EQ(store.vendor_1002f, 8.5f);
    EXPECT_EQ(store.alc.sensor_type, 0.0f) << "written only by the query";
    EXPECT_EQ(Peer::ValidMask(*listener), 0xffu);
}

TEST_F(IntakeTest, UnknownTypesAreDroppedWithoutRaisingNewData) {
    EXPECT_FALSE(Deliver({MakeSensorEvent(ASENSOR_TYPE_MAGNETIC_FIELD, {1, 2, 3}), MakeSensorEvent(0, {1})}));
    EXPECT_EQ(Peer::ValidMask(*listener), 0u);
    SensorListenerEvent zero{};
    SensorListenerEvent store = Peer::Store(*listener);
    EXPECT_EQ(std::memcmp(&store, &zero, sizeof(store)), 0);
}

TEST_F(IntakeTest, OrientationOutsideZeroToThreeIsIgnored) {
    struct Case {
        float value;
        bool stored;
        uint32_t expected;
    };
    const Case cases[] = {{3.0f, true, 3}, {2.9f, true, 2}, {0.0f, true, 0},
                          {3.5f, false, 0}, {-0.5f, false, 0}, {std::numeric_limits<float>::quiet_NaN(), false, 0}};
    for (const Case& c : cases) {
        Peer::SetOptions(*listener, 1);
        // A stored 1 first, so an ignored value visibly leaves it alone.
        ASSERT_TRUE(Deliver({MakeSensorEvent(27, {1.0f})}));
        SensorListenerEvent out;
        g_enabledSensorMask = SENSOR_LISTENER_DEVICE_ORIENTATION;
        ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_DEVICE_ORIENTATION, &out, false, nullptr), 0);
        g_enabledSensorMask = 0;
        EXPECT_EQ(Deliver({MakeSensorEvent(27, {c.value})}), c.stored) << c.value;
        EXPECT_EQ(Peer::Store(*listener).orientation, c.stored ? c.expected : 1u) << c.value;
    }
}

TEST_F(IntakeTest, AlcStatusEventChangesOnlyTheStatus) {
    ASSERT_TRUE(Deliver({MakeSensorEvent(0x10029, {55.0f})}));
    SensorListenerEvent out;
    g_enabledSensorMask = SENSOR_LISTENER_ALC;
    ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_ALC, &out, false, nullptr), 0);  // clears new data
    g_enabledSensorMask = 0;

    const float statusBits = 3.5f;
    EXPECT_TRUE(Deliver({MakeSensorEvent(0x10029, {-2.0f, statusBits, 9, 9, 9, 9, 9})}));
    SensorListenerEvent store = Peer::Store(*listener);
    EXPECT_EQ(store.alc.value, 55.0f);
    uint32_t expectedStatus;
    std::memcpy(&expectedStatus, &statusBits, sizeof(expectedStatus));
    EXPECT_EQ(store.alc.status, expectedStatus) << "data[1] copied bit for bit";
    EXPECT_EQ(store.alc.extra[0], 0.0f);
    EXPECT_EQ(Peer::ValidMask(*listener), static_cast<uint32_t>(SENSOR_LISTENER_ALC));

    Deliver({MakeSensorEvent(0x10029, {-1.0f, 0.0f})});
    EXPECT_EQ(Peer::Store(*listener).alc.status, 0u);
}

TEST_F(IntakeTest, AlcExtraValuesAreKeptOnlyForTheRearLightSensor) {
    Peer::SetHrmSensorType(*listener, 7);
    Deliver({MakeSensorEvent(0x10029, {10.0f, 1, 2, 3, 4, 5, 6})});
    EXPECT_EQ(Peer::Store(*listener).alc.extra[5], 0.0f);
    Peer::SetHrmSensorType(*listener, 1000);
    Deliver({MakeSensorEvent(0x10029, {11.0f, 1, 2, 3, 4, 5, 6})});
    SensorListenerEvent store = Peer::Store(*listener);
    EXPECT_EQ(store.alc.value, 11.0f);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(store.alc.extra[i], static_cast<float>(i + 1));
}

TEST_F(IntakeTest, ThirtyOneGyroscopeEventsLeaveTheLastThirtyLatencies) {
    Peer::SetOptions(*listener, 2);
    // Timestamps 1 ms apart in the past: each latency is at least its age, and
    // they fall by about 1 ms from one event to the next.
    const int64_t base = zelkov_platform::BootTimeNs() - 1000000000LL;
    std::vector<ASensorEvent> events;
    for (int i = 0; i < 31; ++i) events.push_back(MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {0, 0, 0}, base + i * 1000000LL));
    const int64_t before = zelkov_platform::BootTimeNs();
    zelkov_platform::InjectSensorEvents(events.data(), events.size(), true);
    Peer::Pass(*listener);
    const int64_t after = zelkov_platform::BootTimeNs();

    SensorListenerExtraDataInternal stats = Peer::Latencies(*listener);
    EXPECT_EQ(stats.latency_count, 30);
    ASSERT_EQ(stats.latencies.size(), 30u);
    int64_t sum = 0;
    for (std::size_t i = 0; i < stats.latencies.size(); ++i) {
        const int64_t stamp = base + static_cast<int64_t>(i + 1) * 1000000LL;  // events 2 to 31
        EXPECT_GE(stats.latencies[i], before - stamp) << i;
        EXPECT_LE(stats.latencies[i], after - stamp) << i;
        sum += stats.latencies[i];
    }
    EXPECT_EQ(stats.latency_sum, sum);
}

TEST_F(IntakeTest, WithTheOptionOffNoLatencyIsRecorded) {
    Peer::SetOptions(*listener, 1);
    EXPECT_TRUE(Deliver({MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {1, 2, 3})}));
    EXPECT_EQ(Peer::Latencies(*listener).latency_count, 0);
    EXPECT_EQ(Peer::Store(*listener).gyro.y, 2.0f);
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
        const std::string expected =
            std::string("SensorListener.cpp: sensor_events_listener: 262: reading events failed: ") + strerror(4);
        EXPECT_EQ(capture.Count(1, expected), error == -4 ? 1 : 0);
        EXPECT_EQ(capture.Count(1, "reading events failed"), error == -4 ? 1 : 0);
    }
}

}  // namespace

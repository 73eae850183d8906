// GetSensorData: its checks in order, the wait, and the copy of one member.
#include <cstring>
#include <thread>

#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_platform::InjectSensorEvent;
using zelkov_platform::MakeSensorEvent;
using zelkov_test::LogCapture;
using zelkov_test::WaitUntil;
using Peer = zelkov::SensorListenerTestPeer;

namespace {

class QueryTest : public zelkov_test::SensorTest {
protected:
    void SetUp() override {
        SensorTest::SetUp();
        listener = LoadSensorListener();
    }
    void TearDown() override {
        zelkov_test::DisableAllAndUnload(listener);
        SensorTest::TearDown();
    }
    // Enables `type` and waits until the looper has stored one sample of `event`.
    void EnableWithSample(int type, const ASensorEvent& event, int options = 0) {
        ASSERT_EQ(listener->EnableSensor(type, 0, options), 0);
        InjectSensorEvent(event);
        ASSERT_TRUE(WaitUntil([&] { return (Peer::ValidMask(Peer::Of(listener)) & type) != 0; }));
    }
    ISensorListener* listener = nullptr;
};

TEST_F(QueryTest, ChecksRunInOrderEnabledValidSupported) {
    SensorListenerEvent event;
    LogCapture capture;
    EXPECT_EQ(listener->GetSensorData(0, &event, false, nullptr), -22);
    EXPECT_EQ(listener->GetSensorData(256, &event, false, nullptr), -22);
    EXPECT_EQ(capture.Count(1, "GetSensorData: 543: Sensor(256) is not enabled yet!"), 1);

    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_ACCELEROMETER, 0, 0), 0);
    EXPECT_EQ(listener->GetSensorData(SENSOR_LISTENER_ACCELEROMETER, &event, false, nullptr), -11);
    EXPECT_EQ(capture.Count(16, "GetSensorData: 550: Sensor(1) valid data is not coming yet!"), 1);

    InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_ACCELEROMETER, {1, 2, 3}));
    ASSERT_TRUE(WaitUntil([&] { return Peer::ValidMask(Peer::Of(listener)) != 0; }));
    EXPECT_EQ(listener->GetSensorData(3, &event, false, nullptr), -22);
    EXPECT_EQ(capture.Count(1, "GetSensorData: 724: Sensor Listener doesn't support the sensor type!(3)"), 1);
}

TEST_F(QueryTest, CopiesOnlyTheRequestedMember) {
    EnableWithSample(SENSOR_LISTENER_ACCELEROMETER, MakeSensorEvent(ASENSOR_TYPE_ACCELEROMETER, {1.5f, 2.5f, 3.5f}));
    SensorListenerEvent event;
    std::memset(&event, 0xA5, sizeof(event));
    SensorListenerEvent untouched = event;
    ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_ACCELEROMETER, &event, false, nullptr), 0);
    EXPECT_EQ(event.accel.x, 1.5f);
    EXPECT_EQ(event.accel.z, 3.5f);
    const std::size_t end = sizeof(event.accel);
    EXPECT_EQ(std::memcmp(reinterpret_cast<char*>(&event) + end, reinterpret_cast<char*>(&untouched) + end,
                          sizeof(event) - end),
              0);
}

TEST_F(QueryTest, AlcReportsTheChipCodeAsSensorType) {
    zelkov_test::SetRearLightNameFile("als\n");
    EnableWithSample(SENSOR_LISTENER_ALC, MakeSensorEvent(0x10029, {12.0f, 1, 2, 3, 4, 5, 6}));
    SensorListenerEvent event{};
    ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_ALC, &event, false, nullptr), 0);
    EXPECT_EQ(event.alc.sensor_type, 1000.0f);
    EXPECT_EQ(event.alc.value, 12.0f);
    EXPECT_EQ(event.alc.extra[5], 6.0f);
}

TEST_F(QueryTest, GyroscopeLatencyAverageFollowsTheOption) {
    EnableWithSample(SENSOR_LISTENER_GYROSCOPE, MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {1, 2, 3}));
    SensorListenerEvent event{};
    SensorListenerExtraData extra{0};
    EXPECT_EQ(listener->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, false, nullptr), 0);  // no extra record
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_ACCELEROMETER, 0, 2), 0);  // options apply listener-wide
    const int64_t now = zelkov_platform::BootTimeNs();
    for (int64_t ms : {1, 2, 3, 4, 6}) {
        InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {0, 0, static_cast<float>(ms)}, now - ms * 1000000));
    }
    ASSERT_TRUE(WaitUntil([&] { return Peer::Latencies(Peer::Of(listener)).latency_count == 5; }));
    ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, false, &extra), 0);
    SensorListenerExtraDataInternal stats = Peer::Latencies(Peer::Of(listener));
    EXPECT_EQ(extra.avg_latency_ns, stats.latency_sum / 5);
    // Each latency is its age (1, 2, 3, 4, 6 ms: 3.2 ms on average) plus the delivery time.
    EXPECT_GE(extra.avg_latency_ns, 3200000);
    EXPECT_EQ(event.gyro.z, 6.0f);
}

TEST_F(QueryTest, AverageLatencyIsTheTruncatedMeanWhileTheOptionIsOn) {
    // Options 1: the sample is stored, no latency counted.
    EnableWithSample(SENSOR_LISTENER_GYROSCOPE, MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {1, 2, 3}));
    SensorListener& object = Peer::Of(listener);
    SensorListenerEvent event{};
    SensorListenerExtraData extra{0};
    auto average = [&] {
        EXPECT_EQ(listener->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, false, &extra), 0);
        return extra.avg_latency_ns;
    };
    Peer::SetOptions(object, 2);
    EXPECT_EQ(average(), -1) << "statistics on, nothing counted yet";
    Peer::SetLatencies(object, {1000000, 2000000, 3000000, 4000000, 6000000});
    EXPECT_EQ(average(), 3200000);
    Peer::SetLatencies(object, {-7, 0});
    EXPECT_EQ(average(), -3) << "signed division truncates toward zero";
    Peer::SetOptions(object, 1);
    EXPECT_EQ(average(), -1) << "statistics off, history kept";
}

TEST_F(QueryTest, WaitingQueryReturnsWithTheNextSample) {
    EnableWithSample(SENSOR_LISTENER_GYROSCOPE, MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {1, 0, 0}));
    SensorListenerEvent event{};
    ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, false, nullptr), 0);  // clears new data
    std::thread feeder([&] {
        WaitUntil([&] { return Peer::Waiting(Peer::Of(listener)); });
        InjectSensorEvent(MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {2, 0, 0}));
    });
    ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, true, nullptr), 0);
    feeder.join();
    EXPECT_EQ(event.gyro.x, 2.0f) << "woken by the new sample, not by the time-out";
    EXPECT_FALSE(Peer::NewData(Peer::Of(listener)));
}

TEST_F(QueryTest, WaitWithNewDataAlreadySetDoesNotWait) {
    EnableWithSample(SENSOR_LISTENER_LIGHT, MakeSensorEvent(ASENSOR_TYPE_LIGHT, {7.0f}));
    ASSERT_TRUE(Peer::NewData(Peer::Of(listener)));
    SensorListenerEvent event{};
    ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_LIGHT, &event, true, nullptr), 0);
    EXPECT_EQ(event.light, 7.0f);
    EXPECT_FALSE(Peer::NewData(Peer::Of(listener)));
}

TEST_F(QueryTest, WaitingQueryIsWokenWhenTheLastTypeIsDisabled) {
    EnableWithSample(SENSOR_LISTENER_LIGHT, MakeSensorEvent(ASENSOR_TYPE_LIGHT, {7.0f}));
    SensorListenerEvent event{};
    ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_LIGHT, &event, false, nullptr), 0);
    std::thread reader([&] { EXPECT_EQ(listener->GetSensorData(SENSOR_LISTENER_LIGHT, &event, true, nullptr), 0); });
    ASSERT_TRUE(WaitUntil([&] { return Peer::Waiting(Peer::Of(listener)); }));
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_LIGHT), 0);
    reader.join();
    EXPECT_FALSE(Peer::Waiting(Peer::Of(listener)));
    EXPECT_EQ(event.light, 7.0f);
}

}  // namespace

// EnableSensor and DisableSensor: the type states, their results and what
// reaches the platform.
#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_platform::GetSensorPlatformStats;
using zelkov_platform::RegisteredSamplingPeriodUs;

namespace {

class ControlTest : public zelkov_test::SensorTest {
protected:
    void SetUp() override {
        SensorTest::SetUp();
        listener = LoadSensorListener();
    }
    // The average latency a gyroscope read reports: -1 while the statistics option is off.
    int64_t AverageLatency() {
        zelkov_platform::InjectSensorEvent(zelkov_platform::MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {1, 2, 3}));
        SensorListenerEvent event;
        SensorListenerExtraData extra{-7};
        EXPECT_TRUE(zelkov_test::WaitUntil(
            [&] { return listener->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, true, &extra) == 0; }));
        return extra.avg_latency_ns;
    }
};

TEST_F(ControlTest, TypeBitsMapToTheirPlatformTypes) {
    const int platformTypes[] = {1, 4, 5, 27, 65577, 65578, 65583, 11};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(sensorMatching(1 << i), platformTypes[i]) << (1 << i);
    for (int type : {0, 3, 256, -1}) EXPECT_EQ(sensorMatching(type), 0) << type;
}

// The list is fetched again by every call: a sensor listed after the load counts.
TEST_F(ControlTest, TypeMissingFromTheListOrTheTableIsUnsupported) {
    zelkov_platform::SetSensorList({{ASENSOR_TYPE_GYROSCOPE, "Gyro", 1}});
    EXPECT_EQ(listener->EnableSensor(SENSOR_LISTENER_LIGHT, 0, 0), -19);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_LIGHT), -19);
    EXPECT_EQ(listener->EnableSensor(3, 0, 0), -19);
    zelkov_platform::SetSensorList({{ASENSOR_TYPE_GYROSCOPE, "Gyro", 1}, {ASENSOR_TYPE_LIGHT, "Light", 2}});
    EXPECT_EQ(listener->EnableSensor(SENSOR_LISTENER_LIGHT, 0, 0), 0);
    EXPECT_EQ(g_enabledSensorMask.load(), SENSOR_LISTENER_LIGHT);
}

// A second enable is counted once and changes nothing: its period and options
// are not applied, and it is given back by a disable that answers -19.
TEST_F(ControlTest, EnableTwiceThenDisableTwice) {
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 5000, 1), 0);
    EXPECT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 1000, 2), 0);
    EXPECT_EQ(RegisteredSamplingPeriodUs(ASENSOR_TYPE_GYROSCOPE), 5000);
    EXPECT_EQ(AverageLatency(), -1) << "the second enable's options are not applied";
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), -19);
    EXPECT_EQ(RegisteredSamplingPeriodUs(ASENSOR_TYPE_GYROSCOPE), 5000) << "still registered";
    EXPECT_EQ(GetSensorPlatformStats().liveLoopers, 1) << "still running";
    // Twice again, and a third enable that is not counted: two disables end it.
    for (int i = 0; i < 3; ++i) EXPECT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 1000, 0), 0);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), -19);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    EXPECT_EQ(RegisteredSamplingPeriodUs(ASENSOR_TYPE_GYROSCOPE), -1);
    EXPECT_EQ(GetSensorPlatformStats().liveLoopers, 0);
}

// The platform aborts on a null sensor: an off type must not reach it.
TEST_F(ControlTest, DisableOfAnOffTypeReturnsZeroWithOrWithoutALoop) {
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_ACCELEROMETER), 0);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0), 0);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_ACCELEROMETER), 0);
    EXPECT_EQ(GetSensorPlatformStats().liveLoopers, 1) << "the gyroscope is still on";
}

TEST_F(ControlTest, PeriodIsClampedAndOptionsReplacedOnlyWhenNonZero) {
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_ACCELEROMETER, -20, 2), 0);
    EXPECT_EQ(RegisteredSamplingPeriodUs(ASENSOR_TYPE_ACCELEROMETER), 0);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 2500, 0), 0);
    EXPECT_EQ(RegisteredSamplingPeriodUs(ASENSOR_TYPE_GYROSCOPE), 2500);
    EXPECT_GE(AverageLatency(), 0) << "options 0 keep the statistics on";
}

TEST_F(ControlTest, NoSensorManagerFailsEveryEnableAndDisable) {
    zelkov_platform::SetSensorManagerMode(zelkov_platform::SensorManagerMode::kMissing);
    for (int bit = 1; bit <= 128; bit <<= 1) {
        EXPECT_EQ(listener->EnableSensor(bit, 0, 0), -19) << bit;
        EXPECT_EQ(listener->DisableSensor(bit), -19) << bit;
    }
    EXPECT_EQ(UnloadSensorListener(&listener), 0);
    zelkov_platform::SetSensorManagerMode(zelkov_platform::SensorManagerMode::kThrows, "no service");
    zelkov_test::LogCapture capture;
    listener = LoadSensorListener();
    EXPECT_EQ(capture.Count(1, "Failed to get SensorManager. msg=no service"), 1);
    EXPECT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0), -19);
}

}  // namespace

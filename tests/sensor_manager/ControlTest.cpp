// EnableSensor and DisableSensor: the type states, their results and what
// reaches the platform.
#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_platform::GetSensorPlatformStats;
using zelkov_platform::RegisteredSamplingPeriodUs;

namespace {

class ControlTest : public zelkov_test::LoadedSensorTest {
protected:
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

// Each bit registers the default sensor of its platform type with its period
// (a negative one counts as 0); anything else, or a type missing from the
// list, which is fetched again by every call, is unsupported.
TEST_F(ControlTest, EachTypeRegistersItsPlatformSensor) {
    const int platformTypes[] = {1, 4, 5, 27, 65577, 65578, 65583, 11};
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(listener->EnableSensor(1 << i, 1000 * i - 500, 0), 0);
        EXPECT_EQ(RegisteredSamplingPeriodUs(platformTypes[i]), i == 0 ? 0 : 1000 * i - 500) << (1 << i);
    }
    for (int type : {0, 3, 256, -1}) EXPECT_EQ(listener->EnableSensor(type, 0, 0), -19) << type;
    zelkov_platform::SetSensorList({{ASENSOR_TYPE_GYROSCOPE, "Gyro", 1}});
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_LIGHT), -19);
    EXPECT_EQ(listener->EnableSensor(SENSOR_LISTENER_LIGHT, 0, 0), -19);
    zelkov_platform::SetSensorList(zelkov_platform::DefaultSensors());  // for the disables at the end
}

// A second enable changes nothing (its period and options are not applied)
// and is given back by a disable that answers -19.
TEST_F(ControlTest, EnableTwiceThenDisableTwice) {
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 5000, 1), 0);
    EXPECT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 1000, 2), 0);
    EXPECT_EQ(RegisteredSamplingPeriodUs(ASENSOR_TYPE_GYROSCOPE), 5000);
    EXPECT_EQ(AverageLatency(), -1) << "the second enable's options are not applied";
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), -19);
    EXPECT_EQ(RegisteredSamplingPeriodUs(ASENSOR_TYPE_GYROSCOPE), 5000) << "still registered";
    EXPECT_EQ(GetSensorPlatformStats().liveLoopers, 1) << "still running";
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

// A sensor manager whose lookup throws: a listener all the same, on which
// every enable and disable fails.
TEST_F(ControlTest, NoSensorManagerFailsEveryEnableAndDisable) {
    EXPECT_EQ(UnloadSensorListener(&listener), 0);
    zelkov_platform::SetSensorManagerMode(zelkov_platform::SensorManagerMode::kThrows, "no service");
    zelkov_test::LogCapture capture;
    listener = LoadSensorListener();
    EXPECT_EQ(capture.Count(1, "Failed to get SensorManager. msg=no service"), 1);
    EXPECT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0), -19);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), -19);
}

}  // namespace

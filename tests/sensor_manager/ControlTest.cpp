// EnableSensor and DisableSensor: the type states, their results and messages.
#include <string>
#include <vector>

#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_platform::RegisteredSamplingPeriodUs;
using zelkov_test::LogCapture;
using Peer = zelkov::SensorListenerTestPeer;

namespace {

class ControlTest : public zelkov_test::SensorTest {
protected:
    void Load() { listener = LoadSensorListener(); }
};

TEST_F(ControlTest, TypeBitsMapToTheirPlatformTypes) {
    const int platformTypes[] = {1, 4, 5, 27, 65577, 65578, 65583, 11};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(sensorMatching(1 << i), platformTypes[i]) << (1 << i);
}

// The list is fetched again by every operation: the first enable sees it grown.
TEST_F(ControlTest, TypeMissingFromTheListOrTheTableIsUnsupported) {
    zelkov_platform::SetSensorList({{ASENSOR_TYPE_GYROSCOPE, "Gyro", 1}});
    Load();
    zelkov_platform::SetSensorList({{ASENSOR_TYPE_GYROSCOPE, "Gyro", 1}, {ASENSOR_TYPE_LIGHT, "Light", 2}});
    LogCapture capture;
    EXPECT_EQ(listener->EnableSensor(SENSOR_LISTENER_ACCELEROMETER, 0, 0), -19);
    EXPECT_EQ(capture.Count(1, "EnableSensor: "), 1);
    EXPECT_EQ(capture.Count(1, "Unsupported sensor type is ordered!(1)"), 1);
    EXPECT_EQ(capture.Count(8, "SensorListener.cpp: EnableSensor: "), 1);
    EXPECT_EQ(capture.Count(8, ": enableSensor : numSensors=2/1, m_sen_list = "), 1);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_ACCELEROMETER), -19);
    EXPECT_EQ(capture.Count(8, ": disableSensor : numSensors=2/2, m_sen_list = "), 1);
    EXPECT_EQ(listener->EnableSensor(3, 0, 0), -19);
    EXPECT_EQ(capture.Count(1, "sensorMatching: "), 2) << "matched once per listed sensor";
    EXPECT_EQ(capture.Count(1, "Unsupported sensor type is ordered!(3)"), 1);
    EXPECT_EQ(g_enabledSensorMask.load(), 0);
}

TEST_F(ControlTest, EnableTwiceThenDisableTwice) {
    Load();
    SensorListener& object = Peer::Of(listener);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 5000, 2), 0);
    LogCapture capture;
    EXPECT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 1000, 1), 0);
    EXPECT_EQ(capture.Count(1, "sensor(2) is already enabled! 2/2"), 1);
    EXPECT_EQ(Peer::Options(object), 2) << "the second enable's options are not applied";
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), -19);
    EXPECT_EQ(capture.Count(1, "dual sensor type is ordered!(2) 2/0"), 1);
    EXPECT_TRUE(Peer::LoopRunning(object));
    EXPECT_EQ(RegisteredSamplingPeriodUs(ASENSOR_TYPE_GYROSCOPE), 5000) << "still registered, second period unused";
    // Twice again, and a third enable that is not counted: two disables end it.
    for (int i = 0; i < 2; ++i) EXPECT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 1000, 0), 0);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), -19);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    EXPECT_EQ(g_enabledSensorMask.load() | g_dualSensorMask, 0);
    EXPECT_FALSE(Peer::LoopRunning(object));
}

// The strict platform aborts on a null sensor: an off type must not reach it.
TEST_F(ControlTest, DisableOfAnOffTypeReturnsZeroWithOrWithoutALoop) {
    Load();
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_ACCELEROMETER), 0);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0), 0);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_ACCELEROMETER), 0);
    EXPECT_TRUE(Peer::LoopRunning(Peer::Of(listener))) << "the gyroscope is still on";
}

TEST_F(ControlTest, PeriodIsClampedAndOptionsReplacedOnlyWhenNonZero) {
    Load();
    SensorListener& object = Peer::Of(listener);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_ACCELEROMETER, -20, 0), 0);
    EXPECT_EQ(RegisteredSamplingPeriodUs(ASENSOR_TYPE_ACCELEROMETER), 0);
    EXPECT_EQ(Peer::Options(object), 1);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 2500, 2), 0);
    EXPECT_EQ(RegisteredSamplingPeriodUs(ASENSOR_TYPE_GYROSCOPE), 2500);
    EXPECT_EQ(Peer::Options(object), 2);
}

TEST_F(ControlTest, NoSensorManagerFailsEveryEnableAndDisable) {
    zelkov_platform::SetSensorManagerMode(zelkov_platform::SensorManagerMode::kThrows, "no service");
    LogCapture capture;
    Load();
    EXPECT_EQ(capture.Count(1, "Failed to get SensorManager. msg=no service"), 1);
    zelkov_platform::SetSensorManagerMode(zelkov_platform::SensorManagerMode::kMissing);
    for (int bit = 1; bit <= 128; bit <<= 1) {
        EXPECT_EQ(listener->EnableSensor(bit, 0, 0), -19) << bit;
        EXPECT_EQ(listener->DisableSensor(bit), -19) << bit;
    }
    EXPECT_EQ(capture.Count(1, "ASensorManager is NULL"), 16);
    zelkov_platform::SetSensorManagerMode(zelkov_platform::SensorManagerMode::kAvailable);
}

TEST_F(ControlTest, DisableWithoutALoadedListenerReturnsZero) {
    SensorListener orphan;
    LogCapture capture;
    EXPECT_EQ(orphan.DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    EXPECT_EQ(capture.Count(1, "check g_sensorListener"), 1);
}

TEST_F(ControlTest, SecondEnableIsGivenBackBeforeTheTypeTableIsConsulted) {
    // A listed type-0 sensor lets the value 3 through the list search; with the
    // accelerometer on, enabling 3 counts as a second enable of both its bits.
    zelkov_platform::SetSensorList({{ASENSOR_TYPE_ACCELEROMETER, "Accel", 1}, {0, "Odd", 2}});
    Load();
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_ACCELEROMETER, 0, 0), 0);
    LogCapture capture;
    EXPECT_EQ(listener->EnableSensor(3, 0, 0), 0);
    EXPECT_EQ(capture.Count(1, "sensor(3) is already enabled! 1/3"), 1);
    EXPECT_EQ(listener->DisableSensor(3), -19);
    EXPECT_EQ(capture.Count(1, "dual sensor type is ordered!(3) 1/0"), 1);
    EXPECT_EQ(capture.Count(1, "DisableSensor: "), 1) << "only the dual message: the type table is not reached";
    EXPECT_EQ(listener->DisableSensor(3), -22);
    EXPECT_EQ(capture.Count(1, "doesn't support the sensor type!(3)") - capture.Count(1, "sensorMatching: "), 1);
    EXPECT_EQ(g_enabledSensorMask.load(), SENSOR_LISTENER_ACCELEROMETER);
}

}  // namespace

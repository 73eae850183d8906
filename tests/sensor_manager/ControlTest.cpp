// EnableSensor and DisableSensor: the type states, their results and messages.
#include <string>
#include <vector>

#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_platform::SimulatedSensor;
using zelkov_test::LogCapture;
using Peer = zelkov::SensorListenerTestPeer;

namespace {

class ControlTest : public zelkov_test::SensorTest {
protected:
    void TearDown() override {
        if (listener != nullptr) zelkov_test::DisableAllAndUnload(listener);
        SensorTest::TearDown();
    }
    void Load() { listener = LoadSensorListener(); }
    ISensorListener* listener = nullptr;
};

TEST_F(ControlTest, TypeAbsentFromThePlatformListIsUnsupported) {
    zelkov_platform::SetSensorList({{ASENSOR_TYPE_GYROSCOPE, "Gyro", 1}});
    Load();
    LogCapture capture;
    EXPECT_EQ(listener->EnableSensor(SENSOR_LISTENER_LIGHT, 0, 0), -19);
    EXPECT_EQ(capture.Count(1, "EnableSensor: "), 1);
    EXPECT_EQ(capture.Count(1, "Unsupported sensor type is ordered!(4)"), 1);
    EXPECT_EQ(g_enabledSensorMask.load(), 0);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_LIGHT), -19);
}

TEST_F(ControlTest, UnsupportedValueIsMatchedOncePerListedSensor) {
    Load();
    const int listed = static_cast<int>(zelkov_platform::DefaultSensors().size());
    LogCapture capture;
    EXPECT_EQ(listener->EnableSensor(3, 0, 0), -19);
    EXPECT_EQ(capture.Count(1, "sensorMatching: "), listed);
    EXPECT_EQ(capture.Count(1, "Unsupported sensor type is ordered!(3)"), 1);
    EXPECT_EQ(capture.Count(8, "enableSensor : numSensors=" + std::to_string(listed) + "/" + std::to_string(listed)),
              1);
}

TEST_F(ControlTest, EnableTwiceThenDisableTwice) {
    Load();
    SensorListener& object = Peer::Of(listener);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 5000, 0), 0);
    LogCapture capture;
    EXPECT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 1000, 0), 0);
    EXPECT_EQ(capture.Count(1, "sensor(2) is already enabled! 2/2"), 1);
    EXPECT_EQ(zelkov_platform::RegisteredSamplingPeriodUs(ASENSOR_TYPE_GYROSCOPE), 5000) << "second period unused";

    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), -19);
    EXPECT_EQ(capture.Count(1, "dual sensor type is ordered!(2) 2/0"), 1);
    EXPECT_TRUE(Peer::LoopRunning(object));
    EXPECT_EQ(zelkov_platform::RegisteredSamplingPeriodUs(ASENSOR_TYPE_GYROSCOPE), 5000) << "still registered";

    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    EXPECT_FALSE(Peer::LoopRunning(object));
    EXPECT_EQ(g_enabledSensorMask.load() | g_dualSensorMask, 0);

    // A third enable is not counted: two disables still leave the type off.
    for (int i = 0; i < 3; ++i) ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_LIGHT, 0, 0), 0);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_LIGHT), -19);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_LIGHT), 0);
    EXPECT_EQ(g_enabledSensorMask.load(), 0);
    EXPECT_FALSE(Peer::LoopRunning(object));
}

TEST_F(ControlTest, DisableOfAnOffTypeReturnsZero) {
    Load();
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_ACCELEROMETER), 0);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0), 0);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_ACCELEROMETER), 0);
    EXPECT_TRUE(Peer::LoopRunning(Peer::Of(listener))) << "the gyroscope is still on";
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
}

TEST_F(ControlTest, PeriodIsClampedAndOptionsReplacedOnlyWhenNonZero) {
    Load();
    SensorListener& object = Peer::Of(listener);
    EXPECT_EQ(Peer::Options(object), 1);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_ACCELEROMETER, -20, 0), 0);
    EXPECT_EQ(zelkov_platform::RegisteredSamplingPeriodUs(ASENSOR_TYPE_ACCELEROMETER), 0);
    EXPECT_EQ(Peer::Options(object), 1);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 2500, 2), 0);
    EXPECT_EQ(zelkov_platform::RegisteredSamplingPeriodUs(ASENSOR_TYPE_GYROSCOPE), 2500);
    EXPECT_EQ(Peer::Options(object), 2);
}

TEST_F(ControlTest, NoSensorManagerFailsEveryEnableAndDisable) {
    zelkov_platform::SetSensorManagerMode(zelkov_platform::SensorManagerMode::kThrows, "no service");
    LogCapture capture;
    Load();
    EXPECT_EQ(capture.Count(1, "Failed to get SensorManager. msg=no service"), 1);
    EXPECT_EQ(Peer::NumSensors(Peer::Of(listener)), 0);
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
    auto tableMisses = [&capture] {
        int count = 0;
        for (const LogCapture::Message& message : capture.Messages()) {
            if (message.text.rfind("SensorListener.cpp: DisableSensor: ", 0) == 0 &&
                message.text.find("doesn't support the sensor type!(3)") != std::string::npos) {
                ++count;
            }
        }
        return count;
    };
    EXPECT_EQ(listener->EnableSensor(3, 0, 0), 0);
    EXPECT_EQ(capture.Count(1, "sensor(3) is already enabled! 1/3"), 1);
    EXPECT_EQ(listener->DisableSensor(3), -19);
    EXPECT_EQ(capture.Count(1, "dual sensor type is ordered!(3) 1/0"), 1);
    EXPECT_EQ(tableMisses(), 0) << "the type table is not reached";
    EXPECT_EQ(listener->DisableSensor(3), -22);
    EXPECT_EQ(tableMisses(), 1);
    EXPECT_EQ(g_enabledSensorMask.load(), SENSOR_LISTENER_ACCELEROMETER);
}

TEST_F(ControlTest, ListRefreshIsLoggedUnderTheOperation) {
    zelkov_platform::SetSensorList({{ASENSOR_TYPE_GYROSCOPE, "Gyro", 1}});
    Load();
    LogCapture capture;
    zelkov_platform::SetSensorList({{ASENSOR_TYPE_GYROSCOPE, "Gyro", 1}, {ASENSOR_TYPE_LIGHT, "Light", 2}});
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0), 0);
    ASSERT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    std::vector<std::string> refreshes;
    for (const LogCapture::Message& message : capture.Messages()) {
        if (message.level == 8) refreshes.push_back(message.text);
    }
    ASSERT_EQ(refreshes.size(), 2u);
    EXPECT_EQ(refreshes[0].rfind("SensorListener.cpp: EnableSensor: ", 0), 0u) << refreshes[0];
    EXPECT_NE(refreshes[0].find(": enableSensor : numSensors=2/1, m_sen_list = "), std::string::npos) << refreshes[0];
    EXPECT_EQ(refreshes[1].rfind("SensorListener.cpp: DisableSensor: ", 0), 0u) << refreshes[1];
    EXPECT_NE(refreshes[1].find(": disableSensor : numSensors=2/2, m_sen_list = "), std::string::npos) << refreshes[1];
}

}  // namespace

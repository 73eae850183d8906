// The sensor listener as a camera core sees it: public headers and the
// exported load and unload, on the platform's default (simulated) device.
#include <cstddef>

#include <gtest/gtest.h>

#include <android/sensor_manager/ISensorListener.h>

using namespace zelkov;

namespace {

TEST(CameraCore, SensorListenerLoadEnableQueryDisableUnload) {
    ISensorListener* listener = LoadSensorListener();
    ASSERT_NE(listener, nullptr);
    EXPECT_EQ(LoadSensorListener(), listener);

    SensorListenerEvent event{};
    EXPECT_EQ(listener->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, false, nullptr), -22) << "not enabled";
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 5000, 2), 0);
    EXPECT_EQ(listener->EnableSensor(0, 0, 0), -19);
    int status = listener->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, false, nullptr);
    EXPECT_TRUE(status == -11 || status == 0) << status;  // -11 until the gyroscope delivers
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);

    EXPECT_EQ(UnloadSensorListener(&listener), 0);  // the second load is still outstanding
    EXPECT_EQ(UnloadSensorListener(&listener), 0);
    EXPECT_EQ(listener, nullptr);
}

TEST(CameraCore, SensorRecordsKeepTheirLayout) {
    EXPECT_EQ(sizeof(SensorListenerEvent), 152u);
    EXPECT_EQ(offsetof(SensorListenerEvent, rotation.timestamp), 144u);
    EXPECT_EQ(sizeof(SensorListenerExtraData), 8u);
}

}  // namespace

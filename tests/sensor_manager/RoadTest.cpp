// The camera core's gyroscope road through the exported entry points, on the
// simulated platform streaming a gyroscope at 200 Hz.
#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include <android/sensor_manager/ISensorListener.h>
#include <zelkov_platform/sensor_control.h>

using namespace zelkov;

namespace {

TEST(SensorRoad, LoadEnableReadWithWaitDisableUnload) {
    zelkov_platform::ResetSensorPlatform();
    ISensorListener* listener = LoadSensorListener();
    ASSERT_NE(listener, nullptr);
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 5000, 2), 0);
    int stream = zelkov_platform::StartSensorStream(ASENSOR_TYPE_GYROSCOPE, 200);

    SensorListenerEvent event{};
    SensorListenerExtraData extra{0};
    int status = -11;
    for (int attempt = 0; attempt < 1000 && status == -11; ++attempt) {
        status = listener->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, true, &extra);
        if (status == -11) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ASSERT_EQ(status, 0);
    int64_t previous = event.gyro.timestamp;
    for (int read = 0; read < 5; ++read) {
        ASSERT_EQ(listener->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, true, &extra), 0);
        EXPECT_GT(event.gyro.timestamp, previous) << "each read with wait brings a fresh sample";
        EXPECT_LE(event.gyro.timestamp, zelkov_platform::BootTimeNs());
        previous = event.gyro.timestamp;
    }
    EXPECT_GT(extra.avg_latency_ns, 0);

    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    zelkov_platform::StopSensorStream(stream);
    EXPECT_EQ(UnloadSensorListener(&listener), 0);
    EXPECT_EQ(listener, nullptr);
    zelkov_platform::SensorPlatformStats stats = zelkov_platform::GetSensorPlatformStats();
    EXPECT_EQ(stats.liveQueues, 0);
    EXPECT_EQ(stats.liveLoopers, 0);
}

}  // namespace

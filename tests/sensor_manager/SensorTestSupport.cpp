#include "SensorTestSupport.h"

#include <thread>

namespace zelkov_test {

bool WaitUntil(const std::function<bool()>& condition, double seconds) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return condition();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void SensorTest::SetUp() {
    zelkov_platform::ResetSensorPlatform();
    ASSERT_EQ(zelkov::g_sensorListener, nullptr);
    zelkov::g_sensorListenerLoadCount = 0;
}

void SensorTest::TearDown() {
    if (listener != nullptr) {
        // Second enables first, then the enable itself.
        for (int bit = 1; bit <= 128; bit <<= 1) {
            if ((zelkov::g_dualSensorMask & bit) != 0) listener->DisableSensor(bit);
            if ((zelkov::g_enabledSensorMask & bit) != 0) listener->DisableSensor(bit);
        }
        EXPECT_EQ(zelkov::UnloadSensorListener(&listener), 0);
    }
    zelkov_platform::ResetSensorPlatform();
    EXPECT_EQ(zelkov::g_sensorListener, nullptr) << "a test left a listener loaded";
    EXPECT_EQ(zelkov::g_enabledSensorMask.load() | zelkov::g_dualSensorMask, 0) << "a test left a type enabled";
    zelkov_platform::SensorPlatformStats stats = zelkov_platform::GetSensorPlatformStats();
    EXPECT_EQ(stats.liveLoopers, 0);
    EXPECT_EQ(stats.liveQueues, 0);
}

void SensorTest::EnableWithSample(int type, const ASensorEvent& event) {
    ASSERT_EQ(listener->EnableSensor(type, 0, 0), 0);
    zelkov_platform::InjectSensorEvent(event);
    zelkov::SensorListenerEvent ignored;
    ASSERT_TRUE(WaitUntil([&] { return listener->GetSensorData(type, &ignored, false, nullptr) == 0; }));
}

float SensorTest::ReadLight(bool wait) {
    zelkov::SensorListenerEvent event{};
    EXPECT_EQ(listener->GetSensorData(zelkov::SENSOR_LISTENER_LIGHT, &event, wait, nullptr), 0);
    return event.light;
}

}  // namespace zelkov_test

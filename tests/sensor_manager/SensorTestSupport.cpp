#include "SensorTestSupport.h"

#include <chrono>
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
    SetHrmNameFile(nullptr);
    SetRearLightNameFile(nullptr);
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

}  // namespace zelkov_test

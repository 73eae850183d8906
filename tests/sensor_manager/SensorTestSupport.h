#ifndef ZELKOV_TESTS_SENSOR_MANAGER_SENSOR_TEST_SUPPORT_H
#define ZELKOV_TESTS_SENSOR_MANAGER_SENSOR_TEST_SUPPORT_H

#include <chrono>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <android/sensor_manager/internal/SensorListener.h>
#include <sensorndkbridge/looper_camera.h>
#include <zelkov_platform/sensor_control.h>

#include "SensorListenerTestPeer.h"

namespace zelkov_test {

// Sets what the sysfs name files hold for getAlcStatus; null: the file is absent.
void SetHrmNameFile(const char* content);
void SetRearLightNameFile(const char* content);

// Polls `condition` until it holds or `seconds` pass; returns the last result.
bool WaitUntil(const std::function<bool()>& condition, double seconds = 10.0);

using Clock = std::chrono::steady_clock;
inline double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Every listener test starts from a fresh platform, no listener loaded and
// both name files absent, and checks on exit that no listener is left. A
// test that loads into `listener` has its enables given back and its load
// released at the end.
class SensorTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    zelkov::ISensorListener* listener = nullptr;
};

}  // namespace zelkov_test

#endif

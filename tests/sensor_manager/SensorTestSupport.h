#ifndef ZELKOV_TESTS_SENSOR_MANAGER_SENSOR_TEST_SUPPORT_H
#define ZELKOV_TESTS_SENSOR_MANAGER_SENSOR_TEST_SUPPORT_H

#include <chrono>
#include <functional>

#include <gtest/gtest.h>

#include <android/sensor_manager/internal/SensorListener.h>
#include <zelkov_platform/sensor_control.h>

namespace zelkov_test {

// Polls `condition` until it holds or `seconds` pass; returns the last result.
bool WaitUntil(const std::function<bool()>& condition, double seconds = 10.0);

using Clock = std::chrono::steady_clock;
inline double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Every listener test starts from a fresh platform and no listener loaded,
// and checks on exit that no listener, type, looper or queue is left. A test
// that loads into `listener` has its enables given back and its load
// released at the end.
class SensorTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Enables `type`, injects `event` and reads it once, so that the next
    // waiting read has to wait.
    void EnableWithSample(int type, const ASensorEvent& event);
    // The light sample that GetSensorData returns (0 on failure).
    float ReadLight(bool wait);

    zelkov::ISensorListener* listener = nullptr;
};

// The same, with `listener` loaded.
class LoadedSensorTest : public SensorTest {
protected:
    void SetUp() override {
        SensorTest::SetUp();
        listener = zelkov::LoadSensorListener();
    }
};

}  // namespace zelkov_test

#endif

// LoadSensorListener and UnloadSensorListener: load counting and the release point.
#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_test::LogCapture;

namespace {

using LoaderTest = zelkov_test::SensorTest;

TEST_F(LoaderTest, TwoLoadsShareOneListenerReleasedByTheSecondUnload) {
    LogCapture capture;
    ISensorListener* first = LoadSensorListener();
    ISensorListener* second = LoadSensorListener();
    EXPECT_EQ(first, second);
    EXPECT_EQ(capture.Count(16, ": SensorListener is called!"), 1) << "constructed once";
    EXPECT_EQ(UnloadSensorListener(&second), 0);
    EXPECT_EQ(second, first) << "still loaded once";
    EXPECT_EQ(UnloadSensorListener(&first), 0);
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(g_sensorListener, nullptr);
    EXPECT_EQ(capture.Count(16, "~SensorListener is called!"), 1);
}

TEST_F(LoaderTest, UnloadWhileATypeIsOnKeepsTheListener) {
    ISensorListener* listener = LoadSensorListener();
    ASSERT_EQ(listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0), 0);
    EXPECT_EQ(UnloadSensorListener(&listener), 0);
    ASSERT_NE(listener, nullptr);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    EXPECT_EQ(UnloadSensorListener(&listener), 0) << "no further load needed";
    EXPECT_EQ(listener, nullptr);
    EXPECT_EQ(g_sensorListenerLoadCount, -1);
}

TEST_F(LoaderTest, ReleasePointWithoutAListenerOrArgumentIsInvalid) {
    ISensorListener* none = nullptr;
    LogCapture capture;
    EXPECT_EQ(UnloadSensorListener(&none), -22);
    EXPECT_EQ(capture.Count(1, "NULL pointer is ordered!!"), 1);
    EXPECT_EQ(g_sensorListenerLoadCount, -1);
    ISensorListener* listener = LoadSensorListener();
    EXPECT_EQ(g_sensorListenerLoadCount, 1) << "a new listener starts counting at 1";
    EXPECT_EQ(UnloadSensorListener(nullptr), -22);
    EXPECT_NE(g_sensorListener, nullptr);
    EXPECT_EQ(UnloadSensorListener(&listener), 0);
    EXPECT_EQ(listener, nullptr);
}

TEST_F(LoaderTest, NullCallerPointerForgetsTheListenerWithoutDeletingIt) {
    ISensorListener* listener = LoadSensorListener();
    ISensorListener* forgotten = nullptr;
    LogCapture capture;
    EXPECT_EQ(UnloadSensorListener(&forgotten), 0);
    EXPECT_EQ(g_sensorListener, nullptr);
    EXPECT_EQ(capture.Count(16, "~SensorListener is called!"), 0);
    delete listener;  // the forgotten one, still owned by its holder
}

}  // namespace

// LoadSensorListener and UnloadSensorListener: load counting and the release point.
#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;

namespace {

using LoaderTest = zelkov_test::SensorTest;

TEST_F(LoaderTest, TwoLoadsShareOneListenerReleasedByTheSecondUnload) {
    ISensorListener* first = LoadSensorListener();
    ISensorListener* second = LoadSensorListener();
    EXPECT_EQ(first, second);
    EXPECT_EQ(UnloadSensorListener(&second), 0);
    EXPECT_EQ(second, first) << "still loaded once";
    EXPECT_EQ(UnloadSensorListener(&first), 0);
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(g_sensorListener, nullptr);
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
    EXPECT_EQ(UnloadSensorListener(&none), -22);
    EXPECT_EQ(g_sensorListenerLoadCount, -1);
    ISensorListener* listener = LoadSensorListener();
    EXPECT_EQ(g_sensorListenerLoadCount, 1) << "a new listener starts counting at 1";
    EXPECT_EQ(UnloadSensorListener(nullptr), -22);
    EXPECT_NE(g_sensorListener, nullptr);
    EXPECT_EQ(UnloadSensorListener(&listener), 0);
    EXPECT_EQ(listener, nullptr);
}

// The forgotten listener stays usable by its holder; a disable then finds no
// listener loaded and answers 0.
TEST_F(LoaderTest, NullCallerPointerForgetsTheListenerWithoutDeletingIt) {
    ISensorListener* listener = LoadSensorListener();
    ISensorListener* forgotten = nullptr;
    zelkov_test::LogCapture capture;
    EXPECT_EQ(UnloadSensorListener(&forgotten), 0);
    EXPECT_EQ(g_sensorListener, nullptr);
    EXPECT_EQ(listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    EXPECT_EQ(capture.Count(1, "check g_sensorListener"), 1);
    delete listener;
}

}  // namespace

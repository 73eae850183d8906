// LoadSensorListener and UnloadSensorListener: load counting and the release point.
#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;

namespace {

using LoaderTest = zelkov_test::SensorTest;

// The first unload keeps the listener and the caller's pointer; so does one
// while a type is on, though the count drops: one more unload, with no further
// load, releases it after the disable.
TEST_F(LoaderTest, LastUnloadWithNoTypeOnReleasesTheListener) {
    ISensorListener* first = LoadSensorListener();
    ISensorListener* second = LoadSensorListener();
    EXPECT_EQ(first, second);
    EXPECT_EQ(UnloadSensorListener(&second), 0);
    EXPECT_EQ(second, first);
    ASSERT_EQ(first->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0), 0);
    EXPECT_EQ(UnloadSensorListener(&first), 0);
    ASSERT_EQ(first, second);
    EXPECT_EQ(first->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    EXPECT_EQ(UnloadSensorListener(&first), 0);
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(g_sensorListener, nullptr);
    EXPECT_EQ(g_sensorListenerLoadCount, -1);
}

TEST_F(LoaderTest, ReleasePointWithoutAListenerOrArgumentIsInvalid) {
    ISensorListener* none = nullptr;
    EXPECT_EQ(UnloadSensorListener(&none), -22);
    listener = LoadSensorListener();
    EXPECT_EQ(g_sensorListenerLoadCount, 1) << "a new listener starts counting at 1";
    EXPECT_EQ(UnloadSensorListener(nullptr), -22);
    EXPECT_NE(g_sensorListener, nullptr);
}

// The forgotten listener stays usable by its holder; a disable then finds no
// listener loaded and answers 0.
TEST_F(LoaderTest, NullCallerPointerForgetsTheListenerWithoutDeletingIt) {
    ISensorListener* forgotten = LoadSensorListener();
    ISensorListener* none = nullptr;
    zelkov_test::LogCapture capture;
    EXPECT_EQ(UnloadSensorListener(&none), 0);
    EXPECT_EQ(g_sensorListener, nullptr);
    EXPECT_EQ(forgotten->DisableSensor(SENSOR_LISTENER_GYROSCOPE), 0);
    EXPECT_EQ(capture.Count(1, "check g_sensorListener"), 1);
    delete forgotten;
}

}  // namespace

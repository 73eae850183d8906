// The listener's vocabulary: record layouts shared with the camera core, the
// type mapping and the sensor manager lookup.
#include <cstddef>

#include "SensorTestSupport.h"
#include "common/LogCapture.h"

using namespace zelkov;
using zelkov_test::LogCapture;

namespace {

// Natural alignment puts the 64-bit timestamps on 8-byte boundaries, on
// 32-bit ARM as everywhere.
static_assert(offsetof(SensorListenerEvent, accel) == 0, "accel");
static_assert(offsetof(SensorListenerEvent, gyro) == 16, "gyro after padding to 8");
static_assert(offsetof(SensorListenerEvent, gyro.timestamp) == 32, "gyro.timestamp");
static_assert(offsetof(SensorListenerEvent, light) == 40, "light");
static_assert(offsetof(SensorListenerEvent, orientation) == 44, "orientation");
static_assert(offsetof(SensorListenerEvent, alc.value) == 48, "alc.value");
static_assert(offsetof(SensorListenerEvent, alc.sensor_type) == 52, "alc.sensor_type");
static_assert(offsetof(SensorListenerEvent, alc.status) == 56, "alc.status");
static_assert(offsetof(SensorListenerEvent, alc.extra) == 60, "alc.extra");
static_assert(offsetof(SensorListenerEvent, vendor_1002a) == 84, "vendor_1002a");
static_assert(offsetof(SensorListenerEvent, vendor_1002f) == 112, "vendor_1002f");
static_assert(offsetof(SensorListenerEvent, rotation) == 120, "rotation after padding to 8");
static_assert(offsetof(SensorListenerEvent, rotation.accuracy) == 136, "rotation.accuracy");
static_assert(offsetof(SensorListenerEvent, rotation.timestamp) == 144, "rotation.timestamp");
static_assert(sizeof(SensorListenerEvent) == 152 && alignof(SensorListenerEvent) == 8, "event size");
static_assert(sizeof(SensorListenerExtraData) == 8 && offsetof(SensorListenerExtraData, avg_latency_ns) == 0,
              "extra data");
// The platform's event record as the intake reads it.
static_assert(sizeof(ASensorEvent) == 104 && offsetof(ASensorEvent, timestamp) == 16 &&
                  offsetof(ASensorEvent, data) == 24,
              "NDK ASensorEvent layout");

using ModelTest = zelkov_test::SensorTest;

TEST_F(ModelTest, EverySupportedBitMapsToItsPlatformTypeSilently) {
    LogCapture capture;
    const int bits[] = {1, 2, 4, 8, 16, 32, 64, 128};
    const int platformTypes[] = {1, 4, 5, 27, 65577, 65578, 65583, 11};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(sensorMatching(bits[i]), platformTypes[i]) << bits[i];
    EXPECT_TRUE(capture.Messages().empty());
}

TEST_F(ModelTest, UnsupportedValuesMapToZeroWithAMessage) {
    LogCapture capture;
    for (int value : {0, 3, 256, -1}) {
        capture.Reset();
        EXPECT_EQ(sensorMatching(value), 0) << value;
        std::string message = "sensorMatching: ";
        EXPECT_EQ(capture.Count(1, "doesn't support the sensor type!(" + std::to_string(value) + ")"), 1) << value;
        EXPECT_EQ(capture.Count(1, message), 1) << value;
    }
}

TEST_F(ModelTest, SensorManagerLookupTurnsAThrowIntoALoggedNull) {
    EXPECT_NE(SensorListener::getSensorManager(), nullptr);
    zelkov_platform::SetSensorManagerMode(zelkov_platform::SensorManagerMode::kMissing);
    EXPECT_EQ(SensorListener::getSensorManager(), nullptr);

    LogCapture capture;
    zelkov_platform::SetSensorManagerMode(zelkov_platform::SensorManagerMode::kThrows, "binder died");
    EXPECT_EQ(SensorListener::getSensorManager(), nullptr);
    EXPECT_EQ(capture.Count(1, "Failed to get SensorManager. msg=binder died"), 1);
}

TEST_F(ModelTest, ListenerIsARefBaseFirstAndHandsOutItsInterfacePart) {
    ISensorListener* listener = LoadSensorListener();
    SensorListener* object = g_sensorListener;
    EXPECT_EQ(static_cast<ISensorListener*>(object), listener);
    // RefBase is the first base: the object and its RefBase part share an address.
    EXPECT_EQ(static_cast<void*>(static_cast<android::RefBase*>(object)), static_cast<void*>(object));
    EXPECT_EQ(UnloadSensorListener(&listener), 0);
    EXPECT_EQ(listener, nullptr);
}

}  // namespace

#ifndef ZELKOV_ANDROID_SENSOR_MANAGER_SENSOR_LISTENER_TYPES_H
#define ZELKOV_ANDROID_SENSOR_MANAGER_SENSOR_LISTENER_TYPES_H

#include <stdint.h>

namespace zelkov {

// The sensor types a camera core can switch on, one bit each. Any other value
// (0, several bits, 256 and above) is unsupported.
enum SensorListenerType {
    SENSOR_LISTENER_ACCELEROMETER = 1,
    SENSOR_LISTENER_GYROSCOPE = 2,
    SENSOR_LISTENER_LIGHT = 4,
    SENSOR_LISTENER_DEVICE_ORIENTATION = 8,
    SENSOR_LISTENER_ALC = 16,
    SENSOR_LISTENER_VENDOR_1002A = 32,
    SENSOR_LISTENER_VENDOR_1002F = 64,
    SENSOR_LISTENER_ROTATION_VECTOR = 128,
};

// The latest sample of every type, as the platform delivered it. Shared with
// the camera core: members, order and widths are fixed, with natural alignment
// (152 bytes; every 64-bit field on an 8-byte boundary).
struct SensorListenerEvent {
    struct {
        float x;
        float y;
        float z;
    } accel;
    struct {
        float x;
        float y;
        float z;
        int64_t timestamp;  // nanoseconds, CLOCK_BOOTTIME
    } gyro;
    float light;
    uint32_t orientation;  // 0 to 3
    struct {
        float value;
        float sensor_type;  // the HRM chip code, filled in by the query
        uint32_t status;    // data[1] of a status event, bit for bit
        float extra[6];
    } alc;
    struct {
        float values[7];
    } vendor_1002a;
    float vendor_1002f;
    struct {
        float x;
        float y;
        float z;
        float w;
        float accuracy;
        int64_t timestamp;  // nanoseconds, CLOCK_BOOTTIME
    } rotation;
};

// Extra results of a gyroscope query.
struct SensorListenerExtraData {
    // Average delivery latency of the recent gyroscope events in nanoseconds;
    // -1 when the latency statistics are off.
    int64_t avg_latency_ns;
};

}  // namespace zelkov

#endif

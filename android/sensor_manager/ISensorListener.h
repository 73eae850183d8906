#ifndef ZELKOV_ANDROID_SENSOR_MANAGER_I_SENSOR_LISTENER_H
#define ZELKOV_ANDROID_SENSOR_MANAGER_I_SENSOR_LISTENER_H

#include <android/ZelExport.h>
#include <android/sensor_manager/SensorListenerTypes.h>

namespace zelkov {

// The process-wide sensor listener. `type` is one SensorListenerType bit.
// Results: 0 on success, negated error numbers otherwise (-19 no such sensor
// or no sensor manager, -22 invalid argument, -11 no data yet, -38 thread
// already running). The slot order is part of the interface.
class ZEL_EXPORT ISensorListener {
public:
    virtual ~ISensorListener();
    // Switches `type` on; `samplingPeriodUs` below 0 counts as 0; a non-zero
    // `options` replaces the option bits (2: gyroscope latency statistics).
    virtual int EnableSensor(int type, int samplingPeriodUs, int options) = 0;
    // Gives back one EnableSensor of `type`.
    virtual int DisableSensor(int type) = 0;
    // Copies the latest sample of `type` into its member of `*event`; with
    // `wait`, first waits up to 2 s for a sample when none arrived since the
    // last read. `extra` (may be null) is filled for the gyroscope only. A
    // wait ends early when the last enabled type is switched off.
    virtual int GetSensorData(int type, SensorListenerEvent* event, bool wait, SensorListenerExtraData* extra) = 0;
};

// Hands out the one listener, creating it on first use; never null.
ZEL_EXPORT ISensorListener* LoadSensorListener();
// Gives back one load. The unload that finds no load outstanding and no type
// enabled deletes the listener and nulls `*listener`. Returns 0, or -22 when
// there is nothing to release. The deleting unload wakes reads waiting in
// GetSensorData and returns only after every read already inside the call
// has returned; a read must not start across that unload.
ZEL_EXPORT int UnloadSensorListener(ISensorListener** listener);

}  // namespace zelkov

#endif

#include <android/sensor_manager/ISensorListener.h>

#include "internal/SensorListener.h"

namespace zelkov {

ISensorListener::~ISensorListener() = default;

ISensorListener* LoadSensorListener() { return _LoadSensorListener(); }

int UnloadSensorListener(ISensorListener** listener) { return _UnloadSensorListener(listener); }

}  // namespace zelkov

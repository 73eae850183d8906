// The latest gyroscope sample, from the library's sensor listener; the core
// attaches it to every frame's result as stabilisation input.
#ifndef ZELKOV_CAMERA_CORE_GYRO_SOURCE_H
#define ZELKOV_CAMERA_CORE_GYRO_SOURCE_H

#include <android/sensor_manager/ISensorListener.h>

#include "ResultComposer.h"

namespace camera_core {

class GyroSource {
public:
    GyroSource();  // enables the gyroscope; without one the samples stay zero
    ~GyroSource();
    GyroSource(const GyroSource&) = delete;
    GyroSource& operator=(const GyroSource&) = delete;

    // The newest sample, or the previous one when nothing new has arrived.
    GyroSample Latest();

private:
    zelkov::ISensorListener* m_listener = nullptr;
    bool m_enabled = false;
    GyroSample m_last{{0.0f, 0.0f, 0.0f}, 0};
};

}  // namespace camera_core

#endif

#include "GyroSource.h"

namespace camera_core {

namespace {
constexpr int kSamplingPeriodUs = 5000;
}

GyroSource::GyroSource() : m_listener(zelkov::LoadSensorListener()) {
    m_enabled =
        m_listener != nullptr && m_listener->EnableSensor(zelkov::SENSOR_LISTENER_GYROSCOPE, kSamplingPeriodUs, 0) == 0;
}

GyroSource::~GyroSource() {
    if (m_listener == nullptr) return;
    if (m_enabled) m_listener->DisableSensor(zelkov::SENSOR_LISTENER_GYROSCOPE);
    zelkov::UnloadSensorListener(&m_listener);
}

GyroSample GyroSource::Latest() {
    zelkov::SensorListenerEvent event{};
    if (m_enabled && m_listener->GetSensorData(zelkov::SENSOR_LISTENER_GYROSCOPE, &event, false, nullptr) == 0) {
        m_last = {{event.gyro.x, event.gyro.y, event.gyro.z}, event.gyro.timestamp};
    }
    return m_last;
}

}  // namespace camera_core

// The framework's callback table, spoken to through the library's records.
#ifndef ZELKOV_CAMERA_CORE_FRAMEWORK_CALLBACKS_H
#define ZELKOV_CAMERA_CORE_FRAMEWORK_CALLBACKS_H

#include <cstdint>
#include <vector>

#include <android/wrappers/ZelCamera3Request.h>

namespace camera_core {

class FrameworkCallbacks {
public:
    explicit FrameworkCallbacks(const camera3_callback_ops* ops) : m_ops(ops) {}

    void Shutter(uint32_t frameNumber, int64_t timestampNs) const;
    // stream is null for errors of the whole request or device.
    void Error(uint32_t frameNumber, camera3_stream* stream, int code) const;
    // metadata may be null (buffers only; partial must then be 0).
    void Result(uint32_t frameNumber, const camera_metadata* metadata, uint32_t partial,
                const std::vector<zelkov::ZelCamera3StreamBuffer*>& buffers) const;

private:
    const camera3_callback_ops* m_ops;
};

}  // namespace camera_core

#endif

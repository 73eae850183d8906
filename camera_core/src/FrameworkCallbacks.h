// What the pipeline tells the framework: shutters, errors and results.
// CallbackOps says it through the framework's callback table; a decorator
// (FaultyCallbacks) may stand between the two.
#ifndef ZELKOV_CAMERA_CORE_FRAMEWORK_CALLBACKS_H
#define ZELKOV_CAMERA_CORE_FRAMEWORK_CALLBACKS_H

#include <cstdint>
#include <vector>

#include <android/wrappers/ZelCamera3Request.h>

namespace camera_core {

// Called from the pipeline's threads and from the thread that flushes.
class FrameworkCallbacks {
public:
    virtual ~FrameworkCallbacks() = default;

    virtual void Shutter(uint32_t frameNumber, int64_t timestampNs) = 0;
    // stream is null for errors of the whole request or device.
    virtual void Error(uint32_t frameNumber, camera3_stream* stream, int code) = 0;
    // metadata may be null (buffers only; partial must then be 0).
    virtual void Result(uint32_t frameNumber, const camera_metadata* metadata, uint32_t partial,
                        const std::vector<zelkov::ZelCamera3StreamBuffer*>& buffers) = 0;
};

// The framework's callback table, spoken to through the library's records.
class CallbackOps final : public FrameworkCallbacks {
public:
    explicit CallbackOps(const camera3_callback_ops* ops) : m_ops(ops) {}

    void Shutter(uint32_t frameNumber, int64_t timestampNs) override;
    void Error(uint32_t frameNumber, camera3_stream* stream, int code) override;
    void Result(uint32_t frameNumber, const camera_metadata* metadata, uint32_t partial,
                const std::vector<zelkov::ZelCamera3StreamBuffer*>& buffers) override;

private:
    const camera3_callback_ops* m_ops;
};

}  // namespace camera_core

#endif

// The faults that only bend the stream of callbacks, made between the
// pipeline and the framework: a buffer dropped or returned twice, a shutter
// late or with the wrong timestamp, a partial result out of range, and the
// broken error modes (an ERROR_RESULT on a good frame; metadata after the
// pipeline's ERROR_REQUEST; the pipeline's ERROR_BUFFER withheld).
#ifndef ZELKOV_CAMERA_CORE_FAULTY_CALLBACKS_H
#define ZELKOV_CAMERA_CORE_FAULTY_CALLBACKS_H

#include <deque>
#include <memory>
#include <mutex>

#include "Config.h"
#include "Faults.h"
#include "FrameworkCallbacks.h"
#include "Metadata.h"

namespace camera_core {

class FaultyCallbacks final : public FrameworkCallbacks {
public:
    FaultyCallbacks(std::unique_ptr<FrameworkCallbacks> framework, const CameraConfig& camera, Faults faults);

    void Shutter(uint32_t frameNumber, int64_t timestampNs) override;
    void Error(uint32_t frameNumber, camera3_stream* stream, int code) override;
    void Result(uint32_t frameNumber, const camera_metadata* metadata, uint32_t partial,
                const std::vector<zelkov::ZelCamera3StreamBuffer*>& buffers) override;

private:
    struct HeldShutter {
        uint32_t frameNumber;
        int64_t timestampNs;
    };
    // After the late frame's first result, the shutters held back since.
    void ReleaseShutters(uint32_t frameNumber);

    const std::unique_ptr<FrameworkCallbacks> m_framework;
    const Faults m_faults;
    const uint32_t m_partialCount;
    Metadata m_unwantedResult;  // sent after ERROR_REQUEST
    std::mutex m_lock;          // never held while the framework is called
    // The late shutter and the shutters after it, which keep their order.
    std::deque<HeldShutter> m_heldShutters;
};

}  // namespace camera_core

#endif

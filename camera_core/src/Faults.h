// Deliberate camera3 rule violations, one at a time, so that a framework-side
// checker can be shown to catch each. Chosen by $ZELKOV_CAMERA_FAULT
// ("<name>[@<frame>]", frame 5 by default), else by the camera's "fault".
// The pipeline carries out what needs it (a stall, the legal error modes);
// FaultyCallbacks bends the stream of callbacks for the rest.
#ifndef ZELKOV_CAMERA_CORE_FAULTS_H
#define ZELKOV_CAMERA_CORE_FAULTS_H

#include <cstdint>
#include <string>

#include "Config.h"

namespace camera_core {

enum class Fault {
    kNone,
    kDropBuffer,       // a buffer never returned
    kDuplicateBuffer,  // a buffer returned twice
    kLateShutter,      // shutter after the frame's first result
    kWrongTimestamp,   // shutter timestamp differs from android.sensor.timestamp
    kBadPartial,       // partial_result above the partial result count
    kStall,            // nothing delivered from the frame on
    kErrorRequest,     // a correct ERROR_REQUEST for the frame
    kErrorRequestBad,  // ERROR_REQUEST, then result metadata anyway
    kErrorResult,      // a correct ERROR_RESULT: shutter and buffers, no metadata
    kErrorResultBad,   // ERROR_RESULT, then the final result metadata anyway
    kErrorBuffer,      // a correct ERROR_BUFFER: the first buffer returns in error
    kErrorBufferBad,   // the first buffer returns in error without ERROR_BUFFER
};

class Faults {
public:
    // The fault in force for a camera; unknown names are reported and ignored.
    static Faults FromEnvironmentOr(const FaultConfig& config);

    Faults() = default;
    Faults(Fault fault, uint32_t frame) : m_fault(fault), m_frame(frame) {}

    // Whether `fault` strikes at this frame (kStall: at this frame or later).
    bool At(Fault fault, uint32_t frame) const;
    Fault Kind() const { return m_fault; }
    // The pipeline's share: a stall or a legal error mode, which a broken
    // error mode of a request or buffer starts from; none for the others.
    Faults InPipeline() const;
    // Whether FaultyCallbacks has a part in the fault.
    bool InCallbacks() const { return m_fault != InPipeline().m_fault; }
    static const char* Name(Fault fault);

private:
    Fault m_fault = Fault::kNone;
    uint32_t m_frame = 0;
};

}  // namespace camera_core

#endif

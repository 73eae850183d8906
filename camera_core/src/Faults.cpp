#include "Faults.h"

#include <cstdio>
#include <cstdlib>

namespace camera_core {
namespace {

constexpr Fault kAll[] = {Fault::kDropBuffer,  Fault::kDuplicateBuffer, Fault::kLateShutter,  Fault::kWrongTimestamp,
                          Fault::kBadPartial,  Fault::kStall,           Fault::kErrorRequest, Fault::kErrorRequestBad,
                          Fault::kErrorResult, Fault::kErrorResultBad,  Fault::kErrorBuffer,  Fault::kErrorBufferBad};

Faults Parse(const std::string& name, uint32_t frame) {
    for (Fault fault : kAll) {
        if (name == Faults::Name(fault)) return Faults(fault, frame);
    }
    std::fprintf(stderr, "camera_core: unknown fault \"%s\" ignored\n", name.c_str());
    return Faults();
}

}  // namespace

const char* Faults::Name(Fault fault) {
    switch (fault) {
        case Fault::kDropBuffer: return "drop_buffer";
        case Fault::kDuplicateBuffer: return "duplicate_buffer";
        case Fault::kLateShutter: return "late_shutter";
        case Fault::kWrongTimestamp: return "wrong_timestamp";
        case Fault::kBadPartial: return "bad_partial";
        case Fault::kStall: return "stall";
        case Fault::kErrorRequest: return "error_request";
        case Fault::kErrorRequestBad: return "error_request_bad";
        case Fault::kErrorResult: return "error_result";
        case Fault::kErrorResultBad: return "error_result_bad";
        case Fault::kErrorBuffer: return "error_buffer";
        case Fault::kErrorBufferBad: return "error_buffer_bad";
        case Fault::kNone: break;
    }
    return "none";
}

Faults Faults::FromEnvironmentOr(const FaultConfig& config) {
    const char* text = std::getenv("ZELKOV_CAMERA_FAULT");
    if (text == nullptr || *text == '\0') return config.name.empty() ? Faults() : Parse(config.name, config.frame);
    const std::string request = text;
    const size_t at = request.find('@');
    if (at == std::string::npos) return Parse(request, 5);
    return Parse(request.substr(0, at), static_cast<uint32_t>(std::strtoul(request.c_str() + at + 1, nullptr, 10)));
}

Faults Faults::InPipeline() const {
    switch (m_fault) {
        case Fault::kStall:
        case Fault::kErrorRequest:
        case Fault::kErrorResult:
        case Fault::kErrorBuffer: return *this;
        case Fault::kErrorRequestBad: return Faults(Fault::kErrorRequest, m_frame);
        case Fault::kErrorBufferBad: return Faults(Fault::kErrorBuffer, m_frame);
        default: return Faults();
    }
}

bool Faults::At(Fault fault, uint32_t frame) const {
    if (fault != m_fault) return false;
    return fault == Fault::kStall ? frame >= m_frame : frame == m_frame;
}

}  // namespace camera_core

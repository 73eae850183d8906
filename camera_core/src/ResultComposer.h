// Result metadata of one frame: the request's settings echoed, plus what the
// sensor and 3A produced, split into the camera's partial results.
#ifndef ZELKOV_CAMERA_CORE_RESULT_COMPOSER_H
#define ZELKOV_CAMERA_CORE_RESULT_COMPOSER_H

#include <cstdint>
#include <vector>

#include "Metadata.h"
#include "ThreeA.h"

namespace camera_core {

struct GyroSample {
    float xyz[3];
    int64_t timestampNs;
};

struct FrameFacts {
    int64_t timestampNs;
    int64_t frameDurationNs;
    uint8_t pipelineDepth;
    ThreeAState threeA;
    GyroSample gyro;
    int64_t frameCounter;
};

class ResultComposer {
public:
    // The tags a result carries beyond the echoed request keys.
    static const std::vector<unsigned int>& DynamicTags();

    static Metadata Compose(const Metadata& settings, const FrameFacts& facts);

    // Deals the entries out to `count` buffers, each non-empty when there are
    // enough entries; no tag lands in two of them.
    static std::vector<Metadata> Split(const Metadata& result, uint32_t count);
};

}  // namespace camera_core

#endif

// Result metadata of one frame: the request's settings echoed, plus what the
// sensor, the lens and 3A produced, split into the camera's partial results by
// meaning: 3A first (what a framework waits for to run its own control loop),
// then the sensor and lens, then the rest.
#ifndef ZELKOV_CAMERA_CORE_RESULT_COMPOSER_H
#define ZELKOV_CAMERA_CORE_RESULT_COMPOSER_H

#include <cstdint>
#include <vector>

#include "Config.h"
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
    ThreeAResult threeA;
    GyroSample gyro;
    int64_t frameCounter;
};

class ResultComposer {
public:
    // The tags a result carries beyond the echoed request keys.
    static const std::vector<unsigned int>& DynamicTags();

    static Metadata Compose(const Metadata& settings, const FrameFacts& facts, const CameraConfig& camera);

    // The partial (1..count) that carries a tag.
    static uint32_t PartialOf(unsigned int tag, uint32_t count);
    // One buffer per partial; no tag lands in two of them.
    static std::vector<Metadata> Split(const Metadata& result, uint32_t count);
};

// The time between the first and the last row's exposure start.
int64_t RollingShutterSkewNs(const CameraConfig& camera);

}  // namespace camera_core

#endif

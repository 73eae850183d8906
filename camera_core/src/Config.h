// The cameras this core simulates, as read from the JSON configuration.
#ifndef ZELKOV_CAMERA_CORE_CONFIG_H
#define ZELKOV_CAMERA_CORE_CONFIG_H

#include <cstdint>
#include <string>
#include <vector>

namespace camera_core {

struct StreamConfig {
    int format;  // platform pixel format
    uint32_t width;
    uint32_t height;
    int64_t minFrameDurationNs;
    int64_t stallDurationNs;
};

struct FaultConfig {
    std::string name;  // empty: no fault
    uint32_t frame = 5;
};

struct CameraConfig {
    int facing = 0;  // 0 back, 1 front (camera_info's values)
    int orientation = 0;
    uint32_t pixelWidth = 0;
    uint32_t pixelHeight = 0;
    int32_t activeArray[4] = {0, 0, 0, 0};  // left, top, width, height
    std::vector<StreamConfig> streams;
    std::vector<int32_t> fpsRanges;  // min, max pairs
    uint32_t partialResultCount = 1;
    uint32_t pipelineDepth = 4;
    uint32_t maxBuffers = 4;
    uint32_t seed = 1;
    bool flash = false;
    int64_t sceneExposureNs = 10000000;  // what the simulated scene needs at the lowest gain
    FaultConfig fault;
};

// The configured output of that format and size, or null.
const StreamConfig* FindStream(const CameraConfig& camera, int format, uint32_t width, uint32_t height);

// Reads the cameras of a configuration file; false with a message on any
// missing or malformed field.
bool LoadCameraConfigs(const std::string& path, std::vector<CameraConfig>* cameras, std::string* error);

// The file the module reads: $ZELKOV_CAMERA_CONFIG, else camera.default.json
// beside the module.
std::string ConfigPath();

}  // namespace camera_core

#endif

#include "Config.h"

#include <dlfcn.h>

#include <cstdlib>
#include <fstream>

#include <nlohmann/json.hpp>

#include <android/constants/PixelFormatConstants.h>

namespace camera_core {
namespace {

using nlohmann::json;

// Format names of the configuration. The flexible formats are laid out as
// NV12 by the platform's allocator, so "NV12" names the flexible format.
bool ParseFormat(const std::string& name, int* format) {
    const struct {
        const char* name;
        int (*value)();
    } kFormats[] = {
        {"NV21", zelkov::GET_HAL_PIXEL_FORMAT_YCRCB_420_SP},
        {"NV12", zelkov::GET_HAL_PIXEL_FORMAT_YCBCR_420_888},
        {"YV12", zelkov::GET_HAL_PIXEL_FORMAT_YV12},
        {"YCbCr_420_888", zelkov::GET_HAL_PIXEL_FORMAT_YCBCR_420_888},
        {"IMPLEMENTATION_DEFINED", zelkov::GET_HAL_PIXEL_FORMAT_IMPLEMENTATION_DEFINED},
        {"BLOB", zelkov::GET_HAL_PIXEL_FORMAT_BLOB},
    };
    for (const auto& known : kFormats) {
        if (name == known.name) {
            *format = known.value();
            return true;
        }
    }
    return false;
}

CameraConfig ParseCamera(const json& node, size_t index) {
    CameraConfig camera;
    if (node.at("id").get<size_t>() != index) throw std::runtime_error("camera ids must be 0, 1, ... in order");
    const std::string facing = node.at("facing").get<std::string>();
    if (facing != "back" && facing != "front") throw std::runtime_error("facing must be back or front");
    camera.facing = facing == "back" ? 0 : 1;
    camera.orientation = node.at("orientation").get<int>();
    camera.pixelWidth = node.at("pixel_array").at(0).get<uint32_t>();
    camera.pixelHeight = node.at("pixel_array").at(1).get<uint32_t>();
    const json& active = node.at("active_array");
    for (int i = 0; i < 4; ++i) camera.activeArray[i] = active.at(i).get<int32_t>();
    camera.partialResultCount = node.value("partial_result_count", 1u);
    camera.pipelineDepth = node.value("pipeline_depth", 4u);
    camera.maxBuffers = node.value("max_buffers", 4u);
    camera.seed = node.value("seed", static_cast<uint32_t>(index + 1));
    camera.flash = node.value("flash", false);
    camera.sceneExposureNs = node.value("scene_exposure_ns", camera.sceneExposureNs);
    for (const json& range : node.at("fps_ranges")) {
        camera.fpsRanges.push_back(range.at(0).get<int32_t>());
        camera.fpsRanges.push_back(range.at(1).get<int32_t>());
    }
    for (const json& stream : node.at("streams")) {
        StreamConfig config{};
        const std::string format = stream.at("format").get<std::string>();
        if (!ParseFormat(format, &config.format)) throw std::runtime_error("unknown format " + format);
        config.width = stream.at("size").at(0).get<uint32_t>();
        config.height = stream.at("size").at(1).get<uint32_t>();
        config.minFrameDurationNs = stream.at("min_frame_duration_ns").get<int64_t>();
        config.stallDurationNs = stream.value("stall_duration_ns", int64_t{0});
        camera.streams.push_back(config);
    }
    if (node.contains("fault")) {
        camera.fault.name = node["fault"].at("name").get<std::string>();
        camera.fault.frame = node["fault"].value("frame", 5u);
    }
    if (camera.partialResultCount < 1 || camera.pipelineDepth < 1 || camera.maxBuffers < 1 || camera.streams.empty() ||
        camera.fpsRanges.empty()) {
        throw std::runtime_error(
            "partial_result_count, pipeline_depth, max_buffers, streams and fps_ranges must be set");
    }
    // Results split by meaning into three parts at most: 3A, sensor and lens, the rest.
    if (camera.partialResultCount > 3) throw std::runtime_error("partial_result_count must be 1 to 3");
    if (camera.sceneExposureNs <= 0) throw std::runtime_error("scene_exposure_ns must be positive");
    return camera;
}

}  // namespace

const StreamConfig* FindStream(const CameraConfig& camera, int format, uint32_t width, uint32_t height) {
    for (const StreamConfig& stream : camera.streams) {
        if (stream.format == format && stream.width == width && stream.height == height) return &stream;
    }
    return nullptr;
}

bool LoadCameraConfigs(const std::string& path, std::vector<CameraConfig>* cameras, std::string* error) {
    std::ifstream file(path);
    if (!file) {
        *error = "cannot open " + path;
        return false;
    }
    try {
        const json root = json::parse(file);
        const json& list = root.at("cameras");
        cameras->clear();
        for (size_t i = 0; i < list.size(); ++i) cameras->push_back(ParseCamera(list[i], i));
    } catch (const std::exception& e) {
        *error = path + ": " + e.what();
        return false;
    }
    return true;
}

std::string ConfigPath() {
    const char* fromEnvironment = std::getenv("ZELKOV_CAMERA_CONFIG");
    if (fromEnvironment != nullptr && *fromEnvironment != '\0') return fromEnvironment;
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&ConfigPath), &info) == 0 || info.dli_fname == nullptr) {
        return "camera.default.json";
    }
    std::string path = info.dli_fname;
    const size_t slash = path.rfind('/');
    return (slash == std::string::npos ? std::string() : path.substr(0, slash + 1)) + "camera.default.json";
}

}  // namespace camera_core

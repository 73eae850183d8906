#include "Metadata.h"

#include <hardware/camera_common.h>
#include <system/graphics.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <tuple>

namespace hal3_check {

camera_metadata_ro_entry_t Find(const camera_metadata_t* m, uint32_t tag) {
    camera_metadata_ro_entry_t e{};
    if (m == nullptr || find_camera_metadata_ro_entry(m, tag, &e) != 0) e.count = 0;
    return e;
}

bool Has(const camera_metadata_t* m, uint32_t tag) { return Find(m, tag).count > 0; }

int64_t GetI64(const camera_metadata_t* m, uint32_t tag, int64_t fallback) {
    auto e = Find(m, tag);
    return e.count > 0 && e.type == TYPE_INT64 ? e.data.i64[0] : fallback;
}

int32_t GetI32(const camera_metadata_t* m, uint32_t tag, int32_t fallback) {
    auto e = Find(m, tag);
    return e.count > 0 && e.type == TYPE_INT32 ? e.data.i32[0] : fallback;
}

int GetU8(const camera_metadata_t* m, uint32_t tag, int fallback) {
    auto e = Find(m, tag);
    return e.count > 0 && e.type == TYPE_BYTE ? e.data.u8[0] : fallback;
}

std::string TagName(uint32_t tag) {
    const char* section = get_camera_metadata_section_name(tag);
    const char* name = get_camera_metadata_tag_name(tag);
    if (section && name) return std::string(section) + "." + name;
    char hex[16];
    snprintf(hex, sizeof hex, "0x%08x", tag);
    return hex;
}

std::vector<uint32_t> Tags(const camera_metadata_t* m) {
    std::vector<uint32_t> tags;
    size_t n = m ? get_camera_metadata_entry_count(m) : 0;
    for (size_t i = 0; i < n; ++i) {
        camera_metadata_ro_entry_t e;
        if (get_camera_metadata_ro_entry(m, i, &e) == 0) tags.push_back(e.tag);
    }
    return tags;
}

void Set(MetadataPtr& m, uint32_t tag, const void* data, size_t count) {
    camera_metadata_entry_t e;
    if (find_camera_metadata_entry(m.get(), tag, &e) == 0) delete_camera_metadata_entry(m.get(), e.index);
    size_t bytes = calculate_camera_metadata_entry_data_size(get_camera_metadata_tag_type(tag), count);
    if (get_camera_metadata_entry_count(m.get()) + 1 > get_camera_metadata_entry_capacity(m.get()) ||
        get_camera_metadata_data_count(m.get()) + bytes > get_camera_metadata_data_capacity(m.get())) {
        MetadataPtr bigger(allocate_camera_metadata(get_camera_metadata_entry_capacity(m.get()) * 2 + 8,
                                                    get_camera_metadata_data_capacity(m.get()) * 2 + bytes + 64));
        append_camera_metadata(bigger.get(), m.get());
        m = std::move(bigger);
    }
    add_camera_metadata_entry(m.get(), tag, data, count);
}

void SetU8(MetadataPtr& m, uint32_t tag, uint8_t v) { Set(m, tag, &v, 1); }

std::vector<StreamConfig> OutputConfigs(const camera_metadata_t* s) {
    std::map<std::tuple<int64_t, int64_t, int64_t>, int64_t> minFrame, stall;
    auto durations = [&](uint32_t tag, auto& table) {
        auto e = Find(s, tag);
        for (size_t i = 0; e.type == TYPE_INT64 && i + 3 < e.count; i += 4)
            table[{e.data.i64[i], e.data.i64[i + 1], e.data.i64[i + 2]}] = e.data.i64[i + 3];
    };
    durations(ANDROID_SCALER_AVAILABLE_MIN_FRAME_DURATIONS, minFrame);
    durations(ANDROID_SCALER_AVAILABLE_STALL_DURATIONS, stall);
    std::vector<StreamConfig> out;
    auto e = Find(s, ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS);
    for (size_t i = 0; e.type == TYPE_INT32 && i + 3 < e.count; i += 4) {
        const int32_t* c = e.data.i32 + i;
        if (c[3] != kStreamOutput) continue;
        std::tuple<int64_t, int64_t, int64_t> key{c[0], c[1], c[2]};
        out.push_back({c[0], c[1], c[2], minFrame.count(key) ? minFrame[key] : -1, stall.count(key) ? stall[key] : -1});
    }
    return out;
}

StaticInfo::StaticInfo(const camera_metadata_t* m)
    : m_raw(m),
      m_partialCount(uint32_t(std::max(1, GetI32(m, ANDROID_REQUEST_PARTIAL_RESULT_COUNT, 1)))),
      m_pipelineMaxDepth(std::max(0, GetU8(m, ANDROID_REQUEST_PIPELINE_MAX_DEPTH, 0))),
      m_hardwareLevel(GetU8(m, ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL, -1)),
      m_outputs(OutputConfigs(m)) {
    auto keys = Find(m, ANDROID_REQUEST_AVAILABLE_RESULT_KEYS);
    for (size_t i = 0; keys.type == TYPE_INT32 && i < keys.count; ++i) m_resultKeys.insert(uint32_t(keys.data.i32[i]));
}

std::vector<StreamConfig> StaticInfo::Outputs(int32_t format) const {
    std::vector<StreamConfig> out;
    std::copy_if(m_outputs.begin(), m_outputs.end(), std::back_inserter(out),
                 [&](const StreamConfig& c) { return c.format == format; });
    std::sort(out.begin(), out.end(),
              [](const auto& a, const auto& b) { return int64_t(a.width) * a.height > int64_t(b.width) * b.height; });
    return out;
}

int64_t StaticInfo::longestFrameAndStallNs() const {
    int64_t frame = 0, stall = 0;
    for (const auto& c : m_outputs) {
        frame = std::max(frame, c.minFrameNs);
        stall = std::max(stall, c.stallNs);
    }
    return frame + stall;
}

namespace {

struct Failures {
    std::vector<Finding> list;
    void operator()(RuleId rule, bool ok, const std::string& what) {
        if (!ok) list.push_back({rule, kNoFrame, what});
    }
};

// Keys every HAL3 camera publishes in its characteristics.
const uint32_t kRequiredStaticKeys[] = {
    ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL,
    ANDROID_REQUEST_AVAILABLE_CAPABILITIES,
    ANDROID_REQUEST_PARTIAL_RESULT_COUNT,
    ANDROID_REQUEST_PIPELINE_MAX_DEPTH,
    ANDROID_REQUEST_MAX_NUM_OUTPUT_STREAMS,
    ANDROID_REQUEST_AVAILABLE_REQUEST_KEYS,
    ANDROID_REQUEST_AVAILABLE_RESULT_KEYS,
    ANDROID_REQUEST_AVAILABLE_CHARACTERISTICS_KEYS,
    ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS,
    ANDROID_SCALER_AVAILABLE_MIN_FRAME_DURATIONS,
    ANDROID_SCALER_AVAILABLE_STALL_DURATIONS,
    ANDROID_JPEG_MAX_SIZE,
    ANDROID_JPEG_AVAILABLE_THUMBNAIL_SIZES,
    ANDROID_SENSOR_INFO_TIMESTAMP_SOURCE,
    ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE,
    ANDROID_SENSOR_INFO_PIXEL_ARRAY_SIZE,
    ANDROID_SENSOR_ORIENTATION,
    ANDROID_LENS_FACING,
    ANDROID_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES,
    ANDROID_SYNC_MAX_LATENCY,
};

}  // namespace

std::vector<Finding> CheckStaticMetadata(const camera_metadata_t* s, int facing, int orientation) {
    Failures f;
    f(RuleId::kStaticStructure, s != nullptr, "no static metadata");
    if (s == nullptr) return f.list;
    f(RuleId::kStaticStructure, validate_camera_metadata_structure(s, nullptr) == 0, "static metadata is malformed");
    if (!f.list.empty()) return f.list;  // nothing in it can be trusted
    StaticInfo info(s);
    for (uint32_t tag : kRequiredStaticKeys) f(RuleId::kStaticKeys, Has(s, tag), "missing " + TagName(tag));

    int level = info.hardwareLevel();
    f(RuleId::kStaticHardwareLevel, level <= ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_EXTERNAL,
      "unknown hardware level " + std::to_string(level));
    auto caps = Find(s, ANDROID_REQUEST_AVAILABLE_CAPABILITIES);
    bool backward = false;
    for (size_t i = 0; i < caps.count; ++i) backward |= caps.data.u8[i] == kCapabilityBackwardCompatible;
    f(RuleId::kStaticCapabilities, backward, "BACKWARD_COMPATIBLE missing from the capabilities");
    f(RuleId::kStaticPartialCount, GetI32(s, ANDROID_REQUEST_PARTIAL_RESULT_COUNT, 1) >= 1, "partial result count < 1");
    f(RuleId::kStaticPipelineDepth, GetU8(s, ANDROID_REQUEST_PIPELINE_MAX_DEPTH, 1) >= 1, "pipeline max depth < 1");
    auto maxStreams = Find(s, ANDROID_REQUEST_MAX_NUM_OUTPUT_STREAMS);
    f(RuleId::kStaticMaxStreams, maxStreams.count == 0 || (maxStreams.count == 3 && maxStreams.data.i32[1] >= 1),
      "max output streams must be 3 values with at least one processed stream");

    // Every key the camera lists among its characteristics is present.
    auto listed = Find(s, ANDROID_REQUEST_AVAILABLE_CHARACTERISTICS_KEYS);
    for (size_t i = 0; i < listed.count; ++i)
        f(RuleId::kStaticKeysListed, Has(s, uint32_t(listed.data.i32[i])),
          "listed characteristic " + TagName(uint32_t(listed.data.i32[i])) + " is absent");

    f(RuleId::kStaticStreamConfigs, !info.outputs().empty(), "no output stream configuration");
    bool blob = false;
    for (const auto& c : info.outputs()) {
        char name[64];
        snprintf(name, sizeof name, "%dx%d format 0x%x", c.width, c.height, unsigned(c.format));
        f(RuleId::kStaticStreamDurations, c.minFrameNs > 0, std::string(name) + " has no min frame duration");
        // These never stall; a stall of 0, listed or not, is no stall.
        switch (c.format) {
            case HAL_PIXEL_FORMAT_YCBCR_420_888:
            case HAL_PIXEL_FORMAT_IMPLEMENTATION_DEFINED:
            case HAL_PIXEL_FORMAT_RAW10:
            case HAL_PIXEL_FORMAT_RAW12:
            case HAL_PIXEL_FORMAT_Y8:
                f(RuleId::kStaticStreamDurations, c.stallNs <= 0,
                  std::string(name) + " stalls " + std::to_string(c.stallNs) + " ns; the format never stalls");
                break;
        }
        blob |= c.format == HAL_PIXEL_FORMAT_BLOB;
    }
    f(RuleId::kStaticJpeg, blob, "no JPEG (BLOB) output");
    f(RuleId::kStaticJpeg, GetI32(s, ANDROID_JPEG_MAX_SIZE, 0) > 0, "JPEG max size is not positive");
    auto thumbs = Find(s, ANDROID_JPEG_AVAILABLE_THUMBNAIL_SIZES);
    bool zero = false;
    for (size_t i = 0; i + 1 < thumbs.count; i += 2) zero |= thumbs.data.i32[i] == 0 && thumbs.data.i32[i + 1] == 0;
    f(RuleId::kStaticJpeg, zero, "thumbnail sizes lack 0x0");

    int source = GetU8(s, ANDROID_SENSOR_INFO_TIMESTAMP_SOURCE, -1);
    f(RuleId::kStaticTimestampSource,
      source == ANDROID_SENSOR_INFO_TIMESTAMP_SOURCE_UNKNOWN || source == ANDROID_SENSOR_INFO_TIMESTAMP_SOURCE_REALTIME,
      "timestamp source " + std::to_string(source));
    auto active = Find(s, ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE);
    auto pixels = Find(s, ANDROID_SENSOR_INFO_PIXEL_ARRAY_SIZE);
    if (active.count == 4 && pixels.count == 2) {
        const int32_t* a = active.data.i32;
        f(RuleId::kStaticActiveArray,
          a[0] >= 0 && a[1] >= 0 && a[2] > 0 && a[3] > 0 && a[0] + a[2] <= pixels.data.i32[0] &&
              a[1] + a[3] <= pixels.data.i32[1],
          "active array lies outside the pixel array");
    }
    int sensorOrientation = GetI32(s, ANDROID_SENSOR_ORIENTATION, -1);
    f(RuleId::kStaticOrientation,
      sensorOrientation % 90 == 0 && sensorOrientation >= 0 && sensorOrientation < 360 &&
          sensorOrientation == orientation,
      "orientation " + std::to_string(sensorOrientation) + " (camera info says " + std::to_string(orientation) + ")");
    int lensFacing = GetU8(s, ANDROID_LENS_FACING, -1);
    int expected = facing == CAMERA_FACING_BACK    ? ANDROID_LENS_FACING_BACK
                   : facing == CAMERA_FACING_FRONT ? ANDROID_LENS_FACING_FRONT
                                                   : ANDROID_LENS_FACING_EXTERNAL;
    f(RuleId::kStaticFacing, lensFacing == expected,
      "lens facing " + std::to_string(lensFacing) + " disagrees with camera info facing " + std::to_string(facing));
    auto fps = Find(s, ANDROID_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES);
    f(RuleId::kStaticFpsRanges, fps.count >= 2 && fps.count % 2 == 0, "AE target fps ranges are not pairs");
    for (size_t i = 0; i + 1 < fps.count; i += 2)
        f(RuleId::kStaticFpsRanges, fps.data.i32[i] > 0 && fps.data.i32[i] <= fps.data.i32[i + 1],
          "bad fps range " + std::to_string(fps.data.i32[i]) + "-" + std::to_string(fps.data.i32[i + 1]));
    // LIMITED and above list (max, max) and a (min, max) with min <= 15 for their highest max.
    if (info.hardwareLevel() == ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_LIMITED ||
        info.hardwareLevel() == ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_FULL ||
        info.hardwareLevel() == ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_3) {
        int32_t highest = 0;
        for (size_t i = 1; i < fps.count; i += 2) highest = std::max(highest, fps.data.i32[i]);
        bool fixed = false, wide = false;
        for (size_t i = 0; i + 1 < fps.count; i += 2) {
            fixed |= fps.data.i32[i] == highest && fps.data.i32[i + 1] == highest;
            wide |= fps.data.i32[i] <= 15 && fps.data.i32[i + 1] == highest;
        }
        f(RuleId::kStaticFpsLimited, fixed && wide,
          "no (" + std::to_string(highest) + ", " + std::to_string(highest) + ") or (min <= 15, " +
              std::to_string(highest) + ") range");
    }
    f(RuleId::kStaticSyncLatency, GetI32(s, ANDROID_SYNC_MAX_LATENCY, -2) >= -1, "sync max latency below -1");
    return f.list;
}

std::vector<Finding> CheckDefaultSettings(const camera_metadata_t* m, int templateType, bool required) {
    Failures f;
    std::string t = "template " + std::to_string(templateType) + ": ";
    f(RuleId::kDefaultSettings, m != nullptr || !required, t + "no settings");
    if (m == nullptr) return f.list;
    f(RuleId::kDefaultSettings, validate_camera_metadata_structure(m, nullptr) == 0, t + "malformed settings");
    if (!f.list.empty()) return f.list;
    // Capture intents are numbered as the templates are.
    f(RuleId::kDefaultIntent, GetU8(m, ANDROID_CONTROL_CAPTURE_INTENT, -1) == templateType,
      t + "capture intent mismatch");
    if (templateType != ANDROID_CONTROL_CAPTURE_INTENT_MANUAL)  // the manual template may leave AE off
        f(RuleId::kDefaultAeOn, GetU8(m, ANDROID_CONTROL_AE_MODE, -1) >= kAeModeOn, t + "AE is not on");
    f(RuleId::kDefaultTriggers, GetU8(m, ANDROID_CONTROL_AE_PRECAPTURE_TRIGGER, 0) == kAePrecaptureIdle,
      t + "AE precapture trigger not idle");
    f(RuleId::kDefaultTriggers, GetU8(m, ANDROID_CONTROL_AF_TRIGGER, 0) == kAfTriggerIdle, t + "AF trigger not idle");
    return f.list;
}

bool HasCapability(const camera_metadata_t* staticInfo, uint8_t capability) {
    camera_metadata_ro_entry_t e = Find(staticInfo, ANDROID_REQUEST_AVAILABLE_CAPABILITIES);
    return std::find(e.data.u8, e.data.u8 + e.count, capability) != e.data.u8 + e.count;
}

}  // namespace hal3_check

#include "Rules.h"

#include <cstdio>
#include <cstdlib>

namespace hal3_check {

namespace {

constexpr Level M = Level::kMust, S = Level::kShould;

// Sections S1-S10 are those of camera3.h; Camera3Device and Camera3OutputStream
// are the camera service's device and stream.
const std::vector<Rule> kRules = {
    // Module and device
    {"module-record", M, "hardware.h: HAL_MODULE_INFO_SYM is a camera_module_t with tag HARDWARE_MODULE_TAG",
     "the module record is a camera module"},
    {"module-cameras", M, "camera_common.h get_number_of_cameras: the count of fixed cameras, 0 or more",
     "the module reports between 0 and 256 cameras"},
    {"module-init", M, "camera_common.h camera_module_t.init: the provider calls it once and fails on an error",
     "init returns 0"},
    {"module-callbacks", M, "camera_common.h set_callbacks: the provider fails the module on an error",
     "set_callbacks returns 0"},
    {"vendor-tags", S, "camera provider: empty vendor_tag_ops are logged and taken as no vendor tags",
     "get_vendor_tag_ops fills every entry and the tags are accepted"},
    {"camera-info", M, "camera_common.h get_camera_info: returns 0 and static metadata for each camera",
     "get_camera_info succeeds with static metadata"},
    {"device-version", M, "camera service: device API versions below 3.2 are not supported",
     "the camera and its open device report device API 3.2 or later"},
    {"open", M, "camera_common.h open: 0 for a listed camera that is not open", "a listed camera opens"},
    {"open-bad-id", S, "camera_common.h open: -EINVAL for an invalid id (the service never asks for one)",
     "open of an unknown id fails"},
    {"open-twice", S, "camera_common.h open: -EBUSY when the camera is open (the service never asks twice)",
     "a second open of the same camera fails"},
    {"initialize", M, "camera3.h S2 step 3: initialize returns 0, else the service closes the device",
     "initialize returns 0"},
    {"default-settings", M,
     "camera3.h construct_default_request_settings: valid metadata for every template, NULL for an unknown one",
     "settings of templates 1-4 are valid metadata, of ZSL (5) and MANUAL (6) too where a reprocessing or the "
     "MANUAL_SENSOR capability requires them (CameraDevice); template 0 gives NULL"},
    {"default-intent", M,
     "camera3.h construct_default_request_settings: android.control.captureIntent matches the template",
     "the capture intent equals the template"},
    {"default-ae-on", M, "camera3.h S4: default templates other than MANUAL run AE", "AE mode is on"},
    {"default-triggers", M, "camera3.h S4: triggers in a template are IDLE", "AE precapture and AF triggers are idle"},
    // Static metadata
    {"static-structure", M, "camera_metadata.h: validate_camera_metadata_structure passes",
     "the static metadata is well formed"},
    {"static-keys", M, "camera service and CTS: keys every HAL3 camera publishes", "each required key is present"},
    {"static-keys-listed", M, "android.request.availableCharacteristicsKeys lists the keys present",
     "each listed characteristic is present"},
    {"static-hardware-level", M, "android.info.supportedHardwareLevel: one of the defined levels",
     "the level is known"},
    {"static-capabilities", M, "android.request.availableCapabilities: BACKWARD_COMPATIBLE for a camera apps use",
     "BACKWARD_COMPATIBLE is listed"},
    {"static-partial-count", M, "android.request.partialResultCount: at least 1", "the count is at least 1"},
    {"static-pipeline-depth", M, "android.request.pipelineMaxDepth: at least 1", "the depth is at least 1"},
    {"static-max-streams", M, "android.request.maxNumOutputStreams: 3 values, at least one processed stream",
     "the shape and the processed count"},
    {"static-stream-configs", M, "android.scaler.availableStreamConfigurations: at least one output",
     "an output exists"},
    {"static-stream-durations", M, "android.scaler.availableMinFrameDurations / StallDurations cover every output",
     "each output has a min frame and a stall duration"},
    {"static-jpeg", M, "camera service: a BLOB output, android.jpeg.maxSize > 0 and a 0x0 thumbnail size",
     "JPEG output, size and thumbnail sizes"},
    {"static-yuv", M, "CTS: every BACKWARD_COMPATIBLE camera offers YUV_420_888 outputs",
     "a YUV_420_888 size is listed"},
    {"static-timestamp-source", M, "android.sensor.info.timestampSource: UNKNOWN or REALTIME", "a defined source"},
    {"static-active-array", M, "android.sensor.info.activeArraySize lies within the pixel array", "the rectangle"},
    {"static-orientation", M, "android.sensor.orientation: a multiple of 90 equal to camera_info.orientation",
     "orientation agrees"},
    {"static-facing", M, "android.lens.facing agrees with camera_info.facing", "facing agrees"},
    {"static-fps-ranges", M, "android.control.aeAvailableTargetFpsRanges: pairs of min <= max", "the ranges"},
    {"static-sync-latency", M, "android.sync.maxLatency: -1 or more", "the latency"},
    // Stream configuration
    {"configure", M, "camera3.h configure_streams: 0 for a configuration the static metadata supports",
     "a supported configuration is accepted"},
    {"configure-invalid", M, "camera3.h configure_streams: -EINVAL for an invalid configuration",
     "empty, unsupported, zero-size and bad-rotation configurations are refused"},
    {"configure-max-buffers", M, "Camera3OutputStream: max_buffers 0 fails the configuration", "max_buffers >= 1"},
    {"configure-usage", M, "camera3_stream.usage: the HAL writes its producer usage over the field",
     "the usage holds camera or CPU write bits"},
    {"configure-stream-changed", M,
     "Camera3Device: the HAL may change the format only of IMPLEMENTATION_DEFINED streams; sizes stay",
     "other streams keep format, width and height"},
    // Requests
    {"request", M, "camera3.h process_capture_request: 0 for a valid request", "a valid request is taken"},
    {"request-invalid", M, "camera3.h process_capture_request: -EINVAL for a malformed request",
     "null request, no settings first, no buffers, unconfigured stream are refused"},
    // Results and notifications
    {"frame-in-flight", M, "Camera3Device: a callback for a frame not in flight is an invalid frame number",
     "results and notifies name a frame in flight"},
    {"input-buffer", M, "camera3_capture_result.input_buffer: only for a request with one", "no input buffer returned"},
    {"empty-result", M, "Camera3Device: a result with no metadata and no buffers is an error",
     "a result carries something"},
    {"result-structure", M, "camera service: result metadata passes validate_camera_metadata_structure",
     "each result's metadata is well formed"},
    {"result-buffer-count", M,
     "camera3_capture_result.num_output_buffers: at most the request's buffers, with an array",
     "the count is within the request's and the array is present"},
    {"buffer-null", M, "camera3_stream_buffer: stream and buffer name the request's", "no null stream or handle"},
    {"partial-range", M, "Camera3Device: partial_result in [1, android.request.partialResultCount] with metadata",
     "the partial index is in range"},
    {"partial-without-metadata", S,
     "camera3_capture_result.partial_result: 0 without metadata (the service ignores it)",
     "partial_result is 0 on a buffers-only result"},
    {"partial-distinct", M, "camera3_capture_result.partial_result: each partial of a frame has its own index",
     "no partial index twice for a frame"},
    {"partial-key-once", S, "camera3_capture_result.partial_result: a key should not appear in two partials",
     "no key repeated across partials"},
    {"final-result-order", M, "Camera3Device: final results out of frame order fail the device",
     "final results in order"},
    {"sensor-timestamp", M, "Camera3Device: android.sensor.timestamp equals the SHUTTER timestamp",
     "the result's timestamp and the shutter's agree"},
    {"sensor-timestamp-missing", M, "Camera3Device: a final result without android.sensor.timestamp fails",
     "the merged result holds android.sensor.timestamp"},
    {"pipeline-depth", M, "android.request.pipelineDepth: never above android.request.pipelineMaxDepth",
     "the result's depth within the static maximum"},
    {"shutter-once", M, "camera3.h S2: one SHUTTER per frame", "no second shutter"},
    {"shutter-order", M, "Camera3Device: shutter notifications out of frame order fail the device",
     "shutters in frame order"},
    {"shutter-timestamp-order", M, "camera3_shutter_msg.timestamp: rises frame to frame (android.sensor.timestamp)",
     "shutter timestamps rise"},
    {"notify-type", M, "Camera3Device: an unknown notify type or error code fails the device", "known types and codes"},
    {"error-device", M, "camera3.h S6: ERROR_DEVICE or -ENODEV is fatal; the service only closes the device",
     "no fatal error"},
    {"after-error-device", M, "camera3.h ERROR_DEVICE: no further frames or buffers are produced",
     "no callback after it"},
    {"error-stream", M, "camera3_error_msg.error_stream: NULL unless ERROR_BUFFER, which names a stream of the request",
     "the stream field of each error"},
    {"error-notify-repeat", S, "camera3.h S6: one error notify per failure",
     "no repeated ERROR_REQUEST / ERROR_BUFFER"},
    {"error-request-metadata", M, "camera3.h S6 ERROR_REQUEST: no result metadata for the frame",
     "no metadata with ERROR_REQUEST, either order"},
    {"error-request-buffer", M, "camera3.h S6 ERROR_REQUEST: every buffer of the frame comes back with error status",
     "no OK buffer after ERROR_REQUEST"},
    {"error-request-shutter", S, "camera3.h S6 ERROR_REQUEST: the frame is not captured; a later shutter confuses apps",
     "no shutter after ERROR_REQUEST"},
    {"error-result-late", M, "camera3.h S6 ERROR_RESULT: reported while the frame's metadata is incomplete",
     "no ERROR_RESULT after the final result"},
    {"error-result-metadata", S, "Camera3Device: metadata after ERROR_RESULT is dropped (an empty buffer is fine)",
     "no non-empty metadata after ERROR_RESULT"},
    {"error-buffer-status", M, "camera3.h S6 ERROR_BUFFER: the named buffer comes back with error status",
     "no OK buffer for a stream named by ERROR_BUFFER"},
    {"error-buffer-notify", M,
     "camera3.h S6: a buffer in error is reported by ERROR_BUFFER or ERROR_REQUEST, in either order",
     "each error buffer covered by the frame's end"},
    {"buffer-once", M, "Camera3Device: each buffer of a request comes back once",
     "no unknown, repeated or late buffer"},
    {"buffer-fifo", M,
     "Camera3OutputStream: buffers of a stream come back in request order (error buffers during flush are exempt)",
     "per-stream order"},
    {"buffer-returned", M, "camera3.h S2: every buffer of a request comes back", "no buffer lost behind a later one"},
    {"buffer-acquire-fence", M, "camera3_stream_buffer.acquire_fence: -1 in a returned buffer", "acquire fence is -1"},
    {"release-fence", M, "Camera3OutputStream: the service waits on a returned release fence and closes it",
     "the fence is a valid fd that signals within the stall time"},
    {"buffer-management", M, "camera3.h request/return_stream_buffers: only with HAL buffer management",
     "not called by a device without it"},
    {"result-timeout", M, "camera service: a request with no progress is a stuck device", "progress within --stall-ms"},
    // Flush and close
    {"flush", M, "camera3.h flush: returns 0", "flush succeeds"},
    {"flush-in-flight", M, "camera3_stream.max_buffers: the device accepts that many requests at once",
     "at least two requests in the HAL when flush is called"},
    {"flush-drains", M, "camera3.h flush: every in-flight request is returned before flush returns",
     "nothing in flight after flush"},
    {"flush-time", M, "camera3.h flush: should return in 100 ms, must in 1000 ms", "flush within 1000 ms"},
    {"flush-time-target", S, "camera3.h flush: should return in 100 ms", "flush within 100 ms"},
    {"close", M, "camera3.h close: returns 0", "close succeeds"},
    {"callback-during-close", S,
     "camera3.h S2: in-flight work ends before close returns; the service tolerates callbacks meanwhile",
     "callbacks while close runs"},
    {"no-callback-after-close", M, "camera3.h close: no callback after close returns", "no callback after close"},
    // The module process
    {"hal-crash", M, "camera service: the provider dies, the device is disconnected", "no crash in a HAL call"},
    {"hal-call-timeout", M, "camera service: a HAL call that does not return blocks the device",
     "each HAL call returns within its bound"},
    // Pictures and behaviour
    {"buffer-alloc", M, "Camera3OutputStream: the stream's buffers allocate with the usage the HAL asked",
     "gralloc allocates max_buffers buffers"},
    {"buffer-lock", M, "gralloc: a returned buffer locks for reading with its usage", "the buffer locks"},
    {"jpeg-blob", M, "camera3_jpeg_blob: JPEG data and the blob trailer at the end of a BLOB buffer",
     "the trailer and the JPEG start"},
    {"jpeg-decode", M, "CTS: the JPEG decodes to the stream's size", "libjpeg decodes it at the stream size"},
    {"test-pattern", M, "android.sensor.testPatternMode: COLOR_BARS gives the 8 bars and is echoed", "bars and echo"},
    {"stale-frame", M, "the module's com.zelkov.sim frame counter and strip name the frame they belong to",
     "drawn frame number and counter tag match (only for modules that declare the tag)"},
    {"3a-converge", M, "CTS: AE converges and AF (when listed) locks after the triggers", "3A reaches its states"},
    {"frame-rate", M, "CTS: a fixed fps range holds its frame interval", "shutter intervals within the tolerance"},
};

}  // namespace

const std::vector<Rule>& AllRules() { return kRules; }

const Rule* FindRule(std::string_view id) {
    for (const Rule& r : kRules)
        if (id == r.id) return &r;
    return nullptr;
}

std::string Finding(std::string_view id, const std::string& detail) {
    if (FindRule(id) == nullptr) {
        fprintf(stderr, "hal3_check: rule \"%.*s\" is not in the rules table\n", int(id.size()), id.data());
        abort();
    }
    return "[rule " + std::string(id) + "] " + detail;
}

bool IsWarning(const std::string& finding) {
    static const std::string prefix = "[rule ";
    if (finding.compare(0, prefix.size(), prefix) != 0) return false;
    size_t end = finding.find(']');
    if (end == std::string::npos) return false;
    const Rule* r = FindRule(std::string_view(finding).substr(prefix.size(), end - prefix.size()));
    return r != nullptr && r->level == Level::kShould;
}

std::string RulesMarkdown() {
    std::string t = "| rule | level | from | checks |\n|---|---|---|---|\n";
    for (const Rule& r : kRules)
        t += std::string("| `") + r.id + "` | " + (r.level == Level::kMust ? "must" : "should") + " | " + r.source +
             " | " + r.check + " |\n";
    return t;
}

}  // namespace hal3_check

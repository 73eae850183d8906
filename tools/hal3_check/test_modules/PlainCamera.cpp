// camera.plain.so: a small camera HAL module written from camera3.h alone,
// to hold hal3_check to what Android allows rather than to what one camera
// core does. It is legal but unusual: device API 3.5, one fixed-focus back
// camera, one partial result, buffers and metadata returned before the
// shutter, producer-only stream usage, no vendor tags, plain pictures.
//
// PLAIN_CAMERA_ROGUE selects a mode. The legal ones are unusual but allowed,
// and must pass every scenario:
//   sync               each request finished inside process_capture_request
//   blob_stall_only    stall durations listed for BLOB only
//   zsl_still          STILL_CAPTURE enables ZSL; such a frame shows an older timestamp
//   legacy, external   LEGACY or EXTERNAL level (LEGACY: no VIDEO_SNAPSHOT template,
//                      no two YUV streams; EXTERNAL: an external camera)
//   error_buffer_late  frame 3's buffer fails; ERROR_BUFFER is its last message
//   empty_error_result frame 3 gets an empty metadata buffer and ERROR_RESULT
//   close_inflight     flush returns at once; close finishes the queue with callbacks
//   own_handle         results point at the module's own copies of the buffer handles
//   atoi_ids           camera ids parsed with atoi ("x" opens camera 0)
//   vendor_unchanged   get_vendor_tag_ops leaves the ops as they were
//   color_bars         COLOR_BARS on a 16:9 array: applied two frames after the request
//                      (android.sync.maxLatency), cropped in 4:3 streams
//   template_zero      template 0, which the service never asks for, gets PREVIEW's settings
//   slow_start         the first frames after configure come two frame times apart
// The rogue ones misbehave once, at frame 3 (or from the start):
//   crash_request  process_capture_request dies of SIGSEGV
//   hang_flush     flush never returns (from the first flush on)
//   lying_count    a result claims 50 output buffers with an array of 1
//   old_device     the device it opens says API 3.1
//   late_callback  a shutter while close runs, and another just after it returned
//   ignore_fence   buffers are written without waiting on their acquire fences
//   error_request_mixed  ERROR_REQUEST and ERROR_BUFFER for the same frame
//   error_result_late_shutter  ERROR_RESULT, the buffers, then the shutter
//   null_dump      camera3_device_ops.dump is NULL
//   leak_fence     acquire fences waited on but never closed
//   template_missing_key  STILL_CAPTURE lacks android.jpeg.quality, a listed request key
//   slow_legacy    a LEGACY camera at half its advertised fixed rate (a warning only)
//   jpeg_trailer_after_data  the blob trailer follows the JPEG instead of ending the buffer
//                  (a warning only: apps then take the whole buffer)
//   hang_null_request  process_capture_request(NULL) never returns
//   crash_init     camera_module_t::init dies of SIGSEGV
//   huge_count     get_number_of_cameras says 2^30
//   crash_bad_id   open of an id other than "0" dies of SIGSEGV
//   garbage_static get_camera_info's static metadata points at unreadable memory
//   lying_static   its header gives a size that runs past readable memory
//   late_thread    a detached thread calls back 200 ms after close returned
//   close_fds      initialize closes every descriptor from 3 to 1023
//   spoof_output   prints the checker's "[rule ...]" and summary lines on stdout
//   slow_initialize initialize takes 50 ms
//   crash_worker   the worker thread ("plain-worker") dies of SIGSEGV
//   no_open        the module record has no open method
//   init_fails, callbacks_fail  camera_module_t::init or set_callbacks fails
//   vendor_partial get_vendor_tag_ops fills get_tag_count only (a warning only)
//   refuse_open, initialize_fails, refuse_configure  open, initialize or configure_streams fails
//   any_id         every id opens camera 0 (a warning only: a probe the service never sends)
//   open_twice     a second open of the open camera succeeds (a warning only, likewise)
//   accept_invalid_config   configurations of unknown sizes and formats are taken (a warning only)
//   accept_invalid_request  a buffer of an unconfigured stream is taken (a warning only)
//   zero_max_buffers, no_usage, bad_usage  streams get max_buffers 0, no usage (a warning
//                  only), or a usage bit gralloc refuses
//   resize_stream  YUV streams come back at half width (a warning only)
//   buffer_calls   a device API 3.6 without HAL buffer management calls return_stream_buffers
//   refuse_request process_capture_request refuses frame 3
//   flush_fails, close_fails  flush or close returns -EIO (close: a warning only)
//   slow_flush, very_slow_flush  flush takes 200 or 1200 ms (warnings only)
//   no_yuv         no YUV_420_888 output is listed
//   bars_ignored   COLOR_BARS is listed, but neither drawn nor echoed
//   ae_searching   AE never leaves SEARCHING
//   slow_rate      a LIMITED camera at half its advertised fixed rate
//   jpeg_no_soi, jpeg_wrong_size  the JPEG lacks its SOI, or is half the stream's size
//   stale_counter  declares the core's com.zelkov.sim.frameCounter, so is held to its frame
//                  strip too (the dark top row reads as frame 0); frame 3's counter says 2
#include <hardware/camera3.h>
#include <system/camera_metadata.h>
#include <ui/GraphicBufferMapper.h>

#include <jpeglib.h>

#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kYuv = HAL_PIXEL_FORMAT_YCBCR_420_888, kPrivate = HAL_PIXEL_FORMAT_IMPLEMENTATION_DEFINED,
              kBlob = HAL_PIXEL_FORMAT_BLOB;
constexpr uint64_t kProducerUsage = 0x20000 /* CAMERA_WRITE */ | 0x30 /* SW_WRITE_OFTEN */;
constexpr int64_t kFrameNs = 33333333;  // 30 fps at every size
constexpr uint32_t kMaxBuffers = 4;
constexpr int32_t kJpegMaxSize = 300000;
constexpr uint32_t kRogueFrame = 3;
const int32_t kSizes[][2] = {{640, 480}, {320, 240}};

constexpr int32_t kPatternLatency = 2;
constexpr uint32_t kCounterTag = VENDOR_SECTION_START;  // stale_counter's one vendor tag

const std::string& Mode() {
    static const std::string mode = getenv("PLAIN_CAMERA_ROGUE") ? getenv("PLAIN_CAMERA_ROGUE") : "";
    return mode;
}
bool Is(const char* mode) { return Mode() == mode; }

struct MetadataDeleter {
    void operator()(camera_metadata_t* m) const { free_camera_metadata(m); }
};
using Metadata = std::unique_ptr<camera_metadata_t, MetadataDeleter>;

// Sets `tag`, growing the buffer when the entry does not fit.
void Put(Metadata& m, uint32_t tag, const void* data, size_t count) {
    camera_metadata_entry_t e;
    if (find_camera_metadata_entry(m.get(), tag, &e) == 0) {
        if (update_camera_metadata_entry(m.get(), e.index, data, count, nullptr) == 0) return;
        delete_camera_metadata_entry(m.get(), e.index);
    }
    if (add_camera_metadata_entry(m.get(), tag, data, count) == 0) return;
    Metadata bigger(allocate_camera_metadata(get_camera_metadata_entry_capacity(m.get()) * 2 + 8,
                                             get_camera_metadata_data_capacity(m.get()) * 2 + count * 8 + 64));
    append_camera_metadata(bigger.get(), m.get());
    m = std::move(bigger);
    add_camera_metadata_entry(m.get(), tag, data, count);
}
template <typename T>
void Put(Metadata& m, uint32_t tag, std::initializer_list<T> values) {
    Put(m, tag, values.begin(), values.size());
}

// Every tag present, as the int32 list the *_KEYS entries want.
std::vector<int32_t> Tags(const camera_metadata_t* m) {
    std::vector<int32_t> tags;
    for (size_t i = 0; i < get_camera_metadata_entry_count(m); ++i) {
        camera_metadata_entry_t e;
        get_camera_metadata_entry(const_cast<camera_metadata_t*>(m), i, &e);
        tags.push_back(int32_t(e.tag));
    }
    return tags;
}

const uint32_t kResultOnlyTags[] = {ANDROID_SENSOR_TIMESTAMP, ANDROID_CONTROL_AE_STATE, ANDROID_CONTROL_AF_STATE,
                                    ANDROID_CONTROL_AWB_STATE, ANDROID_REQUEST_PIPELINE_DEPTH};

Metadata Defaults(int type) {
    Metadata m(allocate_camera_metadata(32, 512));
    bool manual = type == CAMERA3_TEMPLATE_MANUAL;
    Put<uint8_t>(m, ANDROID_CONTROL_CAPTURE_INTENT, {uint8_t(type)});
    Put<uint8_t>(m, ANDROID_CONTROL_MODE, {uint8_t(manual ? 0 : 1)});
    Put<uint8_t>(m, ANDROID_CONTROL_AE_MODE, {uint8_t(manual ? 0 : 1)});
    Put<uint8_t>(m, ANDROID_CONTROL_AE_PRECAPTURE_TRIGGER, {uint8_t(0)});
    Put<uint8_t>(m, ANDROID_CONTROL_AF_MODE, {uint8_t(0)});
    Put<uint8_t>(m, ANDROID_CONTROL_AF_TRIGGER, {uint8_t(0)});
    Put<uint8_t>(m, ANDROID_CONTROL_AWB_MODE, {uint8_t(1)});
    bool video = type == CAMERA3_TEMPLATE_VIDEO_RECORD || type == CAMERA3_TEMPLATE_VIDEO_SNAPSHOT;
    Put<int32_t>(m, ANDROID_CONTROL_AE_TARGET_FPS_RANGE, {video ? 30 : 15, 30});
    Put<uint8_t>(m, ANDROID_FLASH_MODE, {uint8_t(0)});
    Put<int32_t>(m, ANDROID_SENSOR_TEST_PATTERN_MODE, {0});
    Put<int64_t>(m, ANDROID_SENSOR_EXPOSURE_TIME, {int64_t(10000000)});
    Put<int64_t>(m, ANDROID_SENSOR_FRAME_DURATION, {kFrameNs});
    Put<int32_t>(m, ANDROID_SENSOR_SENSITIVITY, {100});
    if (!Is("template_missing_key") || type != CAMERA3_TEMPLATE_STILL_CAPTURE)
        Put<uint8_t>(m, ANDROID_JPEG_QUALITY, {uint8_t(90)});
    Put<int32_t>(m, ANDROID_JPEG_ORIENTATION, {0});
    Put<int32_t>(m, ANDROID_JPEG_THUMBNAIL_SIZE, {0, 0});
    if (Is("zsl_still")) Put<uint8_t>(m, ANDROID_CONTROL_ENABLE_ZSL, {uint8_t(type == CAMERA3_TEMPLATE_STILL_CAPTURE)});
    return m;
}

// 4:3, or 16:9 at the same height for the cropped colour bars.
int32_t ArrayWidth() { return Is("color_bars") ? kSizes[0][1] * 16 / 9 : kSizes[0][0]; }

Metadata Characteristics() {
    Metadata m(allocate_camera_metadata(64, 4096));
    const uint8_t level = Is("legacy") || Is("slow_legacy") ? ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_LEGACY
                          : Is("external")                  ? ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_EXTERNAL
                                                            : ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_LIMITED;
    Put<uint8_t>(m, ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL, {level});
    Put<uint8_t>(m, ANDROID_REQUEST_AVAILABLE_CAPABILITIES, {uint8_t(0)});  // BACKWARD_COMPATIBLE
    Put<int32_t>(m, ANDROID_REQUEST_PARTIAL_RESULT_COUNT, {1});
    Put<uint8_t>(m, ANDROID_REQUEST_PIPELINE_MAX_DEPTH, {uint8_t(kMaxBuffers)});
    Put<int32_t>(m, ANDROID_REQUEST_MAX_NUM_OUTPUT_STREAMS, {0, 3, 1});
    std::vector<int32_t> configs;
    std::vector<int64_t> minFrame, stall;
    for (int format : {kYuv, kPrivate, kBlob})
        for (const auto& s : kSizes) {
            if ((format == kBlob && s[0] != kSizes[0][0]) || (format == kYuv && Is("no_yuv"))) continue;
            configs.insert(configs.end(), {format, s[0], s[1], 0 /* OUTPUT */});
            minFrame.insert(minFrame.end(), {format, s[0], s[1], kFrameNs});
            if (format == kBlob || !Is("blob_stall_only"))
                stall.insert(stall.end(), {format, s[0], s[1], format == kBlob ? kFrameNs : 0});
        }
    Put(m, ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS, configs.data(), configs.size());
    Put(m, ANDROID_SCALER_AVAILABLE_MIN_FRAME_DURATIONS, minFrame.data(), minFrame.size());
    Put(m, ANDROID_SCALER_AVAILABLE_STALL_DURATIONS, stall.data(), stall.size());
    Put<float>(m, ANDROID_SCALER_AVAILABLE_MAX_DIGITAL_ZOOM, {1.0f});
    Put<int32_t>(m, ANDROID_JPEG_MAX_SIZE, {kJpegMaxSize});
    Put<int32_t>(m, ANDROID_JPEG_AVAILABLE_THUMBNAIL_SIZES, {0, 0});
    Put<uint8_t>(m, ANDROID_SENSOR_INFO_TIMESTAMP_SOURCE, {uint8_t(0)});
    Put<int32_t>(m, ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE, {0, 0, ArrayWidth(), kSizes[0][1]});
    Put<int32_t>(m, ANDROID_SENSOR_INFO_PIXEL_ARRAY_SIZE, {ArrayWidth(), kSizes[0][1]});
    Put<int32_t>(m, ANDROID_SENSOR_ORIENTATION, {90});
    if (Is("color_bars") || Is("bars_ignored"))
        Put<int32_t>(m, ANDROID_SENSOR_AVAILABLE_TEST_PATTERN_MODES, {0, ANDROID_SENSOR_TEST_PATTERN_MODE_COLOR_BARS});
    else
        Put<int32_t>(m, ANDROID_SENSOR_AVAILABLE_TEST_PATTERN_MODES, {0});
    Put<uint8_t>(m, ANDROID_LENS_FACING,
                 {uint8_t(Is("external") ? ANDROID_LENS_FACING_EXTERNAL : ANDROID_LENS_FACING_BACK)});
    Put<float>(m, ANDROID_LENS_INFO_MINIMUM_FOCUS_DISTANCE, {0.0f});    // fixed focus
    Put<uint8_t>(m, ANDROID_CONTROL_AF_AVAILABLE_MODES, {uint8_t(0)});  // OFF only
    Put<uint8_t>(m, ANDROID_CONTROL_AE_AVAILABLE_MODES, {uint8_t(1)});
    Put<uint8_t>(m, ANDROID_CONTROL_AWB_AVAILABLE_MODES, {uint8_t(1)});
    Put<uint8_t>(m, ANDROID_CONTROL_AVAILABLE_MODES, {uint8_t(0), uint8_t(1)});
    Put<int32_t>(m, ANDROID_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES, {15, 30, 30, 30});
    Put<int32_t>(m, ANDROID_CONTROL_MAX_REGIONS, {0, 0, 0});
    Put<int32_t>(m, ANDROID_SYNC_MAX_LATENCY, {Is("color_bars") ? kPatternLatency : -1});  // -1: UNKNOWN
    Metadata defaults = Defaults(CAMERA3_TEMPLATE_PREVIEW);
    std::vector<int32_t> requestKeys = Tags(defaults.get()), resultKeys = requestKeys;
    for (uint32_t tag : kResultOnlyTags) resultKeys.push_back(int32_t(tag));
    if (Is("stale_counter")) resultKeys.push_back(int32_t(kCounterTag));
    Put(m, ANDROID_REQUEST_AVAILABLE_REQUEST_KEYS, requestKeys.data(), requestKeys.size());
    Put(m, ANDROID_REQUEST_AVAILABLE_RESULT_KEYS, resultKeys.data(), resultKeys.size());
    std::vector<int32_t> keys = Tags(m.get());
    keys.push_back(ANDROID_REQUEST_AVAILABLE_CHARACTERISTICS_KEYS);
    Put(m, ANDROID_REQUEST_AVAILABLE_CHARACTERISTICS_KEYS, keys.data(), keys.size());
    return m;
}

const camera_metadata_t* StaticInfo() {
    static Metadata m = Characteristics();
    return m.get();
}

// The first half of the static metadata, ending where an unreadable page
// begins: its header still gives the whole size.
const camera_metadata_t* CutShortStaticInfo() {
    const size_t page = size_t(sysconf(_SC_PAGESIZE)), size = get_camera_metadata_size(StaticInfo());
    const size_t shown = std::min(size / 2, page) & ~size_t(7);
    void* pages = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) return nullptr;
    uint8_t* end = static_cast<uint8_t*>(pages) + page;
    mprotect(end, page, PROT_NONE);
    memcpy(end - shown, StaticInfo(), shown);
    return reinterpret_cast<const camera_metadata_t*>(end - shown);
}

// Luma of the picture: a dark top row over a horizontal ramp.
uint8_t Luma(uint32_t x, uint32_t y, uint32_t width) { return y == 0 ? 16 : uint8_t(48 + x * 160 / width); }

// Y, Cb, Cr of pixel x: the ramp, or the 8 colour bars (BT.601) across the
// array, of which a narrower stream shows the centre.
std::array<uint8_t, 3> Pixel(uint32_t x, uint32_t y, uint32_t width, uint32_t height, bool bars) {
    static const uint8_t kBars[8][3] = {{235, 128, 128}, {210, 16, 146}, {170, 166, 16}, {145, 54, 34},
                                        {106, 202, 222}, {81, 90, 240},  {41, 240, 110}, {16, 128, 128}};
    if (!bars) return {Luma(x, y, width), 128, 128};
    double visible = std::min(1.0, (double(width) / height) / (double(ArrayWidth()) / kSizes[0][1]));
    double across = (1 - visible) / 2 + (x + 0.5) / width * visible;
    const uint8_t* c = kBars[std::min(7, int(across * 8))];
    return {c[0], c[1], c[2]};
}

void DrawYuv(buffer_handle_t handle, uint32_t width, uint32_t height, bool bars) {
    android_ycbcr p{};
    const android::Rect bounds(static_cast<int>(width), static_cast<int>(height));
    if (android::GraphicBufferMapper::get().lockYCbCr(handle, uint32_t(kProducerUsage), bounds, &p) != 0) return;
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x)
            static_cast<uint8_t*>(p.y)[y * p.ystride + x] = Pixel(x, y, width, height, bars)[0];
    for (uint32_t y = 0; y < height / 2; ++y)
        for (uint32_t x = 0; x < width / 2; ++x) {
            std::array<uint8_t, 3> c = Pixel(2 * x, 2 * y, width, height, bars);
            static_cast<uint8_t*>(p.cb)[y * p.cstride + x * p.chroma_step] = c[1];
            static_cast<uint8_t*>(p.cr)[y * p.cstride + x * p.chroma_step] = c[2];
        }
    android::GraphicBufferMapper::get().unlock(handle);
}

// A JPEG of the same picture, then the camera3 blob trailer at the buffer's end.
void DrawJpeg(buffer_handle_t handle, uint32_t width, uint32_t height) {
    const uint32_t scale = Is("jpeg_wrong_size") ? 2 : 1;
    jpeg_compress_struct c{};
    jpeg_error_mgr err{};
    c.err = jpeg_std_error(&err);
    jpeg_create_compress(&c);
    unsigned char* out = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&c, &out, &size);
    c.image_width = width / scale;
    c.image_height = height / scale;
    c.input_components = 3;
    c.in_color_space = JCS_YCbCr;
    jpeg_set_defaults(&c);
    jpeg_set_quality(&c, 90, TRUE);
    jpeg_start_compress(&c, TRUE);
    std::vector<uint8_t> row(size_t(width) * 3);
    while (c.next_scanline < c.image_height) {
        for (uint32_t x = 0; x < c.image_width; ++x) {
            row[x * 3] = Luma(x, c.next_scanline, c.image_width);
            row[x * 3 + 1] = row[x * 3 + 2] = 128;
        }
        JSAMPROW r = row.data();
        jpeg_write_scanlines(&c, &r, 1);
    }
    jpeg_finish_compress(&c);
    jpeg_destroy_compress(&c);
    uint64_t bytes = 0;
    void* data = nullptr;
    auto& mapper = android::GraphicBufferMapper::get();
    if (mapper.getWidth(handle, &bytes) == 0 && bytes >= size + sizeof(camera3_jpeg_blob_t) &&
        mapper.lock(handle, uint32_t(kProducerUsage), android::Rect(int(bytes), 1), &data) == 0) {
        memcpy(data, out, size);
        if (Is("jpeg_no_soi")) static_cast<uint8_t*>(data)[0] = 0;
        camera3_jpeg_blob_t trailer{CAMERA3_JPEG_BLOB_ID, uint32_t(size)};
        size_t at = Is("jpeg_trailer_after_data") ? size : bytes - sizeof trailer;
        memcpy(static_cast<uint8_t*>(data) + at, &trailer, sizeof trailer);
        mapper.unlock(handle);
    }
    free(out);
}

void Crash() {
    volatile uintptr_t bad = 8;
    *reinterpret_cast<volatile int*>(bad) = 1;
}

// Lines a log reader could take for the checker's verdict.
void Spoof(const char* where) {
    printf("[rule hal-crash] the scenario's process died during %s of SIGSEGV\n", where);
    printf("hal3_check: camera 0 Camera/Preview           PASS frames=12 error_frames=0\n");
    printf("hal3_check: 11 scenario run(s), 0 failed, 0 skipped\n");
    fflush(stdout);
}

int64_t NowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

uint32_t DeviceVersion() { return Is("buffer_calls") ? CAMERA_DEVICE_API_VERSION_3_6 : CAMERA_DEVICE_API_VERSION_3_5; }

std::mutex g_openMutex;
bool g_open = false;  // one open at a time, as the camera service expects of a camera

struct Request {
    uint32_t frame;
    Metadata settings;
    std::vector<camera3_stream_buffer_t> buffers;
    std::vector<buffer_handle_t> handles;  // own_handle: the copies results point at
    int32_t pattern = 0;                   // the test pattern the frame shows
};

// Waits on an acquire fence as sync_wait does (a fence is a pollable fd) and
// takes it over; false when it never signals.
bool WaitFence(int fence) {
    if (fence < 0) return true;
    pollfd p{fence, POLLIN, 0};
    if (poll(&p, 1, 2000) != 1) return false;
    if (!Is("leak_fence")) close(fence);
    return true;
}

class Camera {
public:
    Camera(const hw_module_t* module) {
        m_device.common.tag = HARDWARE_DEVICE_TAG;
        m_device.common.version = Is("old_device") ? CAMERA_DEVICE_API_VERSION_3_1 : DeviceVersion();
        m_device.common.module = const_cast<hw_module_t*>(module);
        m_device.common.close = [](hw_device_t* d) { return Self(reinterpret_cast<camera3_device_t*>(d))->Close(); };
        m_ops = kOps;
        if (Is("null_dump")) m_ops.dump = nullptr;
        m_device.ops = &m_ops;
        m_device.priv = this;
    }
    camera3_device_t* device() { return &m_device; }

private:
    static Camera* Self(const camera3_device_t* d) { return static_cast<Camera*>(d->priv); }

    int Initialize(const camera3_callback_ops_t* callbacks) {
        if (callbacks == nullptr) return -EINVAL;
        if (Is("close_fds"))
            for (int fd = 3; fd < 1024; ++fd) close(fd);
        if (Is("slow_initialize")) std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (Is("initialize_fails")) return -ENODEV;
        m_callbacks = callbacks;
        if (!Is("sync"))
            m_worker = std::thread([this] {
                pthread_setname_np(pthread_self(), "plain-worker");
                Work();
            });
        return 0;
    }

    int Configure(camera3_stream_configuration_t* config) {
        if (config == nullptr || Is("refuse_configure")) return -EINVAL;
        if (config->num_streams == 0 || config->streams == nullptr) return Is("accept_invalid_config") ? 0 : -EINVAL;
        int blobs = 0, yuvs = 0;
        for (uint32_t i = 0; i < config->num_streams && !Is("accept_invalid_config"); ++i) {
            const camera3_stream_t* s = config->streams[i];
            if (s == nullptr || s->stream_type != CAMERA3_STREAM_OUTPUT || s->rotation != CAMERA3_STREAM_ROTATION_0)
                return -EINVAL;
            bool known = false;
            for (const auto& size : kSizes) known |= int32_t(s->width) == size[0] && int32_t(s->height) == size[1];
            if (s->format == kBlob)
                known &= int32_t(s->width) == kSizes[0][0] && ++blobs == 1;
            else
                known &= s->format == kYuv || s->format == kPrivate;
            if (!known) return -EINVAL;
            yuvs += s->format == kYuv;
        }
        // Two YUV streams are in no LEGACY combination.
        if (Is("legacy") && yuvs > 1) return -EINVAL;
        std::lock_guard<std::mutex> lock(m_mutex);
        m_sinceConfigure = 0;
        for (camera3_stream_t* old : m_streams) old->priv = nullptr;  // records of a refused try stay valid
        m_streams.clear();
        for (uint32_t i = 0; i < config->num_streams; ++i) {
            camera3_stream_t* s = config->streams[i];
            s->usage = Is("no_usage") ? 0 : Is("bad_usage") ? kProducerUsage | 1ull << 40 : kProducerUsage;
            s->max_buffers = Is("zero_max_buffers") ? 0 : kMaxBuffers;
            if (Is("resize_stream") && s->format == kYuv) s->width /= 2;
            m_streams.push_back(s);
            s->priv = this;  // requests are matched by it, as many modules do
        }
        return 0;
    }

    const camera_metadata_t* DefaultSettings(int type) {
        if (type == 0 && Is("template_zero")) type = CAMERA3_TEMPLATE_PREVIEW;
        if (type < CAMERA3_TEMPLATE_PREVIEW || type > CAMERA3_TEMPLATE_MANUAL) return nullptr;
        if (Is("legacy") && type == CAMERA3_TEMPLATE_VIDEO_SNAPSHOT) return nullptr;  // not for LEGACY
        std::lock_guard<std::mutex> lock(m_mutex);
        Metadata& m = m_templates[type];
        if (!m) m = Defaults(type);
        return m.get();
    }

    int Submit(camera3_capture_request_t* r) {
        if (r == nullptr && Is("hang_null_request"))
            for (;;) std::this_thread::sleep_for(std::chrono::seconds(1));
        if (r == nullptr || r->num_output_buffers == 0 || r->output_buffers == nullptr) return -EINVAL;
        if (Is("crash_request") && r->frame_number == kRogueFrame) Crash();
        if (Is("refuse_request") && r->frame_number == kRogueFrame) return -EINVAL;
        if (Is("spoof_output") && r->frame_number == kRogueFrame) Spoof("process_capture_request");
        std::unique_lock<std::mutex> lock(m_mutex);
        if (r->settings == nullptr && !m_lastSettings) return -EINVAL;
        for (uint32_t i = 0; i < r->num_output_buffers; ++i)
            if (r->output_buffers[i].stream == nullptr ||
                (r->output_buffers[i].stream->priv != this && !Is("accept_invalid_request")))
                return -EINVAL;
        if (r->settings != nullptr) m_lastSettings.reset(clone_camera_metadata(r->settings));
        Request q{r->frame_number,
                  Metadata(clone_camera_metadata(m_lastSettings.get())),
                  {r->output_buffers, r->output_buffers + r->num_output_buffers},
                  {}};
        if (Is("own_handle")) {
            for (const auto& b : q.buffers) q.handles.push_back(*b.buffer);
            for (size_t i = 0; i < q.buffers.size(); ++i) q.buffers[i].buffer = &q.handles[i];
        }
        if (Is("sync")) {
            lock.unlock();
            Process(q);
            return 0;
        }
        m_queue.push_back(std::move(q));
        m_cv.notify_all();
        return 0;
    }

    int Flush() {
        if (Is("hang_flush"))
            for (;;) std::this_thread::sleep_for(std::chrono::seconds(1));
        if (Is("close_inflight")) return 0;  // the queue still completes, close included
        std::unique_lock<std::mutex> lock(m_mutex);
        m_cv.wait(lock, [&] { return m_queue.empty() && !m_busy; });  // at most kMaxBuffers frame times
        std::this_thread::sleep_for(std::chrono::milliseconds(Is("slow_flush")        ? 200
                                                              : Is("very_slow_flush") ? 1200
                                                                                      : 0));
        return Is("flush_fails") ? -EIO : 0;
    }

    int Close() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            for (camera3_stream_t* s : m_streams) s->priv = nullptr;  // the last configured streams are still valid
            m_stop = true;
            m_cv.notify_all();
        }
        if (m_worker.joinable()) m_worker.join();  // it finishes what is queued first
        if (Is("late_callback") && m_callbacks != nullptr) {
            camera3_notify_msg_t shutter{};
            shutter.type = CAMERA3_MSG_SHUTTER;
            shutter.message.shutter = {m_lastFrame, uint64_t(NowNs())};
            m_callbacks->notify(m_callbacks, &shutter);
            std::thread([callbacks = m_callbacks, shutter] {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                callbacks->notify(callbacks, &shutter);
            }).detach();
        }
        if (Is("late_thread") && m_callbacks != nullptr)
            std::thread([callbacks = m_callbacks, frame = m_lastFrame] {
                std::this_thread::sleep_for(std::chrono::milliseconds(200));
                camera3_notify_msg_t shutter{};
                shutter.type = CAMERA3_MSG_SHUTTER;
                shutter.message.shutter = {frame, uint64_t(NowNs())};
                callbacks->notify(callbacks, &shutter);
            }).detach();
        delete this;
        std::lock_guard<std::mutex> lock(g_openMutex);
        g_open = false;
        return Is("close_fails") ? -EIO : 0;
    }

    void Work() {
        for (;;) {
            Request r;
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                m_cv.wait(lock, [&] { return m_stop || !m_queue.empty(); });
                if (m_queue.empty()) return;
                r = std::move(m_queue.front());
                m_queue.pop_front();
                m_busy = true;
            }
            Process(r);
            std::lock_guard<std::mutex> lock(m_mutex);
            m_busy = false;
            m_cv.notify_all();
        }
    }

    // One frame time after the previous one, then the results.
    void Process(Request& r) {
        const bool slow =
            Is("slow_legacy") || Is("slow_rate") || (Is("slow_start") && m_sinceConfigure++ < kMaxBuffers);
        const int64_t step = slow ? 2 * kFrameNs : kFrameNs;
        m_nextNs = std::max(m_nextNs + step, NowNs());
        std::this_thread::sleep_for(std::chrono::nanoseconds(m_nextNs - NowNs()));
        uint64_t timestampNs = uint64_t(m_nextNs);
        // The pattern asked kPatternLatency requests earlier is the one the sensor shows now.
        camera_metadata_ro_entry_t pattern;
        m_patterns.push_back(
            find_camera_metadata_ro_entry(r.settings.get(), ANDROID_SENSOR_TEST_PATTERN_MODE, &pattern) == 0
                ? pattern.data.i32[0]
                : 0);
        r.pattern = m_patterns.size() > kPatternLatency ? m_patterns[m_patterns.size() - 1 - kPatternLatency] : 0;
        if (!Is("color_bars")) r.pattern = Is("bars_ignored") ? 0 : m_patterns.back();
        if (m_patterns.size() > kPatternLatency) m_patterns.erase(m_patterns.begin());
        camera_metadata_ro_entry_t zsl, intent;
        if (find_camera_metadata_ro_entry(r.settings.get(), ANDROID_CONTROL_ENABLE_ZSL, &zsl) == 0 &&
            zsl.data.u8[0] != 0 &&
            find_camera_metadata_ro_entry(r.settings.get(), ANDROID_CONTROL_CAPTURE_INTENT, &intent) == 0 &&
            intent.data.u8[0] == ANDROID_CONTROL_CAPTURE_INTENT_STILL_CAPTURE)
            timestampNs = m_lastTimestampNs - kFrameNs / 2;  // a picture already in the ring, older than the last
        Deliver(r, timestampNs);
        m_lastTimestampNs = std::max(m_lastTimestampNs, timestampNs);
    }

    void Notify(camera3_notify_msg_t msg) { m_callbacks->notify(m_callbacks, &msg); }
    void Shutter(uint32_t frame, uint64_t timestampNs) {
        camera3_notify_msg_t m{};
        m.type = CAMERA3_MSG_SHUTTER;
        m.message.shutter = {frame, timestampNs};
        Notify(m);
    }
    void Error(uint32_t frame, int code, camera3_stream_t* stream = nullptr) {
        camera3_notify_msg_t m{};
        m.type = CAMERA3_MSG_ERROR;
        m.message.error = {frame, stream, code};
        Notify(m);
    }
    // The frame's one partial result.
    void SendMetadata(uint32_t frame, const camera_metadata_t* result) {
        camera3_capture_result_t metadata{};
        metadata.frame_number = frame;
        metadata.result = result;
        metadata.partial_result = 1;
        m_callbacks->process_capture_result(m_callbacks, &metadata);
    }

    // Buffers first, then the one partial, then the shutter: all legal from API
    // 3.2 on. Frame 3 of an error mode takes its own order.
    void Deliver(Request& r, uint64_t timestampNs) {
        if (Is("crash_worker") && r.frame == kRogueFrame) Crash();
        if (Is("buffer_calls") && r.frame == kRogueFrame && m_callbacks->return_stream_buffers != nullptr)
            m_callbacks->return_stream_buffers(m_callbacks, 0, nullptr);
        for (auto& b : r.buffers) {
            b.status = CAMERA3_BUFFER_STATUS_OK;
            if (!Is("ignore_fence") && !WaitFence(b.acquire_fence)) {
                b.status = CAMERA3_BUFFER_STATUS_ERROR;  // never written: the fence goes back as the release fence
                b.release_fence = b.acquire_fence;
                b.acquire_fence = -1;
                continue;
            }
            if (Is("ignore_fence") && b.acquire_fence >= 0) close(b.acquire_fence);
            if (b.stream->format == kBlob)
                DrawJpeg(*b.buffer, b.stream->width, b.stream->height);
            else
                DrawYuv(*b.buffer, b.stream->width, b.stream->height,
                        r.pattern == ANDROID_SENSOR_TEST_PATTERN_MODE_COLOR_BARS);
            b.acquire_fence = b.release_fence = -1;
        }
        const bool special = r.frame == kRogueFrame;
        for (auto& b : r.buffers)
            if (b.status == CAMERA3_BUFFER_STATUS_ERROR) Error(r.frame, CAMERA3_MSG_ERROR_BUFFER, b.stream);
        camera3_capture_result_t buffers{};
        buffers.frame_number = r.frame;
        buffers.num_output_buffers = uint32_t(r.buffers.size());
        buffers.output_buffers = r.buffers.data();
        if (Is("lying_count") && special) {
            buffers.num_output_buffers = 50;
            buffers.output_buffers = &r.buffers[0];
        }
        if (special && (Is("error_buffer_late") || Is("error_request_mixed")))
            r.buffers[0].status = CAMERA3_BUFFER_STATUS_ERROR;
        if (special && Is("error_request_mixed")) {
            for (auto& b : r.buffers) b.status = CAMERA3_BUFFER_STATUS_ERROR;
            Error(r.frame, CAMERA3_MSG_ERROR_REQUEST);
            Error(r.frame, CAMERA3_MSG_ERROR_BUFFER, r.buffers[0].stream);
            m_callbacks->process_capture_result(m_callbacks, &buffers);
            return;
        }
        if (special && Is("error_result_late_shutter")) {
            Error(r.frame, CAMERA3_MSG_ERROR_RESULT);
            m_callbacks->process_capture_result(m_callbacks, &buffers);
            Shutter(r.frame, timestampNs);
            return;
        }
        if (special && Is("empty_error_result")) {
            Shutter(r.frame, timestampNs);
            Metadata empty(allocate_camera_metadata(0, 0));
            SendMetadata(r.frame, empty.get());
            Error(r.frame, CAMERA3_MSG_ERROR_RESULT);
            m_callbacks->process_capture_result(m_callbacks, &buffers);
            return;
        }
        m_callbacks->process_capture_result(m_callbacks, &buffers);

        Metadata result(clone_camera_metadata(r.settings.get()));
        const int64_t ts = int64_t(timestampNs);
        camera_metadata_ro_entry_t ae;
        bool aeOn =
            find_camera_metadata_ro_entry(r.settings.get(), ANDROID_CONTROL_AE_MODE, &ae) == 0 && ae.data.u8[0] != 0;
        Put<int64_t>(result, ANDROID_SENSOR_TIMESTAMP, {ts});
        Put<int32_t>(result, ANDROID_SENSOR_TEST_PATTERN_MODE, {r.pattern});
        Put<uint8_t>(result, ANDROID_CONTROL_AE_STATE,
                     {uint8_t(aeOn ? (Is("ae_searching") ? 1 : 2) : 0)});  // SEARCHING / CONVERGED / INACTIVE
        Put<uint8_t>(result, ANDROID_CONTROL_AF_MODE, {uint8_t(0)});       // fixed focus: OFF whatever was asked
        Put<uint8_t>(result, ANDROID_CONTROL_AF_STATE, {uint8_t(0)});      // INACTIVE
        Put<uint8_t>(result, ANDROID_CONTROL_AWB_STATE, {uint8_t(2)});     // CONVERGED
        Put<uint8_t>(result, ANDROID_REQUEST_PIPELINE_DEPTH, {uint8_t(kMaxBuffers)});
        if (Is("stale_counter")) Put<int64_t>(result, kCounterTag, {int64_t(r.frame) - special});
        SendMetadata(r.frame, result.get());

        Shutter(r.frame, timestampNs);
        if (special && Is("error_buffer_late")) Error(r.frame, CAMERA3_MSG_ERROR_BUFFER, r.buffers[0].stream);
        m_lastFrame = r.frame;
    }

    static const camera3_device_ops_t kOps;

    camera3_device_t m_device{};
    camera3_device_ops_t m_ops{};
    const camera3_callback_ops_t* m_callbacks = nullptr;
    std::mutex m_mutex;
    std::condition_variable m_cv;
    std::vector<camera3_stream_t*> m_streams;
    Metadata m_templates[CAMERA3_TEMPLATE_COUNT];
    Metadata m_lastSettings;
    std::deque<Request> m_queue;
    bool m_busy = false, m_stop = false;
    // Of the one thread that processes (the worker, or the caller when synchronous).
    uint32_t m_lastFrame = 0;
    int64_t m_nextNs = 0;
    std::atomic<uint32_t> m_sinceConfigure{0};
    std::vector<int32_t> m_patterns;  // asked, request by request
    uint64_t m_lastTimestampNs = 0;
    std::thread m_worker;
};

const camera3_device_ops_t Camera::kOps = {
    [](const camera3_device* d, const camera3_callback_ops_t* c) { return Self(d)->Initialize(c); },
    [](const camera3_device* d, camera3_stream_configuration_t* s) { return Self(d)->Configure(s); },
    nullptr,  // register_stream_buffers: gone since 3.2
    [](const camera3_device* d, int type) { return Self(d)->DefaultSettings(type); },
    [](const camera3_device* d, camera3_capture_request_t* r) { return Self(d)->Submit(r); },
    nullptr,  // get_metadata_vendor_tag_ops: gone since 3.2
    [](const camera3_device*, int) {},
    [](const camera3_device* d) { return Self(d)->Flush(); },
    nullptr,
    nullptr,
    nullptr,
    {},  // later additions, unused at 3.5
};

int Open(const hw_module_t* module, const char* id, hw_device_t** device) {
    if (id != nullptr && strcmp(id, "0") != 0 && Is("crash_bad_id")) Crash();
    if (id == nullptr || device == nullptr) return -EINVAL;
    if (Is("refuse_open") || (Is("atoi_ids") ? atoi(id) != 0 : strcmp(id, "0") != 0 && !Is("any_id"))) return -EINVAL;
    std::lock_guard<std::mutex> lock(g_openMutex);
    if (g_open && !Is("open_twice")) return -EUSERS;
    g_open = true;
    *device = &(new Camera(module))->device()->common;
    return 0;
}

hw_module_methods_t g_methods = {Is("no_open") ? nullptr : Open};

// No vendor tags (an empty table, or the ops left as they were, which
// camera_common.h prescribes for a module without them), or stale_counter's one.
void GetVendorTagOps(vendor_tag_ops_t* ops) {
    if (Is("vendor_unchanged")) return;
    ops->get_tag_count = [](const vendor_tag_ops_t*) { return int(Is("stale_counter")); };
    if (Is("vendor_partial")) return;
    ops->get_all_tags = [](const vendor_tag_ops_t*, uint32_t* tags) {
        if (Is("stale_counter")) tags[0] = kCounterTag;
    };
    ops->get_section_name = [](const vendor_tag_ops_t*, uint32_t tag) -> const char* {
        return tag == kCounterTag ? "com.zelkov.sim" : nullptr;
    };
    ops->get_tag_name = [](const vendor_tag_ops_t*, uint32_t tag) -> const char* {
        return tag == kCounterTag ? "frameCounter" : nullptr;
    };
    ops->get_tag_type = [](const vendor_tag_ops_t*, uint32_t tag) { return tag == kCounterTag ? TYPE_INT64 : -1; };
}

int CameraInfo(int id, camera_info* info) {
    if (id != 0 || info == nullptr) return -EINVAL;
    *info = camera_info{};
    info->facing = Is("external") ? CAMERA_FACING_EXTERNAL : CAMERA_FACING_BACK;
    info->orientation = 90;
    info->device_version = DeviceVersion();
    info->static_camera_characteristics = StaticInfo();
    if (Is("lying_static")) {
        static const camera_metadata_t* cutShort = CutShortStaticInfo();
        info->static_camera_characteristics = cutShort;
    }
    if (Is("garbage_static")) {
        static void* unreadable = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        info->static_camera_characteristics = static_cast<const camera_metadata_t*>(unreadable);
    }
    info->resource_cost = 100;
    return 0;
}

}  // namespace

extern "C" {
__attribute__((visibility("default"))) camera_module_t HAL_MODULE_INFO_SYM = {
    {HARDWARE_MODULE_TAG,
     CAMERA_MODULE_API_VERSION_2_4,
     HARDWARE_HAL_API_VERSION,
     CAMERA_HARDWARE_MODULE_ID,
     "plain test camera",
     "hal3_check",
     &g_methods,
     nullptr,
     {}},
    [] { return Is("huge_count") ? 1 << 30 : 1; },
    CameraInfo,
    [](const camera_module_callbacks_t*) { return Is("callbacks_fail") ? -EINVAL : 0; },
    GetVendorTagOps,
    nullptr,  // open_legacy
    [](const char*, bool) { return -ENOSYS; },
    nullptr,  // set_torch_mode_strength
    [] {
        if (Is("crash_init")) Crash();
        if (Is("spoof_output")) Spoof("camera_module_t::init");
        return Is("init_fails") ? -EIO : 0;
    },
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    {},  // optional entries of later module APIs
};
}

#ifndef ZELKOV_ANDROID_WRAPPERS_INTERNAL_STREAM_RECORDS_H
#define ZELKOV_ANDROID_WRAPPERS_INTERNAL_STREAM_RECORDS_H

#include <cstddef>
#include <cstdint>

#include <hardware/camera3.h>

// The library's own stream records: the platform's stream (from
// <hardware/camera3.h>) extended with a stream id, and the HAL stream
// attached to it. On the 32-bit ARM target the sizes and offsets below are ABI,
// the platform's included.

namespace zelkov {

struct zel_camera3_stream {
    camera3_stream stream;
    int32_t stream_id;
};

struct HalStream {
    uint32_t leading_word;
    int32_t format;
    uint64_t producer_usage;
    uint64_t consumer_usage;
    uint32_t max_buffers;
};

}  // namespace zelkov

#if defined(__arm__)
static_assert(sizeof(camera3_stream) == 88 && alignof(camera3_stream) == 8, "camera3_stream layout");
static_assert(offsetof(camera3_stream, usage) == 16 && offsetof(camera3_stream, priv) == 28 &&
                  offsetof(camera3_stream, physical_camera_id) == 40 && offsetof(camera3_stream, opaque) == 48 &&
                  offsetof(camera3_stream, stream_timestamp) == 64 && offsetof(camera3_stream, reserved) == 80,
              "camera3_stream offsets");
static_assert(sizeof(zelkov::zel_camera3_stream) == 96 && offsetof(zelkov::zel_camera3_stream, stream_id) == 88,
              "zel_camera3_stream layout");
static_assert(sizeof(zelkov::HalStream) == 32 && offsetof(zelkov::HalStream, producer_usage) == 8 &&
                  offsetof(zelkov::HalStream, consumer_usage) == 16 && offsetof(zelkov::HalStream, max_buffers) == 24,
              "HalStream layout");
#endif

#endif

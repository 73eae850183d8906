#ifndef ZELKOV_ANDROID_WRAPPERS_INTERNAL_REQUEST_RECORDS_H
#define ZELKOV_ANDROID_WRAPPERS_INTERNAL_REQUEST_RECORDS_H

#include <cstddef>
#include <cstdint>

#include <android/wrappers/Records.h>
#include <hardware/camera3.h>

// The per-frame and per-buffer HAL3 records come from the platform's
// <hardware/camera3.h>. On the 32-bit ARM target their sizes and offsets are
// the library's ABI: the camera core is compiled against them.

#if defined(__arm__)
static_assert(sizeof(camera3_stream_buffer) == 20 && offsetof(camera3_stream_buffer, status) == 8 &&
                  offsetof(camera3_stream_buffer, release_fence) == 16,
              "camera3_stream_buffer layout");
static_assert(sizeof(camera3_capture_request) == 32 && offsetof(camera3_capture_request, output_buffers) == 16 &&
                  offsetof(camera3_capture_request, physcam_settings) == 28,
              "camera3_capture_request layout");
static_assert(sizeof(camera3_capture_result) == 36 && offsetof(camera3_capture_result, input_buffer) == 16 &&
                  offsetof(camera3_capture_result, physcam_metadata) == 32,
              "camera3_capture_result layout");
static_assert(sizeof(camera3_stream_buffer_set) == 12 && offsetof(camera3_stream_buffer_set, buffers) == 8,
              "camera3_stream_buffer_set layout");
static_assert(sizeof(camera3_stream_buffer_ret) == 16 && offsetof(camera3_stream_buffer_ret, output_buffers) == 12,
              "camera3_stream_buffer_ret layout");
static_assert(sizeof(camera3_buffer_request) == 8 && offsetof(camera3_buffer_request, num_buffers_requested) == 4,
              "camera3_buffer_request layout");
static_assert(sizeof(camera3_stream_configuration) == 16 &&
                  offsetof(camera3_stream_configuration, session_parameters) == 12,
              "camera3_stream_configuration layout");
static_assert(sizeof(camera3_jpeg_blob) == 8 && offsetof(camera3_jpeg_blob, jpeg_size) == 4,
              "camera3_jpeg_blob layout");
#endif

#endif

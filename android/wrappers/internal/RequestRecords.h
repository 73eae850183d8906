#ifndef ZELKOV_ANDROID_WRAPPERS_INTERNAL_REQUEST_RECORDS_H
#define ZELKOV_ANDROID_WRAPPERS_INTERNAL_REQUEST_RECORDS_H

#include <cstddef>
#include <cstdint>

#include <android/wrappers/Records.h>

// The per-frame and per-buffer HAL3 records as the platform lays them out. A
// buffer handle is `const native_handle*`, so a buffer is a pointer to one. On
// the 32-bit ARM target the sizes and offsets below are ABI.

struct camera3_stream_buffer {
    camera3_stream* stream;
    const native_handle** buffer;
    int32_t status;
    int32_t acquire_fence;
    int32_t release_fence;
};

struct camera3_capture_request {
    uint32_t frame_number;
    const camera_metadata* settings;
    camera3_stream_buffer* input_buffer;
    uint32_t num_output_buffers;
    const camera3_stream_buffer* output_buffers;
    uint32_t num_physcam_settings;
    const char** physcam_id;
    const camera_metadata** physcam_settings;
};

struct camera3_capture_result {
    uint32_t frame_number;
    const camera_metadata* result;
    uint32_t num_output_buffers;
    const camera3_stream_buffer* output_buffers;
    const camera3_stream_buffer* input_buffer;
    uint32_t partial_result;
    uint32_t num_physcam_metadata;
    const char** physcam_ids;
    const camera_metadata** physcam_metadata;
};

struct camera3_stream_buffer_set {
    camera3_stream* stream;
    uint32_t num_buffers;
    const native_handle*** buffers;
};

struct camera3_stream_buffer_ret {
    camera3_stream* stream;
    int32_t status;
    uint32_t num_output_buffers;
    camera3_stream_buffer* output_buffers;
};

struct camera3_buffer_request {
    camera3_stream* stream;
    uint32_t num_buffers_requested;
};

struct camera3_stream_configuration {
    uint32_t num_streams;
    camera3_stream** streams;
    uint32_t operation_mode;
    const camera_metadata* session_parameters;
};

struct camera3_jpeg_blob {
    uint16_t jpeg_blob_id;
    uint32_t jpeg_size;
};

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

#ifndef ANDROID_INCLUDE_CAMERA3_H
#define ANDROID_INCLUDE_CAMERA3_H

// Host stand-in of libhardware's <hardware/camera3.h>: the camera HAL3 device
// interface, declared as the device platform declares it. The platform's
// stream record carries 64-bit usage and a few vendor fields after the
// standard ones; everything else is the standard HAL3 interface.
//
// The rules a HAL3 device follows (result and notify ordering, partial
// results, buffer return, error notifications, flush) are those of the
// platform's camera3.h; hal3_check holds a device to them.

#include <hardware/camera_common.h>
#include <system/camera_metadata.h>

__BEGIN_DECLS

typedef enum camera3_stream_type {
    CAMERA3_STREAM_OUTPUT = 0,
    CAMERA3_STREAM_INPUT = 1,
    CAMERA3_STREAM_BIDIRECTIONAL = 2,
    CAMERA3_NUM_STREAM_TYPES
} camera3_stream_type_t;

typedef enum camera3_stream_rotation {
    CAMERA3_STREAM_ROTATION_0 = 0,
    CAMERA3_STREAM_ROTATION_90 = 1,
    CAMERA3_STREAM_ROTATION_180 = 2,
    CAMERA3_STREAM_ROTATION_270 = 3
} camera3_stream_rotation_t;

typedef enum camera3_stream_configuration_mode {
    CAMERA3_STREAM_CONFIGURATION_NORMAL_MODE = 0,
    CAMERA3_STREAM_CONFIGURATION_CONSTRAINED_HIGH_SPEED_MODE = 1,
    CAMERA3_VENDOR_STREAM_CONFIGURATION_MODE_START = 0x8000
} camera3_stream_configuration_mode_t;

// One stream. The framework fills type, size, format, data space, rotation and
// the physical camera; configure_streams fills usage, max_buffers and priv.
typedef struct camera3_stream {
    int stream_type;
    uint32_t width;
    uint32_t height;
    int format;
    uint64_t usage;
    uint32_t max_buffers;
    void* priv;
    int data_space;
    int rotation;
    const char* physical_camera_id;
    int option;
    uint8_t opaque[16];
    uint64_t stream_timestamp;
    uint32_t min_fps;
    uint32_t max_fps;
    void* reserved[1];
} camera3_stream_t;

typedef struct camera3_stream_configuration {
    uint32_t num_streams;
    camera3_stream_t** streams;
    uint32_t operation_mode;
    const camera_metadata_t* session_parameters;
} camera3_stream_configuration_t;

typedef enum camera3_buffer_status {
    CAMERA3_BUFFER_STATUS_OK = 0,
    CAMERA3_BUFFER_STATUS_ERROR = 1
} camera3_buffer_status_t;

typedef struct camera3_stream_buffer {
    camera3_stream_t* stream;
    buffer_handle_t* buffer;
    int status;
    int acquire_fence;
    int release_fence;
} camera3_stream_buffer_t;

// Deprecated since device API 3.2; kept for the record layout.
typedef struct camera3_stream_buffer_set {
    camera3_stream_t* stream;
    uint32_t num_buffers;
    buffer_handle_t** buffers;
} camera3_stream_buffer_set_t;

// The trailer at the very end of a BLOB (JPEG) buffer: the size of the JPEG
// data that starts the buffer.
typedef struct camera3_jpeg_blob {
    uint16_t jpeg_blob_id;
    uint32_t jpeg_size;
} camera3_jpeg_blob_t;

enum { CAMERA3_JPEG_BLOB_ID = 0x00FF, CAMERA3_JPEG_APP_SEGMENTS_BLOB_ID = 0x0100 };

typedef enum camera3_msg_type {
    CAMERA3_MSG_ERROR = 1,
    CAMERA3_MSG_SHUTTER = 2,
    CAMERA3_NUM_MESSAGES
} camera3_msg_type_t;

typedef enum camera3_error_msg_code {
    // The device is in error: no further result or buffer will arrive.
    CAMERA3_MSG_ERROR_DEVICE = 1,
    // The whole request failed: no result metadata, every buffer in error.
    CAMERA3_MSG_ERROR_REQUEST = 2,
    // The result metadata of the request will not arrive; buffers still do.
    CAMERA3_MSG_ERROR_RESULT = 3,
    // One output buffer failed (error_stream names its stream).
    CAMERA3_MSG_ERROR_BUFFER = 4,
    CAMERA3_MSG_NUM_ERRORS
} camera3_error_msg_code_t;

typedef struct camera3_error_msg {
    uint32_t frame_number;
    camera3_stream_t* error_stream;
    int error_code;
} camera3_error_msg_t;

typedef struct camera3_shutter_msg {
    uint32_t frame_number;
    uint64_t timestamp;
} camera3_shutter_msg_t;

typedef struct camera3_notify_msg {
    int type;
    union {
        camera3_error_msg_t error;
        camera3_shutter_msg_t shutter;
        uint8_t generic[32];
    } message;
} camera3_notify_msg_t;

typedef enum camera3_request_template {
    CAMERA3_TEMPLATE_PREVIEW = 1,
    CAMERA3_TEMPLATE_STILL_CAPTURE = 2,
    CAMERA3_TEMPLATE_VIDEO_RECORD = 3,
    CAMERA3_TEMPLATE_VIDEO_SNAPSHOT = 4,
    CAMERA3_TEMPLATE_ZERO_SHUTTER_LAG = 5,
    CAMERA3_TEMPLATE_MANUAL = 6,
    CAMERA3_TEMPLATE_COUNT,
    CAMERA3_VENDOR_TEMPLATE_START = 0x40000000
} camera3_request_template_t;

typedef struct camera3_capture_request {
    uint32_t frame_number;
    const camera_metadata_t* settings;
    camera3_stream_buffer_t* input_buffer;
    uint32_t num_output_buffers;
    const camera3_stream_buffer_t* output_buffers;
    uint32_t num_physcam_settings;
    const char** physcam_id;
    const camera_metadata_t** physcam_settings;
} camera3_capture_request_t;

typedef struct camera3_capture_result {
    uint32_t frame_number;
    const camera_metadata_t* result;
    uint32_t num_output_buffers;
    const camera3_stream_buffer_t* output_buffers;
    const camera3_stream_buffer_t* input_buffer;
    uint32_t partial_result;
    uint32_t num_physcam_metadata;
    const char** physcam_ids;
    const camera_metadata_t** physcam_metadata;
} camera3_capture_result_t;

typedef struct camera3_buffer_request {
    camera3_stream_t* stream;
    uint32_t num_buffers_requested;
} camera3_buffer_request_t;

typedef enum camera3_buffer_request_status {
    CAMERA3_BUF_REQ_OK = 0,
    CAMERA3_BUF_REQ_FAILED_PARTIAL = 1,
    CAMERA3_BUF_REQ_FAILED_CONFIGURING = 2,
    CAMERA3_BUF_REQ_FAILED_ILLEGAL_ARGUMENTS = 3,
    CAMERA3_BUF_REQ_FAILED_UNKNOWN = 4,
    CAMERA3_BUF_REQ_NUM_STATUS
} camera3_buffer_request_status_t;

typedef enum camera3_stream_buffer_req_status {
    CAMERA3_PS_BUF_REQ_OK = 0,
    CAMERA3_PS_BUF_REQ_NO_BUFFER_AVAILABLE = 1,
    CAMERA3_PS_BUF_REQ_MAX_BUFFER_EXCEEDED = 2,
    CAMERA3_PS_BUF_REQ_STREAM_DISCONNECTED = 3,
    CAMERA3_PS_BUF_REQ_UNKNOWN_ERROR = 4,
    CAMERA3_PS_BUF_REQ_NUM_STATUS
} camera3_stream_buffer_req_status_t;

typedef struct camera3_stream_buffer_ret {
    camera3_stream_t* stream;
    camera3_stream_buffer_req_status_t status;
    uint32_t num_output_buffers;
    camera3_stream_buffer_t* output_buffers;
} camera3_stream_buffer_ret_t;

struct camera3_device;

typedef struct camera3_callback_ops {
    void (*process_capture_result)(const struct camera3_callback_ops*, const camera3_capture_result_t* result);
    void (*notify)(const struct camera3_callback_ops*, const camera3_notify_msg_t* msg);
    camera3_buffer_request_status_t (*request_stream_buffers)(const struct camera3_callback_ops*,
                                                              uint32_t num_buffer_reqs,
                                                              const camera3_buffer_request_t* buffer_reqs,
                                                              uint32_t* num_returned_buf_reqs,
                                                              camera3_stream_buffer_ret_t* returned_buf_reqs);
    void (*return_stream_buffers)(const struct camera3_callback_ops*, uint32_t num_buffers,
                                  const camera3_stream_buffer_t* const* buffers);
} camera3_callback_ops_t;

// Only named here: the device's drop-buffer-cache entry takes one.
struct camera3_buffer_cache;

typedef struct camera3_device_ops {
    int (*initialize)(const struct camera3_device*, const camera3_callback_ops_t* callback_ops);
    int (*configure_streams)(const struct camera3_device*, camera3_stream_configuration_t* stream_list);
    int (*register_stream_buffers)(const struct camera3_device*, const camera3_stream_buffer_set_t* buffer_set);
    const camera_metadata_t* (*construct_default_request_settings)(const struct camera3_device*, int type);
    int (*process_capture_request)(const struct camera3_device*, camera3_capture_request_t* request);
    void (*get_metadata_vendor_tag_ops)(const struct camera3_device*, vendor_tag_query_ops_t* ops);
    void (*dump)(const struct camera3_device*, int fd);
    int (*flush)(const struct camera3_device*);
    void (*signal_stream_flush)(const struct camera3_device*, uint32_t num_streams,
                                const camera3_stream_t* const* streams);
    int (*is_reconfiguration_required)(const struct camera3_device*, const camera_metadata_t* old_session_params,
                                       const camera_metadata_t* new_session_params);
    int (*set_parameter)(const struct camera3_device*, const char* parameter);
    void* reserved[5];
} camera3_device_ops_t;

typedef struct camera3_device {
    hw_device_t common;
    camera3_device_ops_t* ops;
    void* priv;
} camera3_device_t;

__END_DECLS

#endif

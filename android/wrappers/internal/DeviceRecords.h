#ifndef ZELKOV_ANDROID_WRAPPERS_INTERNAL_DEVICE_RECORDS_H
#define ZELKOV_ANDROID_WRAPPERS_INTERNAL_DEVICE_RECORDS_H

#include <cstddef>
#include <cstdint>

#include <android/wrappers/Records.h>
#include <hardware/hardware.h>

// The notification messages, the camera device and its two function tables as
// the platform lays them out. On the 32-bit ARM target the sizes and offsets
// below are ABI.

struct camera3_error_msg {
    uint32_t frame_number;
    camera3_stream* error_stream;
    int32_t error_code;
};

struct camera3_shutter_msg {
    uint32_t frame_number;
    uint64_t timestamp;
};

struct camera3_notify_msg {
    int32_t type;
    // One message body, read as the form the type names; 32 bytes, aligned to 8.
    union {
        camera3_error_msg error;
        camera3_shutter_msg shutter;
        uint8_t generic[32];
    } message;
};

struct camera3_callback_ops {
    void (*process_capture_result)(const camera3_callback_ops*, const camera3_capture_result*);
    void (*notify)(const camera3_callback_ops*, const camera3_notify_msg*);
    int (*request_stream_buffers)(const camera3_callback_ops*, unsigned int num_buffer_reqs,
                                  const camera3_buffer_request* buffer_reqs, unsigned int* num_returned_buf_reqs,
                                  camera3_stream_buffer_ret* returned_buf_reqs);
    void (*return_stream_buffers)(const camera3_callback_ops*, unsigned int num_buffers,
                                  const camera3_stream_buffer* const* buffers);
};

struct camera3_device_ops {
    int (*initialize)(const camera3_device*, const camera3_callback_ops*);
    int (*configure_streams)(const camera3_device*, camera3_stream_configuration*);
    int (*register_stream_buffers)(const camera3_device*, const camera3_stream_buffer_set*);
    const camera_metadata* (*construct_default_request_settings)(const camera3_device*, int type);
    int (*process_capture_request)(const camera3_device*, camera3_capture_request*);
    void (*get_metadata_vendor_tag_ops)(const camera3_device*, vendor_tag_query_ops*);
    void (*dump)(const camera3_device*, int fd);
    int (*flush)(const camera3_device*);
    void (*signal_stream_flush)(const camera3_device*, unsigned int num_streams, const camera3_stream* const* streams);
    int (*is_reconfiguration_required)(const camera3_device*, const camera_metadata* old_session_params,
                                       const camera_metadata* new_session_params);
    int (*set_parameter)(const camera3_device*, const char* parameter);
    void* reserved[5];
};

struct camera3_device {
    hw_device_t common;
    camera3_device_ops* ops;
    void* priv;
};

#if defined(__arm__)
static_assert(sizeof(camera3_error_msg) == 12 && offsetof(camera3_error_msg, error_code) == 8,
              "camera3_error_msg layout");
static_assert(sizeof(camera3_shutter_msg) == 16 && offsetof(camera3_shutter_msg, timestamp) == 8,
              "camera3_shutter_msg layout");
static_assert(sizeof(camera3_notify_msg) == 40 && offsetof(camera3_notify_msg, message) == 8,
              "camera3_notify_msg layout");
static_assert(sizeof(camera3_callback_ops) == 16, "camera3_callback_ops layout");
static_assert(sizeof(camera3_device_ops) == 64 && offsetof(camera3_device_ops, set_parameter) == 40 &&
                  offsetof(camera3_device_ops, reserved) == 44,
              "camera3_device_ops layout");
static_assert(sizeof(camera3_device) == 72 && offsetof(camera3_device, ops) == 64 &&
                  offsetof(camera3_device, priv) == 68,
              "camera3_device layout");
#endif

#endif

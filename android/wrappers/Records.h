#ifndef ZELKOV_ANDROID_WRAPPERS_RECORDS_H
#define ZELKOV_ANDROID_WRAPPERS_RECORDS_H

// The records the camera core handles only through pointers and wrappers.
// Their layouts are private to the library; here they are names only.

struct camera3_stream;
struct camera3_capture_request;
struct camera3_capture_result;
struct camera3_stream_buffer;
struct camera3_shutter_msg;
struct camera3_error_msg;
struct camera3_notify_msg;
struct camera3_stream_buffer_set;
struct camera3_stream_buffer_ret;
struct camera3_buffer_request;
struct camera3_callback_ops;
struct camera3_stream_configuration;
struct camera3_jpeg_blob;
struct camera3_device_ops;
struct camera3_device;
struct camera3_buffer_cache;
struct camera_info;
struct hw_device_t;
struct hw_module_methods_t;
struct hw_module_t;
struct camera_module;
struct camera_stream;
struct camera_module_callbacks;
struct concurrent_camera_combination;
struct camera_stream_combination;
struct cameraid_stream_combination;
struct vendor_tag_ops;
struct vendor_tag_query_ops;
struct vendor_tag_cache_ops;
struct camera_metadata;
struct native_handle;

namespace zelkov {
struct zel_camera3_stream;
struct HalStream;
}  // namespace zelkov

#endif

#ifndef ZELKOV_ANDROID_WRAPPERS_INTERNAL_MODULE_RECORDS_H
#define ZELKOV_ANDROID_WRAPPERS_INTERNAL_MODULE_RECORDS_H

#include <cstddef>
#include <cstdint>

#include <android/wrappers/Records.h>
#include <hardware/hardware.h>
#include <system/camera_vendor_tags.h>

// The camera-module level records as this system lays them out. hw_module_t,
// hw_device_t, hw_module_methods_t and vendor_tag_ops come from the platform's
// own headers. On the 32-bit ARM target the sizes below are ABI.

struct camera_module_callbacks {
    void (*camera_device_status_change)(const camera_module_callbacks*, int camera_id, int new_status);
    void (*torch_mode_status_change)(const camera_module_callbacks*, const char* camera_id, int new_status);
};

struct camera_info {
    int32_t facing;
    int32_t orientation;
    uint32_t device_version;
    const camera_metadata* static_camera_characteristics;
    int32_t resource_cost;
    char** conflicting_devices;
    size_t conflicting_devices_length;
};

struct camera_stream {
    int32_t stream_type;
    uint32_t width;
    uint32_t height;
    int32_t format;
    uint32_t usage;
    int32_t data_space;
    int32_t rotation;
    const char* physical_camera_id;
};

struct camera_stream_combination {
    uint32_t num_streams;
    camera_stream* streams;
    uint32_t operation_mode;
};

struct cameraid_stream_combination {
    uint32_t camera_id;
    camera_stream_combination* stream_configuration;
};

struct concurrent_camera_combination {
    uint32_t num_cameras;
    uint32_t camera_ids[2];
};

struct vendor_tag_query_ops {
    const char* (*get_section_name)(const vendor_tag_query_ops*, unsigned int tag);
    const char* (*get_tag_name)(const vendor_tag_query_ops*, unsigned int tag);
    int (*get_tag_type)(const vendor_tag_query_ops*, unsigned int tag);
    int (*get_tag_count)(const vendor_tag_query_ops*);
    void (*get_tags)(const vendor_tag_query_ops*, unsigned int* tag_array);
};

struct camera_module {
    hw_module_t common;
    int (*get_number_of_cameras)();
    int (*get_camera_info)(int camera_id, camera_info* info);
    int (*set_callbacks)(const camera_module_callbacks* callbacks);
    void (*get_vendor_tag_ops)(vendor_tag_ops* ops);
    int (*open_legacy)(const hw_module_t* module, const char* id, unsigned int hal_version, hw_device_t** device);
    int (*set_torch_mode)(const char* camera_id, bool enabled);
    int (*set_torch_mode_strength)(const char* camera_id, bool enabled, int strength);
    int (*init)();
    int (*get_physical_camera_info)(int physical_camera_id, camera_metadata** static_metadata);
    int (*is_stream_combination_supported)(int camera_id, const camera_stream_combination* streams);
    void (*notify_device_state_change)(unsigned long long device_state);
    int (*get_camera_device_version)(int camera_id, unsigned int* version);
    int (*get_concurrent_streaming_camera_ids)(unsigned int* size, concurrent_camera_combination** combinations);
    int (*is_concurrent_stream_combination_supported)(unsigned int num_combinations,
                                                      const cameraid_stream_combination* combinations);
    void* reserved[1];
};

#if defined(__arm__)
static_assert(sizeof(hw_module_t) == 128 && offsetof(hw_module_t, hal_api_version) == 6 &&
                  offsetof(hw_module_t, dso) == 24 && offsetof(hw_module_t, reserved) == 28,
              "hw_module_t layout");
static_assert(sizeof(hw_device_t) == 64 && offsetof(hw_device_t, reserved) == 12 && offsetof(hw_device_t, close) == 60,
              "hw_device_t layout");
static_assert(sizeof(hw_module_methods_t) == 4, "hw_module_methods_t layout");
static_assert(sizeof(vendor_tag_ops) == 52 && offsetof(vendor_tag_ops, reserved) == 20, "vendor_tag_ops layout");
static_assert(sizeof(vendor_tag_query_ops) == 20 && offsetof(vendor_tag_query_ops, get_tag_count) == 12,
              "vendor_tag_query_ops layout");
static_assert(sizeof(camera_module) == 188 && offsetof(camera_module, get_number_of_cameras) == 128 &&
                  offsetof(camera_module, is_concurrent_stream_combination_supported) == 180,
              "camera_module layout");
static_assert(sizeof(camera_module_callbacks) == 8, "camera_module_callbacks layout");
static_assert(sizeof(camera_info) == 28 && offsetof(camera_info, conflicting_devices_length) == 24,
              "camera_info layout");
static_assert(sizeof(camera_stream) == 32 && offsetof(camera_stream, physical_camera_id) == 28,
              "camera_stream layout");
static_assert(sizeof(camera_stream_combination) == 12 && sizeof(cameraid_stream_combination) == 8,
              "stream combination layouts");
static_assert(sizeof(concurrent_camera_combination) == 12 && offsetof(concurrent_camera_combination, camera_ids) == 4,
              "concurrent_camera_combination layout");
#endif

#endif

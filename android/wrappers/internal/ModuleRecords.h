#ifndef ZELKOV_ANDROID_WRAPPERS_INTERNAL_MODULE_RECORDS_H
#define ZELKOV_ANDROID_WRAPPERS_INTERNAL_MODULE_RECORDS_H

#include <cstddef>
#include <cstdint>

#include <android/wrappers/Records.h>
#include <hardware/camera3.h>

// The camera-module level records come from the platform's
// <hardware/camera_common.h>, <hardware/hardware.h> and
// <system/camera_vendor_tags.h>. On the 32-bit ARM target their sizes and
// offsets are the library's ABI.

#if defined(__arm__)
static_assert(sizeof(hw_module_t) == 128 && offsetof(hw_module_t, hal_api_version) == 6 &&
                  offsetof(hw_module_t, dso) == 24 && offsetof(hw_module_t, reserved) == 28,
              "hw_module_t layout");
static_assert(sizeof(hw_device_t) == 64 && offsetof(hw_device_t, reserved) == 12 && offsetof(hw_device_t, close) == 60,
              "hw_device_t layout");
static_assert(sizeof(hw_module_methods_t) == 4, "hw_module_methods_t layout");
static_assert(sizeof(vendor_tag_ops) == 52 && offsetof(vendor_tag_ops, reserved) == 20, "vendor_tag_ops layout");
static_assert(sizeof(vendor_tag_query_ops) == 20 && offsetof(vendor_tag_query_ops, get_camera_vendor_tag_count) == 12,
              "vendor_tag_query_ops layout");
static_assert(sizeof(camera_module) == 188 && offsetof(camera_module, get_number_of_cameras) == 128 &&
                  offsetof(camera_module, is_concurrent_stream_combination_supported) == 180,
              "camera_module layout");
static_assert(sizeof(camera_module_callbacks) == 8, "camera_module_callbacks layout");
static_assert(sizeof(camera_info) == 28 && offsetof(camera_info, conflicting_devices_length) == 24,
              "camera_info layout");
static_assert(sizeof(camera_stream) == 32 && offsetof(camera_stream, physical_camera_id) == 28, "camera_stream layout");
static_assert(sizeof(camera_stream_combination) == 12 && sizeof(cameraid_stream_combination) == 8,
              "stream combination layouts");
static_assert(sizeof(concurrent_camera_combination) == 12 && offsetof(concurrent_camera_combination, camera_ids) == 4,
              "concurrent_camera_combination layout");
#endif

#endif

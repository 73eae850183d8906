#ifndef ZELKOV_ANDROID_WRAPPERS_INTERNAL_DEVICE_RECORDS_H
#define ZELKOV_ANDROID_WRAPPERS_INTERNAL_DEVICE_RECORDS_H

#include <cstddef>
#include <cstdint>

#include <android/wrappers/Records.h>
#include <hardware/camera3.h>

// The notification messages, the camera device and its two function tables
// come from the platform's <hardware/camera3.h>. On the 32-bit ARM target their
// sizes and offsets are the library's ABI.

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

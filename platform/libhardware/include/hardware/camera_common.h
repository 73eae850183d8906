#ifndef ANDROID_INCLUDE_CAMERA_COMMON_H
#define ANDROID_INCLUDE_CAMERA_COMMON_H

// Host stand-in of libhardware's <hardware/camera_common.h>: the camera module
// record, camera information and the module-level callbacks, declared as the
// device platform declares them (camera module API 2.5 with the device's
// torch-strength, device-state and concurrent-streaming entries).

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/cdefs.h>
#include <sys/types.h>

#include <cutils/native_handle.h>
#include <hardware/hardware.h>
#include <system/camera_metadata.h>
#include <system/camera_vendor_tags.h>

__BEGIN_DECLS

#define CAMERA_HARDWARE_MODULE_ID "camera"

#define CAMERA_MODULE_API_VERSION_1_0 HARDWARE_MODULE_API_VERSION(1, 0)
#define CAMERA_MODULE_API_VERSION_2_0 HARDWARE_MODULE_API_VERSION(2, 0)
#define CAMERA_MODULE_API_VERSION_2_1 HARDWARE_MODULE_API_VERSION(2, 1)
#define CAMERA_MODULE_API_VERSION_2_2 HARDWARE_MODULE_API_VERSION(2, 2)
#define CAMERA_MODULE_API_VERSION_2_3 HARDWARE_MODULE_API_VERSION(2, 3)
#define CAMERA_MODULE_API_VERSION_2_4 HARDWARE_MODULE_API_VERSION(2, 4)
#define CAMERA_MODULE_API_VERSION_2_5 HARDWARE_MODULE_API_VERSION(2, 5)
#define CAMERA_MODULE_API_VERSION_CURRENT CAMERA_MODULE_API_VERSION_2_5

#define CAMERA_DEVICE_API_VERSION_1_0 HARDWARE_DEVICE_API_VERSION(1, 0)
#define CAMERA_DEVICE_API_VERSION_3_0 HARDWARE_DEVICE_API_VERSION(3, 0)
#define CAMERA_DEVICE_API_VERSION_3_1 HARDWARE_DEVICE_API_VERSION(3, 1)
#define CAMERA_DEVICE_API_VERSION_3_2 HARDWARE_DEVICE_API_VERSION(3, 2)
#define CAMERA_DEVICE_API_VERSION_3_3 HARDWARE_DEVICE_API_VERSION(3, 3)
#define CAMERA_DEVICE_API_VERSION_3_4 HARDWARE_DEVICE_API_VERSION(3, 4)
#define CAMERA_DEVICE_API_VERSION_3_5 HARDWARE_DEVICE_API_VERSION(3, 5)
#define CAMERA_DEVICE_API_VERSION_3_6 HARDWARE_DEVICE_API_VERSION(3, 6)
#define CAMERA_DEVICE_API_VERSION_CURRENT CAMERA_DEVICE_API_VERSION_3_6

#define CAMERA_FACING_BACK 0
#define CAMERA_FACING_FRONT 1
#define CAMERA_FACING_EXTERNAL 2

typedef struct camera_info {
    int facing;
    int orientation;
    uint32_t device_version;
    const camera_metadata_t* static_camera_characteristics;
    int resource_cost;
    char** conflicting_devices;
    size_t conflicting_devices_length;
} camera_info_t;

typedef enum camera_device_status {
    CAMERA_DEVICE_STATUS_NOT_PRESENT = 0,
    CAMERA_DEVICE_STATUS_PRESENT = 1,
    CAMERA_DEVICE_STATUS_ENUMERATING = 2,
} camera_device_status_t;

typedef enum torch_mode_status {
    TORCH_MODE_STATUS_NOT_AVAILABLE = 0,
    TORCH_MODE_STATUS_AVAILABLE_OFF = 1,
    TORCH_MODE_STATUS_AVAILABLE_ON = 2,
} torch_mode_status_t;

typedef struct camera_module_callbacks {
    void (*camera_device_status_change)(const struct camera_module_callbacks*, int camera_id, int new_status);
    void (*torch_mode_status_change)(const struct camera_module_callbacks*, const char* camera_id, int new_status);
} camera_module_callbacks_t;

// A stream as the module's stream-combination query sees it (no buffers yet).
typedef struct camera_stream {
    int stream_type;
    uint32_t width;
    uint32_t height;
    int format;
    uint32_t usage;
    int data_space;
    int rotation;
    const char* physical_camera_id;
} camera_stream_t;

typedef struct camera_stream_combination {
    uint32_t num_streams;
    camera_stream_t* streams;
    uint32_t operation_mode;
} camera_stream_combination_t;

typedef struct cameraid_stream_combination {
    uint32_t camera_id;
    camera_stream_combination_t* stream_configuration;
} cameraid_stream_combination_t;

// Up to two cameras that can stream at the same time.
typedef struct concurrent_camera_combination {
    uint32_t num_cameras;
    uint32_t camera_ids[2];
} concurrent_camera_combination_t;

typedef struct camera_module {
    hw_module_t common;
    int (*get_number_of_cameras)(void);
    int (*get_camera_info)(int camera_id, struct camera_info* info);
    int (*set_callbacks)(const camera_module_callbacks_t* callbacks);
    void (*get_vendor_tag_ops)(vendor_tag_ops_t* ops);
    int (*open_legacy)(const struct hw_module_t* module, const char* id, uint32_t halVersion,
                       struct hw_device_t** device);
    int (*set_torch_mode)(const char* camera_id, bool enabled);
    int (*set_torch_mode_strength)(const char* camera_id, bool enabled, int strength);
    int (*init)(void);
    int (*get_physical_camera_info)(int physical_camera_id, camera_metadata_t** static_metadata);
    int (*is_stream_combination_supported)(int camera_id, const camera_stream_combination_t* streams);
    void (*notify_device_state_change)(unsigned long long deviceState);
    int (*get_camera_device_version)(int camera_id, uint32_t* version);
    int (*get_concurrent_streaming_camera_ids)(uint32_t* size, concurrent_camera_combination_t** combinations);
    int (*is_concurrent_stream_combination_supported)(uint32_t num_combinations,
                                                      const cameraid_stream_combination_t* combinations);
    void* reserved[1];
} camera_module_t;

__END_DECLS

#endif

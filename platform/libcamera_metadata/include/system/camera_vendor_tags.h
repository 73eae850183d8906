#ifndef SYSTEM_MEDIA_INCLUDE_ANDROID_CAMERA_VENDOR_TAGS_H
#define SYSTEM_MEDIA_INCLUDE_ANDROID_CAMERA_VENDOR_TAGS_H

// Host stand-in of libcamera_metadata's <system/camera_vendor_tags.h>, declared
// as the platform declares it.

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define CAMERA_METADATA_VENDOR_TAG_BOUNDARY 0x80000000u
#define CAMERA_METADATA_INVALID_VENDOR_ID UINT64_MAX

typedef uint64_t metadata_vendor_id_t;

typedef struct vendor_tag_ops vendor_tag_ops_t;
struct vendor_tag_ops {
    int (*get_tag_count)(const vendor_tag_ops_t* v);
    void (*get_all_tags)(const vendor_tag_ops_t* v, uint32_t* tag_array);
    const char* (*get_section_name)(const vendor_tag_ops_t* v, uint32_t tag);
    const char* (*get_tag_name)(const vendor_tag_ops_t* v, uint32_t tag);
    int (*get_tag_type)(const vendor_tag_ops_t* v, uint32_t tag);
    void* reserved[8];
};

struct vendor_tag_cache_ops {
    int (*get_tag_count)(metadata_vendor_id_t id);
    void (*get_all_tags)(uint32_t* tag_array, metadata_vendor_id_t id);
    const char* (*get_section_name)(uint32_t tag, metadata_vendor_id_t id);
    const char* (*get_tag_name)(uint32_t tag, metadata_vendor_id_t id);
    int (*get_tag_type)(uint32_t tag, metadata_vendor_id_t id);
    void* reserved[8];
};

#ifdef __cplusplus
}
#endif

#endif

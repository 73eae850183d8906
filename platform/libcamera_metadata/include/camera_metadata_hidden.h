#ifndef SYSTEM_MEDIA_PRIVATE_INCLUDE_CAMERA_METADATA_HIDDEN_H
#define SYSTEM_MEDIA_PRIVATE_INCLUDE_CAMERA_METADATA_HIDDEN_H

// Host stand-in of libcamera_metadata's private <camera_metadata_hidden.h>:
// the calls the platform keeps for the camera framework, declared as it
// declares them.

#include <stdint.h>

#include <system/camera_metadata.h>
#include <system/camera_vendor_tags.h>

#define VENDOR_SECTION_NAME_ERR NULL
#define VENDOR_TAG_NAME_ERR NULL
#define VENDOR_TAG_COUNT_ERR (-1)
#define VENDOR_TAG_TYPE_ERR (-1)

#ifdef __cplusplus
extern "C" {
#endif

int set_camera_metadata_vendor_cache_ops(const struct vendor_tag_cache_ops* query_cache_ops);

void set_camera_metadata_vendor_id(camera_metadata_t* meta, metadata_vendor_id_t id);
metadata_vendor_id_t get_camera_metadata_vendor_id(const camera_metadata_t* meta);

// Tag lookups for a vendor id rather than a buffer.
int get_local_camera_metadata_tag_type_vendor_id(uint32_t tag, metadata_vendor_id_t id);
const char* get_local_camera_metadata_tag_name_vendor_id(uint32_t tag, metadata_vendor_id_t id);
const char* get_local_camera_metadata_section_name_vendor_id(uint32_t tag, metadata_vendor_id_t id);

#ifdef __cplusplus
}
#endif

#endif

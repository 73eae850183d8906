#ifndef ZELKOV_CAMERA_METADATA_TAG_INFO_H
#define ZELKOV_CAMERA_METADATA_TAG_INFO_H

// The generated standard-tag tables, private to the library.

#include <system/camera_metadata.h>

typedef struct tag_info {
    const char* tag_name;
    int tag_type;
} tag_info_t;

// One array per section, (section end - section start) long.
extern const tag_info_t* const tag_info[ANDROID_SECTION_COUNT];

#endif

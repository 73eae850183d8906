#ifndef ZELKOV_CAMERA_METADATA_TAG_INFO_H
#define ZELKOV_CAMERA_METADATA_TAG_INFO_H

// The generated standard-tag tables, private to the library (hidden symbols:
// the platform's library exports none of them).

#include <system/camera_metadata.h>

#pragma GCC visibility push(hidden)

typedef struct tag_info {
    const char* tag_name;
    int tag_type;
} tag_info_t;

// One array per section, (section end - section start) long.
extern const tag_info_t* const tag_info[ANDROID_SECTION_COUNT];

// The tags whose values need the camera permission to be read.
extern const int32_t tag_permission_needed[];
extern const size_t tag_permission_needed_count;

// The named values of each enumerated tag, in tag order.
typedef struct enum_value {
    const char* name;
    int32_t value;
} enum_value_t;

typedef struct tag_enum {
    uint32_t tag;
    const enum_value_t* values;
    size_t count;
} tag_enum_t;

extern const tag_enum_t tag_enums[];
extern const size_t tag_enum_count;

#pragma GCC visibility pop

#endif

#ifndef SYSTEM_MEDIA_INCLUDE_ANDROID_CAMERA_METADATA_H
#define SYSTEM_MEDIA_INCLUDE_ANDROID_CAMERA_METADATA_H

// Host stand-in of libcamera_metadata's <system/camera_metadata.h>, declared as
// the platform declares it. Buffers use the platform's packed layout, so one
// made here is byte for byte what the platform's library makes.

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <system/camera_metadata_tags.h>
#include <system/camera_vendor_tags.h>

#ifdef __cplusplus
extern "C" {
#endif

// Entry data types.
enum { TYPE_BYTE = 0, TYPE_INT32 = 1, TYPE_FLOAT = 2, TYPE_INT64 = 3, TYPE_DOUBLE = 4, TYPE_RATIONAL = 5, NUM_TYPES };

typedef struct camera_metadata_rational {
    int32_t numerator;
    int32_t denominator;
} camera_metadata_rational_t;

// A view of one entry; data points into the buffer.
typedef struct camera_metadata_entry {
    size_t index;
    uint32_t tag;
    uint8_t type;
    size_t count;
    union {
        uint8_t* u8;
        int32_t* i32;
        float* f;
        int64_t* i64;
        double* d;
        camera_metadata_rational_t* r;
    } data;
} camera_metadata_entry_t;

typedef struct camera_metadata_ro_entry {
    size_t index;
    uint32_t tag;
    uint8_t type;
    size_t count;
    union {
        const uint8_t* u8;
        const int32_t* i32;
        const float* f;
        const int64_t* i64;
        const double* d;
        const camera_metadata_rational_t* r;
    } data;
} camera_metadata_ro_entry_t;

// The buffer itself: opaque.
typedef struct camera_metadata camera_metadata_t;

extern const char* camera_metadata_type_names[NUM_TYPES];
extern const size_t camera_metadata_type_size[NUM_TYPES];

// Per-section name and [start, end) tag range, indexed by camera_metadata_section.
extern const char* camera_metadata_section_names[ANDROID_SECTION_COUNT];
extern unsigned int camera_metadata_section_bounds[ANDROID_SECTION_COUNT][2];

camera_metadata_t* allocate_camera_metadata(size_t entry_capacity, size_t data_capacity);
// The alignment a packet needs: 8, the largest of header, entry and data.
size_t get_camera_metadata_alignment(void);
// A validated heap copy of src_size bytes at src (aligned or not); NULL when
// the copy is not a sound buffer.
camera_metadata_t* allocate_copy_camera_metadata_checked(const camera_metadata_t* src, size_t src_size);
camera_metadata_t* place_camera_metadata(void* dst, size_t dst_size, size_t entry_capacity, size_t data_capacity);
void free_camera_metadata(camera_metadata_t* metadata);
size_t calculate_camera_metadata_size(size_t entry_count, size_t data_count);

size_t get_camera_metadata_size(const camera_metadata_t* metadata);
size_t get_camera_metadata_compact_size(const camera_metadata_t* metadata);
size_t get_camera_metadata_entry_count(const camera_metadata_t* metadata);
size_t get_camera_metadata_entry_capacity(const camera_metadata_t* metadata);
size_t get_camera_metadata_data_count(const camera_metadata_t* metadata);
size_t get_camera_metadata_data_capacity(const camera_metadata_t* metadata);

camera_metadata_t* copy_camera_metadata(void* dst, size_t dst_size, const camera_metadata_t* src);

// Non-zero results of validate_camera_metadata_structure: malformed, or sound
// but not at an 8-byte aligned address (clone_camera_metadata repairs that).
enum {
    CAMERA_METADATA_VALIDATION_ERROR = 1,
    CAMERA_METADATA_VALIDATION_SHIFTED = 2,
};
int validate_camera_metadata_structure(const camera_metadata_t* metadata, const size_t* expected_size);

int append_camera_metadata(camera_metadata_t* dst, const camera_metadata_t* src);
camera_metadata_t* clone_camera_metadata(const camera_metadata_t* src);

size_t calculate_camera_metadata_entry_data_size(uint8_t type, size_t data_count);

int add_camera_metadata_entry(camera_metadata_t* dst, uint32_t tag, const void* data, size_t data_count);
int sort_camera_metadata(camera_metadata_t* dst);
int get_camera_metadata_entry(camera_metadata_t* src, size_t index, camera_metadata_entry_t* entry);
int get_camera_metadata_ro_entry(const camera_metadata_t* src, size_t index, camera_metadata_ro_entry_t* entry);
int find_camera_metadata_entry(camera_metadata_t* src, uint32_t tag, camera_metadata_entry_t* entry);
int find_camera_metadata_ro_entry(const camera_metadata_t* src, uint32_t tag, camera_metadata_ro_entry_t* entry);
int delete_camera_metadata_entry(camera_metadata_t* dst, size_t index);
int update_camera_metadata_entry(camera_metadata_t* dst, size_t index, const void* data, size_t data_count,
                                 camera_metadata_entry_t* updated_entry);

// Names and types of standard tags, and of vendor tags through the vendor ops.
const char* get_camera_metadata_section_name(uint32_t tag);
const char* get_camera_metadata_tag_name(uint32_t tag);
int get_camera_metadata_tag_type(uint32_t tag);
// The same, asking the vendor cache ops for the buffer's vendor id first
// (see <camera_metadata_hidden.h>).
const char* get_local_camera_metadata_section_name(uint32_t tag, const camera_metadata_t* meta);
const char* get_local_camera_metadata_tag_name(uint32_t tag, const camera_metadata_t* meta);
int get_local_camera_metadata_tag_type(uint32_t tag, const camera_metadata_t* meta);

// The tags whose values need the camera permission; *tag_count is their number.
const int32_t* get_camera_metadata_permission_needed(uint32_t* tag_count);

// The retired per-device vendor tag queries, which a camera3 device still
// hands out through get_metadata_vendor_tag_ops. Setting them is always
// refused (returns 1).
typedef struct vendor_tag_query_ops vendor_tag_query_ops_t;
struct vendor_tag_query_ops {
    const char* (*get_camera_vendor_section_name)(const vendor_tag_query_ops_t* v, uint32_t tag);
    const char* (*get_camera_vendor_tag_name)(const vendor_tag_query_ops_t* v, uint32_t tag);
    int (*get_camera_vendor_tag_type)(const vendor_tag_query_ops_t* v, uint32_t tag);
    int (*get_camera_vendor_tag_count)(const vendor_tag_query_ops_t* v);
    void (*get_camera_vendor_tags)(const vendor_tag_query_ops_t* v, uint32_t* tag_array);
};
int set_camera_metadata_vendor_tag_ops(const vendor_tag_query_ops_t* query_ops);

// Writes the buffer's entries to fd: verbosity 0 names them, 1 adds up to 16
// values each, 2 all values; indentation spaces start every line.
void dump_camera_metadata(const camera_metadata_t* metadata, int fd, int verbosity);
void dump_indented_camera_metadata(const camera_metadata_t* metadata, int fd, int verbosity, int indentation);

// Name of an enumerated tag's value and back: 0 on success, -1 otherwise.
// enum_value compares the first `size` characters of name.
int camera_metadata_enum_snprint(uint32_t tag, uint32_t value, char* dst, size_t size);
int camera_metadata_enum_value(uint32_t tag, const char* name, size_t size, uint32_t* value);

int set_camera_metadata_vendor_ops(const vendor_tag_ops_t* query_ops);

#ifdef __cplusplus
}
#endif

#endif

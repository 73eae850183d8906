// Host implementation of the platform's camera metadata buffer.
//
// One contiguous buffer: a 48-byte header, then an array of 16-byte entries
// (4-byte aligned), then a data area (8-byte aligned). A value of at most four
// bytes lives inside its entry; a larger one lives in the data area, padded to
// a multiple of 8 bytes, and the entry holds its offset from the data start.

#include <errno.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>

#include "camera_metadata_tag_info.h"

#define OK 0
#define ERROR 1
#define NOT_FOUND (-ENOENT)

#define ALIGN_TO(val, alignment) (((uintptr_t)(val) + ((alignment) - 1)) & ~((uintptr_t)(alignment) - 1))

typedef uint32_t metadata_uptrdiff_t;
typedef uint32_t metadata_size_t;

typedef struct camera_metadata_buffer_entry {
    uint32_t tag;
    uint32_t count;
    union {
        uint32_t offset;
        uint8_t value[4];
    } data;
    uint8_t type;
    uint8_t reserved[3];
} camera_metadata_buffer_entry_t;

struct camera_metadata {
    metadata_size_t size;
    uint32_t version;
    uint32_t flags;
    metadata_size_t entry_count;
    metadata_size_t entry_capacity;
    metadata_uptrdiff_t entries_start;  // from the start of the buffer
    metadata_size_t data_count;
    metadata_size_t data_capacity;
    metadata_uptrdiff_t data_start;  // from the start of the buffer
    uint32_t padding;
    metadata_vendor_id_t vendor_id;
};

#define CURRENT_METADATA_VERSION 1
#define FLAG_SORTED 0x00000001u

#define ENTRY_ALIGNMENT ((size_t)4)
#define DATA_ALIGNMENT ((size_t)8)
// Buffers can be stacked back to back.
#define METADATA_PACKET_ALIGNMENT _Alignof(struct camera_metadata)

_Static_assert(sizeof(struct camera_metadata) == 48, "header layout");
_Static_assert(sizeof(camera_metadata_buffer_entry_t) == 16, "entry layout");

const char* camera_metadata_type_names[NUM_TYPES] = {
    [TYPE_BYTE] = "byte",     [TYPE_INT32] = "int32",   [TYPE_FLOAT] = "float",
    [TYPE_INT64] = "int64",   [TYPE_DOUBLE] = "double", [TYPE_RATIONAL] = "rational",
};

const size_t camera_metadata_type_size[NUM_TYPES] = {
    [TYPE_BYTE] = sizeof(uint8_t),   [TYPE_INT32] = sizeof(int32_t), [TYPE_FLOAT] = sizeof(float),
    [TYPE_INT64] = sizeof(int64_t),  [TYPE_DOUBLE] = sizeof(double), [TYPE_RATIONAL] = sizeof(camera_metadata_rational_t),
};

static const vendor_tag_ops_t* vendor_tag_ops = NULL;
static const struct vendor_tag_cache_ops* vendor_cache_ops = NULL;

static camera_metadata_buffer_entry_t* get_entries(const camera_metadata_t* metadata) {
    return (camera_metadata_buffer_entry_t*)((uint8_t*)metadata + metadata->entries_start);
}

static uint8_t* get_data(const camera_metadata_t* metadata) {
    return (uint8_t*)metadata + metadata->data_start;
}

size_t calculate_camera_metadata_size(size_t entry_count, size_t data_count) {
    size_t memory_needed = ALIGN_TO(sizeof(camera_metadata_t), ENTRY_ALIGNMENT);
    memory_needed += sizeof(camera_metadata_buffer_entry_t) * entry_count;
    memory_needed = ALIGN_TO(memory_needed, DATA_ALIGNMENT);
    memory_needed += data_count;
    return ALIGN_TO(memory_needed, METADATA_PACKET_ALIGNMENT);
}

size_t calculate_camera_metadata_entry_data_size(uint8_t type, size_t data_count) {
    if (type >= NUM_TYPES) return 0;
    size_t data_bytes = data_count * camera_metadata_type_size[type];
    return data_bytes <= 4 ? 0 : ALIGN_TO(data_bytes, DATA_ALIGNMENT);
}

camera_metadata_t* place_camera_metadata(void* dst, size_t dst_size, size_t entry_capacity, size_t data_capacity) {
    if (dst == NULL) return NULL;
    size_t memory_needed = calculate_camera_metadata_size(entry_capacity, data_capacity);
    if (memory_needed > dst_size || memory_needed > UINT32_MAX) return NULL;

    camera_metadata_t* metadata = (camera_metadata_t*)dst;
    memset(metadata, 0, sizeof(*metadata));
    metadata->version = CURRENT_METADATA_VERSION;
    metadata->flags = 0;
    metadata->entry_count = 0;
    metadata->entry_capacity = (metadata_size_t)entry_capacity;
    metadata->entries_start = (metadata_uptrdiff_t)ALIGN_TO(sizeof(camera_metadata_t), ENTRY_ALIGNMENT);
    metadata->data_count = 0;
    metadata->data_capacity = (metadata_size_t)data_capacity;
    metadata->size = (metadata_size_t)memory_needed;
    size_t entries_end = metadata->entries_start + sizeof(camera_metadata_buffer_entry_t) * entry_capacity;
    metadata->data_start = (metadata_uptrdiff_t)ALIGN_TO(entries_end, DATA_ALIGNMENT);
    metadata->vendor_id = CAMERA_METADATA_INVALID_VENDOR_ID;
    return metadata;
}

camera_metadata_t* allocate_camera_metadata(size_t entry_capacity, size_t data_capacity) {
    size_t memory_needed = calculate_camera_metadata_size(entry_capacity, data_capacity);
    void* buffer = calloc(1, memory_needed);
    camera_metadata_t* metadata = place_camera_metadata(buffer, memory_needed, entry_capacity, data_capacity);
    if (metadata == NULL) free(buffer);
    return metadata;
}

void free_camera_metadata(camera_metadata_t* metadata) {
    free(metadata);
}

// The platform answers ERROR (1) for a missing buffer here, not 0.
size_t get_camera_metadata_size(const camera_metadata_t* metadata) {
    return metadata == NULL ? ERROR : metadata->size;
}

size_t get_camera_metadata_compact_size(const camera_metadata_t* metadata) {
    return metadata == NULL ? ERROR : calculate_camera_metadata_size(metadata->entry_count, metadata->data_count);
}

size_t get_camera_metadata_entry_count(const camera_metadata_t* metadata) {
    return metadata == NULL ? ERROR : metadata->entry_count;
}

size_t get_camera_metadata_entry_capacity(const camera_metadata_t* metadata) {
    return metadata == NULL ? ERROR : metadata->entry_capacity;
}

size_t get_camera_metadata_data_count(const camera_metadata_t* metadata) {
    return metadata == NULL ? ERROR : metadata->data_count;
}

size_t get_camera_metadata_data_capacity(const camera_metadata_t* metadata) {
    return metadata == NULL ? ERROR : metadata->data_capacity;
}

metadata_vendor_id_t get_camera_metadata_vendor_id(const camera_metadata_t* meta) {
    return meta == NULL ? CAMERA_METADATA_INVALID_VENDOR_ID : meta->vendor_id;
}

void set_camera_metadata_vendor_id(camera_metadata_t* meta, metadata_vendor_id_t id) {
    if (meta != NULL) meta->vendor_id = id;
}

camera_metadata_t* copy_camera_metadata(void* dst, size_t dst_size, const camera_metadata_t* src) {
    if (dst == NULL || src == NULL) return NULL;
    size_t memory_needed = get_camera_metadata_compact_size(src);
    if (dst_size < memory_needed) return NULL;
    camera_metadata_t* metadata = place_camera_metadata(dst, dst_size, src->entry_count, src->data_count);
    if (metadata == NULL) return NULL;
    metadata->flags = src->flags;
    metadata->entry_count = src->entry_count;
    metadata->data_count = src->data_count;
    metadata->vendor_id = src->vendor_id;
    memcpy(get_entries(metadata), get_entries(src), sizeof(camera_metadata_buffer_entry_t) * src->entry_count);
    memcpy(get_data(metadata), get_data(src), src->data_count);
    return metadata;
}

// Alignment a value of each type needs in the data area.
static size_t type_alignment(uint8_t type) {
    switch (type) {
        case TYPE_BYTE: return _Alignof(uint8_t);
        case TYPE_INT32: return _Alignof(int32_t);
        case TYPE_FLOAT: return _Alignof(float);
        case TYPE_INT64: return _Alignof(int64_t);
        case TYPE_DOUBLE: return _Alignof(double);
        default: return _Alignof(camera_metadata_rational_t);
    }
}

// Checks every size and offset against the buffer's own size (and against
// *expected_size first, when given) before it reads anything it points at, so
// a malformed buffer is rejected without a read outside it. Arithmetic is done
// in 64 bits so that no sum of 32-bit fields can wrap.
int validate_camera_metadata_structure(const camera_metadata_t* metadata, const size_t* expected_size) {
    if (metadata == NULL) return ERROR;
    if ((uintptr_t)metadata % METADATA_PACKET_ALIGNMENT != 0) return CAMERA_METADATA_VALIDATION_SHIFTED;
    if (expected_size != NULL) {
        if (*expected_size < sizeof(camera_metadata_t)) return ERROR;
        if (metadata->size > *expected_size) return ERROR;
    }
    if (metadata->size < sizeof(camera_metadata_t)) return ERROR;
    if (metadata->entry_count > metadata->entry_capacity) return ERROR;
    if (metadata->data_count > metadata->data_capacity) return ERROR;

    const uint64_t size = metadata->size;
    const uint64_t entries_start = metadata->entries_start;
    const uint64_t entries_end = entries_start + (uint64_t)metadata->entry_capacity * sizeof(camera_metadata_buffer_entry_t);
    const uint64_t data_start = metadata->data_start;
    const uint64_t data_end = data_start + metadata->data_capacity;
    if (entries_start < sizeof(camera_metadata_t) || entries_start % ENTRY_ALIGNMENT != 0) return ERROR;
    if (entries_end > data_start) return ERROR;
    if (data_start % DATA_ALIGNMENT != 0 || data_end > size) return ERROR;
    // The data area fills in padded 8-byte units; append places one buffer's
    // data right after another's, so a ragged count would misalign what follows.
    if (metadata->data_count % DATA_ALIGNMENT != 0) return ERROR;

    const camera_metadata_buffer_entry_t* entries = get_entries(metadata);
    const uint8_t* data = get_data(metadata);
    for (size_t i = 0; i < metadata->entry_count; ++i) {
        camera_metadata_buffer_entry_t entry;
        memcpy(&entry, entries + i, sizeof(entry));
        if (entry.type >= NUM_TYPES) return ERROR;

        // A standard tag must carry its declared type; a vendor tag is checked
        // only when the vendor ops know it.
        int tag_type = get_local_camera_metadata_tag_type(entry.tag, metadata);
        if ((entry.tag >> 16) < VENDOR_SECTION) {
            if (tag_type != (int)entry.type) return ERROR;
        } else if (tag_type != -1 && tag_type != (int)entry.type) {
            return ERROR;
        }

        const uint64_t payload = (uint64_t)entry.count * camera_metadata_type_size[entry.type];
        if (payload > 4) {
            const uint64_t padded = (payload + DATA_ALIGNMENT - 1) & ~(uint64_t)(DATA_ALIGNMENT - 1);
            if ((uint64_t)entry.data.offset + padded > metadata->data_count) return ERROR;
            if ((uintptr_t)(data + entry.data.offset) % type_alignment(entry.type) != 0) return ERROR;
        } else if (entry.count == 0 && entry.data.offset != 0) {
            return ERROR;
        }
    }
    return OK;
}

static int add_camera_metadata_entry_raw(camera_metadata_t* dst, uint32_t tag, uint8_t type, const void* data,
                                         size_t data_count) {
    if (dst == NULL) return ERROR;
    if (dst->entry_count == dst->entry_capacity) return ERROR;
    if (data_count != 0 && data == NULL) return ERROR;
    if (type >= NUM_TYPES || data_count > UINT32_MAX / camera_metadata_type_size[type]) return ERROR;

    size_t data_bytes = calculate_camera_metadata_entry_data_size(type, data_count);
    if (data_bytes + dst->data_count > dst->data_capacity) return ERROR;

    size_t data_payload_bytes = data_count * camera_metadata_type_size[type];
    camera_metadata_buffer_entry_t* entry = get_entries(dst) + dst->entry_count;
    memset(entry, 0, sizeof(*entry));
    entry->tag = tag;
    entry->type = type;
    entry->count = (uint32_t)data_count;
    if (data_bytes == 0) {
        if (data_payload_bytes != 0) memcpy(entry->data.value, data, data_payload_bytes);
    } else {
        entry->data.offset = dst->data_count;
        memcpy(get_data(dst) + entry->data.offset, data, data_payload_bytes);
        dst->data_count += (metadata_size_t)data_bytes;
    }
    dst->entry_count++;
    dst->flags &= ~FLAG_SORTED;
    return OK;
}

int add_camera_metadata_entry(camera_metadata_t* dst, uint32_t tag, const void* data, size_t data_count) {
    int type = get_local_camera_metadata_tag_type(tag, dst);
    if (type == -1) return ERROR;
    return add_camera_metadata_entry_raw(dst, tag, (uint8_t)type, data, data_count);
}

static int compare_entry_tags(const void* p1, const void* p2) {
    uint32_t tag1 = ((const camera_metadata_buffer_entry_t*)p1)->tag;
    uint32_t tag2 = ((const camera_metadata_buffer_entry_t*)p2)->tag;
    return tag1 < tag2 ? -1 : tag1 == tag2 ? 0 : 1;
}

int sort_camera_metadata(camera_metadata_t* dst) {
    if (dst == NULL) return ERROR;
    if (dst->flags & FLAG_SORTED) return OK;
    if (dst->entry_count > 1) {
        qsort(get_entries(dst), dst->entry_count, sizeof(camera_metadata_buffer_entry_t), compare_entry_tags);
    }
    dst->flags |= FLAG_SORTED;
    return OK;
}

int get_camera_metadata_entry(camera_metadata_t* src, size_t index, camera_metadata_entry_t* entry) {
    if (src == NULL || entry == NULL) return ERROR;
    if (index >= src->entry_count) return ERROR;

    camera_metadata_buffer_entry_t* buffer_entry = get_entries(src) + index;
    entry->index = index;
    entry->tag = buffer_entry->tag;
    entry->type = buffer_entry->type;
    entry->count = buffer_entry->count;
    if (calculate_camera_metadata_entry_data_size(buffer_entry->type, buffer_entry->count) > 0) {
        entry->data.u8 = get_data(src) + buffer_entry->data.offset;
    } else {
        entry->data.u8 = buffer_entry->data.value;
    }
    return OK;
}

int get_camera_metadata_ro_entry(const camera_metadata_t* src, size_t index, camera_metadata_ro_entry_t* entry) {
    return get_camera_metadata_entry((camera_metadata_t*)src, index, (camera_metadata_entry_t*)entry);
}

int find_camera_metadata_entry(camera_metadata_t* src, uint32_t tag, camera_metadata_entry_t* entry) {
    if (src == NULL) return ERROR;

    const camera_metadata_buffer_entry_t* entries = get_entries(src);
    size_t index = src->entry_count;
    if (src->flags & FLAG_SORTED) {
        camera_metadata_buffer_entry_t key;
        key.tag = tag;
        const camera_metadata_buffer_entry_t* found =
            bsearch(&key, entries, src->entry_count, sizeof(*entries), compare_entry_tags);
        if (found != NULL) index = (size_t)(found - entries);
    } else {
        for (size_t i = 0; i < src->entry_count; ++i) {
            if (entries[i].tag == tag) {
                index = i;
                break;
            }
        }
    }
    if (index == src->entry_count) return NOT_FOUND;
    return get_camera_metadata_entry(src, index, entry);
}

int find_camera_metadata_ro_entry(const camera_metadata_t* src, uint32_t tag, camera_metadata_ro_entry_t* entry) {
    return find_camera_metadata_entry((camera_metadata_t*)src, tag, (camera_metadata_entry_t*)entry);
}

// Removes `bytes` bytes of data at `offset` and moves later data (and the
// offsets that point at it) down.
static void remove_data(camera_metadata_t* dst, uint32_t offset, size_t bytes) {
    uint8_t* start = get_data(dst) + offset;
    memmove(start, start + bytes, dst->data_count - offset - bytes);
    camera_metadata_buffer_entry_t* e = get_entries(dst);
    for (size_t i = 0; i < dst->entry_count; ++i, ++e) {
        if (calculate_camera_metadata_entry_data_size(e->type, e->count) > 0 && e->data.offset > offset) {
            e->data.offset -= (uint32_t)bytes;
        }
    }
    dst->data_count -= (metadata_size_t)bytes;
}

int delete_camera_metadata_entry(camera_metadata_t* dst, size_t index) {
    if (dst == NULL) return ERROR;
    if (index >= dst->entry_count) return ERROR;

    camera_metadata_buffer_entry_t* entry = get_entries(dst) + index;
    size_t data_bytes = calculate_camera_metadata_entry_data_size(entry->type, entry->count);
    if (data_bytes > 0) remove_data(dst, entry->data.offset, data_bytes);
    memmove(entry, entry + 1, sizeof(camera_metadata_buffer_entry_t) * (dst->entry_count - index - 1));
    dst->entry_count -= 1;
    return OK;
}

int update_camera_metadata_entry(camera_metadata_t* dst, size_t index, const void* data, size_t data_count,
                                 camera_metadata_entry_t* updated_entry) {
    if (dst == NULL) return ERROR;
    if (index >= dst->entry_count) return ERROR;

    camera_metadata_buffer_entry_t* entry = get_entries(dst) + index;
    if (data_count != 0 && data == NULL) return ERROR;
    if (entry->type >= NUM_TYPES || data_count > UINT32_MAX / camera_metadata_type_size[entry->type]) return ERROR;

    size_t data_bytes = calculate_camera_metadata_entry_data_size(entry->type, data_count);
    size_t data_payload_bytes = data_count * camera_metadata_type_size[entry->type];
    size_t entry_bytes = calculate_camera_metadata_entry_data_size(entry->type, entry->count);
    if (data_bytes != entry_bytes) {
        if (dst->data_capacity < dst->data_count + data_bytes - entry_bytes) return ERROR;
        if (entry_bytes != 0) remove_data(dst, entry->data.offset, entry_bytes);
        if (data_bytes != 0) {
            // The new value goes at the end of the data area.
            entry->data.offset = dst->data_count;
            memcpy(get_data(dst) + entry->data.offset, data, data_payload_bytes);
            dst->data_count += (metadata_size_t)data_bytes;
        }
    } else if (data_bytes != 0) {
        // Same padded size: overwrite in place.
        memmove(get_data(dst) + entry->data.offset, data, data_payload_bytes);
    }
    if (data_bytes == 0) {
        memset(entry->data.value, 0, sizeof(entry->data.value));
        if (data_payload_bytes != 0) memcpy(entry->data.value, data, data_payload_bytes);
    }
    entry->count = (uint32_t)data_count;

    if (updated_entry != NULL) get_camera_metadata_entry(dst, index, updated_entry);
    return OK;
}

int append_camera_metadata(camera_metadata_t* dst, const camera_metadata_t* src) {
    if (dst == NULL || src == NULL) return ERROR;
    if (src->entry_count == 0) return OK;
    if (dst->entry_capacity < (uint64_t)src->entry_count + dst->entry_count) return ERROR;
    if (dst->data_capacity < (uint64_t)src->data_count + dst->data_count) return ERROR;
    if (dst->vendor_id != CAMERA_METADATA_INVALID_VENDOR_ID && src->vendor_id != CAMERA_METADATA_INVALID_VENDOR_ID &&
        dst->vendor_id != src->vendor_id) {
        return ERROR;
    }

    camera_metadata_buffer_entry_t* appended = get_entries(dst) + dst->entry_count;
    memcpy(appended, get_entries(src), sizeof(camera_metadata_buffer_entry_t) * src->entry_count);
    memcpy(get_data(dst) + dst->data_count, get_data(src), src->data_count);
    // The copied offsets count from the start of src's data area.
    if (dst->data_count != 0) {
        for (size_t i = 0; i < src->entry_count; ++i) {
            if (calculate_camera_metadata_entry_data_size(appended[i].type, appended[i].count) > 0) {
                appended[i].data.offset += dst->data_count;
            }
        }
    }
    if (dst->entry_count == 0) {
        dst->flags |= src->flags & FLAG_SORTED;
    } else {
        dst->flags &= ~FLAG_SORTED;
    }
    dst->entry_count += src->entry_count;
    dst->data_count += src->data_count;
    if (dst->vendor_id == CAMERA_METADATA_INVALID_VENDOR_ID) dst->vendor_id = src->vendor_id;
    return OK;
}

camera_metadata_t* clone_camera_metadata(const camera_metadata_t* src) {
    if (src == NULL) return NULL;
    camera_metadata_t* clone = allocate_camera_metadata(src->entry_count, src->data_count);
    if (clone != NULL && append_camera_metadata(clone, src) != OK) {
        free_camera_metadata(clone);
        clone = NULL;
    }
    return clone;
}

// Standard tag lookup: NULL when the tag is outside every section's range.
static const tag_info_t* standard_tag(uint32_t tag) {
    uint32_t section = tag >> 16;
    if (section >= ANDROID_SECTION_COUNT || tag >= camera_metadata_section_bounds[section][1]) return NULL;
    return &tag_info[section][tag & 0xFFFF];
}

static bool use_cache_ops(const camera_metadata_t* meta) {
    return meta != NULL && meta->vendor_id != CAMERA_METADATA_INVALID_VENDOR_ID && vendor_cache_ops != NULL;
}

const char* get_local_camera_metadata_section_name(uint32_t tag, const camera_metadata_t* meta) {
    uint32_t section = tag >> 16;
    if (section >= VENDOR_SECTION) {
        if (use_cache_ops(meta)) return vendor_cache_ops->get_section_name(tag, meta->vendor_id);
        return vendor_tag_ops == NULL ? NULL : vendor_tag_ops->get_section_name(vendor_tag_ops, tag);
    }
    return section < ANDROID_SECTION_COUNT ? camera_metadata_section_names[section] : NULL;
}

const char* get_local_camera_metadata_tag_name(uint32_t tag, const camera_metadata_t* meta) {
    if ((tag >> 16) >= VENDOR_SECTION) {
        if (use_cache_ops(meta)) return vendor_cache_ops->get_tag_name(tag, meta->vendor_id);
        return vendor_tag_ops == NULL ? NULL : vendor_tag_ops->get_tag_name(vendor_tag_ops, tag);
    }
    const tag_info_t* info = standard_tag(tag);
    return info == NULL ? NULL : info->tag_name;
}

int get_local_camera_metadata_tag_type(uint32_t tag, const camera_metadata_t* meta) {
    if ((tag >> 16) >= VENDOR_SECTION) {
        if (use_cache_ops(meta)) return vendor_cache_ops->get_tag_type(tag, meta->vendor_id);
        return vendor_tag_ops == NULL ? -1 : vendor_tag_ops->get_tag_type(vendor_tag_ops, tag);
    }
    const tag_info_t* info = standard_tag(tag);
    return info == NULL ? -1 : info->tag_type;
}

const char* get_camera_metadata_section_name(uint32_t tag) {
    return get_local_camera_metadata_section_name(tag, NULL);
}

const char* get_camera_metadata_tag_name(uint32_t tag) {
    return get_local_camera_metadata_tag_name(tag, NULL);
}

int get_camera_metadata_tag_type(uint32_t tag) {
    return get_local_camera_metadata_tag_type(tag, NULL);
}

int set_camera_metadata_vendor_ops(const vendor_tag_ops_t* query_ops) {
    vendor_tag_ops = query_ops;
    return OK;
}

int set_camera_metadata_vendor_cache_ops(const struct vendor_tag_cache_ops* query_cache_ops) {
    vendor_cache_ops = query_cache_ops;
    return OK;
}

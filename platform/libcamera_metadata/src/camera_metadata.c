// Host implementation of the platform's camera metadata buffer.
//
// One contiguous buffer: a 48-byte header, then an array of 16-byte entries
// (4-byte aligned), then a data area (8-byte aligned). A value of at most four
// bytes lives inside its entry; a larger one lives in the data area, padded to
// a multiple of 8 bytes, and the entry holds its offset from the data start.
//
// Results, bytes and quirks are the platform library's. Where the platform
// would crash or corrupt memory, strict() ends the process with one line
// naming the call and the broken rule.

#include <camera_metadata_hidden.h>

#include <errno.h>
#include <inttypes.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "camera_metadata_tag_info.h"

#define OK 0
#define ERROR 1
#define NOT_FOUND (-ENOENT)

#define ALIGN_TO(val, alignment) (((uintptr_t)(val) + ((alignment)-1)) & ~((uintptr_t)(alignment)-1))

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
    uint32_t padding;                // never written
    metadata_vendor_id_t vendor_id;
};

#define CURRENT_METADATA_VERSION 1
#define FLAG_SORTED 0x00000001u

#define ENTRY_ALIGNMENT ((size_t)4)
#define DATA_ALIGNMENT ((size_t)8)
// The largest of header (4), entry and data alignment, on every ABI: buffers
// can be stacked back to back.
#define METADATA_PACKET_ALIGNMENT ((size_t)8)

#define ENUM_STRING_MAX_SIZE 39

_Static_assert(sizeof(struct camera_metadata) == 48, "header layout");
_Static_assert(sizeof(camera_metadata_buffer_entry_t) == 16, "entry layout");

const char* camera_metadata_type_names[NUM_TYPES] = {
    [TYPE_BYTE] = "byte",   [TYPE_INT32] = "int32",   [TYPE_FLOAT] = "float",
    [TYPE_INT64] = "int64", [TYPE_DOUBLE] = "double", [TYPE_RATIONAL] = "rational",
};

const size_t camera_metadata_type_size[NUM_TYPES] = {
    [TYPE_BYTE] = sizeof(uint8_t),  [TYPE_INT32] = sizeof(int32_t),
    [TYPE_FLOAT] = sizeof(float),   [TYPE_INT64] = sizeof(int64_t),
    [TYPE_DOUBLE] = sizeof(double), [TYPE_RATIONAL] = sizeof(camera_metadata_rational_t),
};

static const vendor_tag_ops_t* vendor_tag_ops = NULL;
static const struct vendor_tag_cache_ops* vendor_cache_ops = NULL;

__attribute__((noreturn, format(printf, 2, 3))) static void strict(const char* call, const char* rule, ...) {
    va_list args;
    va_start(args, rule);
    fprintf(stderr, "libcamera_metadata: %s: ", call);
    vfprintf(stderr, rule, args);
    fputc('\n', stderr);
    va_end(args);
    abort();
}

static void require_metadata(const camera_metadata_t* metadata, const char* call) {
    if (metadata == NULL) strict(call, "null metadata (the device dereferences it)");
}

static camera_metadata_buffer_entry_t* get_entries(const camera_metadata_t* metadata) {
    return (camera_metadata_buffer_entry_t*)((uint8_t*)metadata + metadata->entries_start);
}

static uint8_t* get_data(const camera_metadata_t* metadata) { return (uint8_t*)metadata + metadata->data_start; }

// The header of a buffer that may sit at any address (a shifted one).
static camera_metadata_t read_header(const camera_metadata_t* metadata) {
    camera_metadata_t header;
    memcpy(&header, metadata, sizeof(header));
    return header;
}

size_t get_camera_metadata_alignment(void) { return METADATA_PACKET_ALIGNMENT; }

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

// Writes every header field but the padding word, as the platform does: the
// caller's bytes 36..39 stay as they were.
camera_metadata_t* place_camera_metadata(void* dst, size_t dst_size, size_t entry_capacity, size_t data_capacity) {
    if (dst == NULL) return NULL;
    size_t memory_needed = calculate_camera_metadata_size(entry_capacity, data_capacity);
    if (memory_needed > dst_size || memory_needed > UINT32_MAX) return NULL;

    camera_metadata_t* metadata = (camera_metadata_t*)dst;
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

camera_metadata_t* allocate_copy_camera_metadata_checked(const camera_metadata_t* src, size_t src_size) {
    if (src == NULL || src_size < sizeof(camera_metadata_t)) return NULL;
    void* buffer = calloc(1, src_size);
    if (buffer == NULL) return NULL;
    memcpy(buffer, src, src_size);
    if (validate_camera_metadata_structure(buffer, &src_size) != OK) {
        free(buffer);
        return NULL;
    }
    return buffer;
}

void free_camera_metadata(camera_metadata_t* metadata) { free(metadata); }

// The platform answers ERROR (1) for a missing buffer here, not 0.
size_t get_camera_metadata_size(const camera_metadata_t* metadata) { return metadata == NULL ? ERROR : metadata->size; }

size_t get_camera_metadata_compact_size(const camera_metadata_t* metadata) {
    return metadata == NULL ? ERROR : calculate_camera_metadata_size(metadata->entry_count, metadata->data_count);
}

size_t get_camera_metadata_entry_count(const camera_metadata_t* metadata) {
    require_metadata(metadata, __func__);
    return metadata->entry_count;
}

size_t get_camera_metadata_entry_capacity(const camera_metadata_t* metadata) {
    require_metadata(metadata, __func__);
    return metadata->entry_capacity;
}

size_t get_camera_metadata_data_count(const camera_metadata_t* metadata) {
    require_metadata(metadata, __func__);
    return metadata->data_count;
}

size_t get_camera_metadata_data_capacity(const camera_metadata_t* metadata) {
    require_metadata(metadata, __func__);
    return metadata->data_capacity;
}

metadata_vendor_id_t get_camera_metadata_vendor_id(const camera_metadata_t* meta) {
    return meta == NULL ? CAMERA_METADATA_INVALID_VENDOR_ID : meta->vendor_id;
}

void set_camera_metadata_vendor_id(camera_metadata_t* meta, metadata_vendor_id_t id) {
    if (meta != NULL) meta->vendor_id = id;
}

camera_metadata_t* copy_camera_metadata(void* dst, size_t dst_size, const camera_metadata_t* src) {
    if (dst == NULL) return NULL;
    require_metadata(src, __func__);
    if (dst_size < get_camera_metadata_compact_size(src)) return NULL;
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

// Checks the header through an aligned copy, then every entry, before it
// reads anything an offset points at; a buffer at an address that is not a
// multiple of 8 is reported SHIFTED only once it passed every other check.
// Sums wrap in 32 bits as the platform's do, and each wrap is checked.
int validate_camera_metadata_structure(const camera_metadata_t* metadata, const size_t* expected_size) {
    if (metadata == NULL) return CAMERA_METADATA_VALIDATION_ERROR;
    const uintptr_t shift = ALIGN_TO(metadata, METADATA_PACKET_ALIGNMENT) - (uintptr_t)metadata;

    if (expected_size != NULL && *expected_size < sizeof(camera_metadata_t)) return CAMERA_METADATA_VALIDATION_ERROR;
    const camera_metadata_t header = read_header(metadata);
    if (expected_size != NULL && header.size > *expected_size) return CAMERA_METADATA_VALIDATION_ERROR;
    if (header.entry_count > header.entry_capacity) return CAMERA_METADATA_VALIDATION_ERROR;
    if (header.data_count > header.data_capacity) return CAMERA_METADATA_VALIDATION_ERROR;
    if (header.entry_capacity > UINT32_MAX / sizeof(camera_metadata_buffer_entry_t)) {
        return CAMERA_METADATA_VALIDATION_ERROR;
    }
    const metadata_uptrdiff_t entries_end =
        header.entries_start + (metadata_size_t)(sizeof(camera_metadata_buffer_entry_t) * header.entry_capacity);
    if (entries_end < header.entries_start || entries_end > header.data_start) return CAMERA_METADATA_VALIDATION_ERROR;
    const metadata_uptrdiff_t data_end = header.data_start + header.data_capacity;
    if (data_end < header.data_start || data_end > header.size) return CAMERA_METADATA_VALIDATION_ERROR;

    const uint8_t* entries = (const uint8_t*)metadata + header.entries_start;
    for (size_t i = 0; i < header.entry_count; ++i) {
        // Alignments count from where the buffer would start once aligned.
        if ((header.entries_start + sizeof(camera_metadata_buffer_entry_t) * i) % ENTRY_ALIGNMENT != 0) {
            return CAMERA_METADATA_VALIDATION_ERROR;
        }
        camera_metadata_buffer_entry_t entry;
        memcpy(&entry, entries + sizeof(entry) * i, sizeof(entry));
        if (entry.type >= NUM_TYPES) return CAMERA_METADATA_VALIDATION_ERROR;

        // A standard tag must carry its declared type; vendor tags are not
        // checked, as their ops may differ between processes.
        if ((entry.tag >> 16) < VENDOR_SECTION &&
            get_local_camera_metadata_tag_type_vendor_id(entry.tag, header.vendor_id) != (int)entry.type) {
            return CAMERA_METADATA_VALIDATION_ERROR;
        }

        const size_t type_size = camera_metadata_type_size[entry.type];
        if (entry.count != 0 && type_size > (SIZE_MAX - DATA_ALIGNMENT + 1) / entry.count) {
            return CAMERA_METADATA_VALIDATION_ERROR;
        }
        const size_t data_size = calculate_camera_metadata_entry_data_size(entry.type, entry.count);
        if (data_size != 0) {
            // Every value out of line starts on 8 bytes, whatever its type.
            if ((header.data_start + (uintptr_t)entry.data.offset) % DATA_ALIGNMENT != 0) {
                return CAMERA_METADATA_VALIDATION_ERROR;
            }
            const size_t data_entry_end = entry.data.offset + data_size;
            if (data_entry_end < entry.data.offset || data_entry_end > header.data_capacity) {
                return CAMERA_METADATA_VALIDATION_ERROR;
            }
        } else if (entry.count == 0 && entry.data.offset != 0) {
            return CAMERA_METADATA_VALIDATION_ERROR;
        }
    }
    return shift == 0 ? OK : CAMERA_METADATA_VALIDATION_SHIFTED;
}

// A value stored past data_count (which validation allows, up to the
// capacity) is lost by append and clone, and makes delete and update move a
// negative length: the device corrupts memory in both cases.
static void require_data_within_count(const camera_metadata_buffer_entry_t* entry, size_t data_bytes,
                                      metadata_size_t data_count, const char* call) {
    if (data_bytes != 0 && (uint64_t)entry->data.offset + data_bytes > data_count) {
        strict(call, "entry 0x%" PRIx32 " has data past the data count %" PRIu32 " (the device corrupts it)",
               entry->tag, data_count);
    }
}

// Validation bounds the entry array and the data area by data_start and size
// only, so either may start inside the header: a write there overwrites the
// header on the device. (A new entry lies below data_start, so a new entry
// past the header implies new values past it too.)
static void require_write_past_header(uint64_t at, const char* what, const char* call) {
    if (at < sizeof(camera_metadata_t)) {
        strict(call, "%s at byte %" PRIu64 " inside the %zu-byte header (the device overwrites the header)", what, at,
               sizeof(camera_metadata_t));
    }
}

// Where the next entry and the next values of a buffer go.
static uint64_t next_entry_at(const camera_metadata_t* metadata) {
    return metadata->entries_start + (uint64_t)sizeof(camera_metadata_buffer_entry_t) * metadata->entry_count;
}

static uint64_t next_data_at(const camera_metadata_t* metadata) {
    return (uint64_t)metadata->data_start + metadata->data_count;
}

static size_t entry_data_bytes(const camera_metadata_buffer_entry_t* entry) {
    return calculate_camera_metadata_entry_data_size(entry->type, entry->count);
}

int append_camera_metadata(camera_metadata_t* dst, const camera_metadata_t* src) {
    if (dst == NULL || src == NULL) return ERROR;
    // src may be a shifted buffer (clone_camera_metadata accepts those).
    const camera_metadata_t source = read_header(src);
    if (source.entry_count + dst->entry_count < source.entry_count) return ERROR;
    if (source.data_count + dst->data_count < source.data_count) return ERROR;
    if (dst->entry_capacity < source.entry_count + dst->entry_count) return ERROR;
    if (dst->data_capacity < source.data_count + dst->data_count) return ERROR;
    if (dst->vendor_id != CAMERA_METADATA_INVALID_VENDOR_ID && source.vendor_id != CAMERA_METADATA_INVALID_VENDOR_ID &&
        dst->vendor_id != source.vendor_id) {
        return ERROR;
    }

    if (source.entry_count != 0) require_write_past_header(next_entry_at(dst), "appended entries", __func__);
    if (source.data_count != 0) require_write_past_header(next_data_at(dst), "appended values", __func__);
    camera_metadata_buffer_entry_t* appended = get_entries(dst) + dst->entry_count;
    memcpy(appended, (const uint8_t*)src + source.entries_start, sizeof(*appended) * source.entry_count);
    bool has_data = false;
    for (size_t i = 0; i < source.entry_count; ++i) {
        size_t data_bytes = entry_data_bytes(&appended[i]);
        require_data_within_count(&appended[i], data_bytes, source.data_count, __func__);
        has_data = has_data || data_bytes != 0;
    }
    if (has_data && dst->data_count % DATA_ALIGNMENT != 0) {
        strict(__func__,
               "destination data count %" PRIu32 " is not a multiple of 8 (the appended values would be misaligned)",
               dst->data_count);
    }
    memcpy(get_data(dst) + dst->data_count, (const uint8_t*)src + source.data_start, source.data_count);
    // The copied offsets count from the start of src's data area.
    if (dst->data_count != 0) {
        for (size_t i = 0; i < source.entry_count; ++i) {
            if (entry_data_bytes(&appended[i]) > 0) appended[i].data.offset += dst->data_count;
        }
    }
    if (dst->entry_count == 0) {
        dst->flags |= source.flags & FLAG_SORTED;  // onto an empty buffer: keeps src's order
    } else if (source.entry_count != 0) {
        dst->flags &= ~FLAG_SORTED;
    }
    dst->entry_count += source.entry_count;
    dst->data_count += source.data_count;
    if (dst->vendor_id == CAMERA_METADATA_INVALID_VENDOR_ID) dst->vendor_id = source.vendor_id;
    return OK;
}

camera_metadata_t* clone_camera_metadata(const camera_metadata_t* src) {
    if (src == NULL) return NULL;
    const camera_metadata_t source = read_header(src);
    camera_metadata_t* clone = allocate_camera_metadata(source.entry_count, source.data_count);
    if (clone != NULL && append_camera_metadata(clone, src) != OK) {
        free_camera_metadata(clone);
        clone = NULL;
    }
    return clone;
}

static int add_camera_metadata_entry_raw(camera_metadata_t* dst, uint32_t tag, uint8_t type, const void* data,
                                         size_t data_count) {
    if (dst == NULL) return ERROR;
    if (dst->entry_count == dst->entry_capacity) return ERROR;
    if (data_count != 0 && data == NULL) return ERROR;
    if (type >= NUM_TYPES || data_count > UINT32_MAX / camera_metadata_type_size[type]) return ERROR;

    size_t data_bytes = calculate_camera_metadata_entry_data_size(type, data_count);
    if (data_bytes + dst->data_count > dst->data_capacity) return ERROR;

    require_write_past_header(next_entry_at(dst), "new entry", "add_camera_metadata_entry");
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

// The exported table is reached through the GOT; lookups use this copy.
static const uint8_t type_sizes[NUM_TYPES] = {1, 4, 4, 8, 8, 8};

__attribute__((noreturn, noinline, cold)) static void unknown_type(const char* call, size_t index, uint8_t type) {
    strict(call, "entry %zu has unknown type %u (the device reads past its type table)", index, type);
}

static inline void fill_entry(camera_metadata_t* src, const camera_metadata_buffer_entry_t* buffer_entry,
                              camera_metadata_entry_t* entry) {
    const size_t index = (size_t)(buffer_entry - get_entries(src));
    const uint8_t type = buffer_entry->type;
    if (__builtin_expect(type >= NUM_TYPES, 0)) unknown_type("get_camera_metadata_entry", index, type);
    entry->index = index;
    entry->tag = buffer_entry->tag;
    entry->type = type;
    entry->count = buffer_entry->count;
    if ((size_t)buffer_entry->count * type_sizes[type] > 4) {
        entry->data.u8 = get_data(src) + buffer_entry->data.offset;
    } else {
        entry->data.u8 = (uint8_t*)buffer_entry->data.value;
    }
}

int get_camera_metadata_entry(camera_metadata_t* src, size_t index, camera_metadata_entry_t* entry) {
    if (src == NULL || entry == NULL) return ERROR;
    if (index >= src->entry_count) return ERROR;
    fill_entry(src, get_entries(src) + index, entry);
    return OK;
}

int get_camera_metadata_ro_entry(const camera_metadata_t* src, size_t index, camera_metadata_ro_entry_t* entry) {
    return get_camera_metadata_entry((camera_metadata_t*)src, index, (camera_metadata_entry_t*)entry);
}

// The platform's bsearch probes base + n/2, stops at an equal tag and keeps
// the half holding the key; the same probes here pick the same entry among
// equal tags.
__attribute__((noinline, cold)) static size_t bsearch_probes(const camera_metadata_buffer_entry_t* entries,
                                                             size_t count, uint32_t tag) {
    size_t base = 0;
    for (size_t n = count; n != 0; n >>= 1) {
        size_t probe = base + (n >> 1);
        uint32_t probe_tag = entries[probe].tag;
        if (probe_tag == tag) return probe;
        if (tag > probe_tag) {
            base = probe + 1;
            n--;
        }
    }
    return count;
}

// Equal tags (add does not refuse them): the platform's pick among them.
__attribute__((noinline, cold)) static int find_among_equal_tags(camera_metadata_t* src, uint32_t tag,
                                                                 camera_metadata_entry_t* entry) {
    return get_camera_metadata_entry(src, bsearch_probes(get_entries(src), src->entry_count, tag), entry);
}

// The last of `count` (> 0) sorted entries whose tag is not above `tag`, else
// the first. The step count depends on `count` only and each step is a
// conditional move, so no branch is mispredicted and an absent tag costs what
// a present one does (the platform's early exit mispredicts about half of its
// probes, present tag or not).
static inline const camera_metadata_buffer_entry_t* last_not_above(const camera_metadata_buffer_entry_t* entries,
                                                                   size_t count, uint32_t tag) {
    const camera_metadata_buffer_entry_t* last = entries;
    for (size_t n = count; n > 1; n -= n / 2) {
        if (last[n / 2].tag <= tag) last += n / 2;
    }
    return last;
}

int find_camera_metadata_entry(camera_metadata_t* src, uint32_t tag, camera_metadata_entry_t* entry) {
    if (src == NULL) return ERROR;

    const camera_metadata_buffer_entry_t* entries = get_entries(src);
    const size_t count = src->entry_count;
    const camera_metadata_buffer_entry_t* found = NULL;
    if (src->flags & FLAG_SORTED) {
        if (count == 0) return NOT_FOUND;
        found = last_not_above(entries, count, tag);
        if (found->tag != tag) return NOT_FOUND;
        // The platform's pick among equal tags is a cold call of its own, so
        // this path needs no stack frame.
        if (found != entries && found[-1].tag == tag) return find_among_equal_tags(src, tag, entry);
    } else {
        for (size_t i = 0; i < count && found == NULL; ++i) {
            if (entries[i].tag == tag) found = &entries[i];
        }
        if (found == NULL) return NOT_FOUND;
    }
    if (entry == NULL) return ERROR;
    fill_entry(src, found, entry);
    return OK;
}

int find_camera_metadata_ro_entry(const camera_metadata_t* src, uint32_t tag, camera_metadata_ro_entry_t* entry) {
    return find_camera_metadata_entry((camera_metadata_t*)src, tag, (camera_metadata_entry_t*)entry);
}

// Removes the `bytes` bytes of data at `offset` and moves later data (and the
// offsets that point at it) down.
static void remove_data(camera_metadata_t* dst, uint32_t offset, size_t bytes) {
    uint8_t* start = get_data(dst) + offset;
    memmove(start, start + bytes, dst->data_count - offset - bytes);
    camera_metadata_buffer_entry_t* e = get_entries(dst);
    for (size_t i = 0; i < dst->entry_count; ++i, ++e) {
        if (entry_data_bytes(e) > 0 && e->data.offset > offset) e->data.offset -= (uint32_t)bytes;
    }
    dst->data_count -= (metadata_size_t)bytes;
}

int delete_camera_metadata_entry(camera_metadata_t* dst, size_t index) {
    if (dst == NULL) return ERROR;
    if (index >= dst->entry_count) return ERROR;

    camera_metadata_buffer_entry_t* entry = get_entries(dst) + index;
    size_t data_bytes = entry_data_bytes(entry);
    require_data_within_count(entry, data_bytes, dst->data_count, __func__);
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
    if (entry->type >= NUM_TYPES) unknown_type(__func__, index, entry->type);
    if (data_count != 0 && data == NULL) {
        strict(__func__, "null data for %zu values (the device copies from it)", data_count);
    }
    size_t data_bytes = calculate_camera_metadata_entry_data_size(entry->type, data_count);
    size_t data_payload_bytes = data_count * camera_metadata_type_size[entry->type];
    size_t entry_bytes = entry_data_bytes(entry);
    if (data_bytes != entry_bytes) {
        if (dst->data_capacity < dst->data_count + data_bytes - entry_bytes) return ERROR;
        require_data_within_count(entry, entry_bytes, dst->data_count, __func__);
        if (entry_bytes != 0) remove_data(dst, entry->data.offset, entry_bytes);
        if (data_bytes != 0) {
            // The new value goes at the end of the data area.
            entry->data.offset = dst->data_count;
            memcpy(get_data(dst) + entry->data.offset, data, data_payload_bytes);
            dst->data_count += (metadata_size_t)data_bytes;
        }
    } else if (data_bytes != 0) {
        // Same padded size: rewritten where it is.
        memmove(get_data(dst) + entry->data.offset, data, data_payload_bytes);
    }
    // Inline: only the new values' bytes are written; the rest of the four
    // bytes keep what they held.
    if (data_bytes == 0 && data_payload_bytes != 0) memmove(entry->data.value, data, data_payload_bytes);
    entry->count = (uint32_t)data_count;

    if (updated_entry != NULL) fill_entry(dst, get_entries(dst) + index, updated_entry);
    return OK;
}

// Standard tag lookup: NULL when the tag is outside every section's range.
static const tag_info_t* standard_tag(uint32_t tag) {
    uint32_t section = tag >> 16;
    if (section >= ANDROID_SECTION_COUNT || tag >= camera_metadata_section_bounds[section][1]) return NULL;
    return &tag_info[section][tag & 0xFFFF];
}

// Vendor tags go to the cache ops when a vendor id is known, else to the
// vendor ops; NULL (then the standard answer) when neither is set.
static bool use_cache_ops(uint32_t tag, metadata_vendor_id_t id) {
    return (tag >> 16) >= VENDOR_SECTION && vendor_cache_ops != NULL && id != CAMERA_METADATA_INVALID_VENDOR_ID;
}

static bool use_vendor_ops(uint32_t tag) { return (tag >> 16) >= VENDOR_SECTION && vendor_tag_ops != NULL; }

const char* get_local_camera_metadata_section_name_vendor_id(uint32_t tag, metadata_vendor_id_t id) {
    if (use_cache_ops(tag, id)) return vendor_cache_ops->get_section_name(tag, id);
    if (use_vendor_ops(tag)) return vendor_tag_ops->get_section_name(vendor_tag_ops, tag);
    uint32_t section = tag >> 16;
    return section < ANDROID_SECTION_COUNT ? camera_metadata_section_names[section] : NULL;
}

const char* get_local_camera_metadata_tag_name_vendor_id(uint32_t tag, metadata_vendor_id_t id) {
    if (use_cache_ops(tag, id)) return vendor_cache_ops->get_tag_name(tag, id);
    if (use_vendor_ops(tag)) return vendor_tag_ops->get_tag_name(vendor_tag_ops, tag);
    const tag_info_t* info = standard_tag(tag);
    return info == NULL ? NULL : info->tag_name;
}

int get_local_camera_metadata_tag_type_vendor_id(uint32_t tag, metadata_vendor_id_t id) {
    if (use_cache_ops(tag, id)) return vendor_cache_ops->get_tag_type(tag, id);
    if (use_vendor_ops(tag)) return vendor_tag_ops->get_tag_type(vendor_tag_ops, tag);
    const tag_info_t* info = standard_tag(tag);
    return info == NULL ? -1 : info->tag_type;
}

static metadata_vendor_id_t vendor_id_of(const camera_metadata_t* meta) {
    return meta == NULL ? CAMERA_METADATA_INVALID_VENDOR_ID : meta->vendor_id;
}

const char* get_local_camera_metadata_section_name(uint32_t tag, const camera_metadata_t* meta) {
    return get_local_camera_metadata_section_name_vendor_id(tag, vendor_id_of(meta));
}

const char* get_local_camera_metadata_tag_name(uint32_t tag, const camera_metadata_t* meta) {
    return get_local_camera_metadata_tag_name_vendor_id(tag, vendor_id_of(meta));
}

int get_local_camera_metadata_tag_type(uint32_t tag, const camera_metadata_t* meta) {
    return get_local_camera_metadata_tag_type_vendor_id(tag, vendor_id_of(meta));
}

const char* get_camera_metadata_section_name(uint32_t tag) { return get_local_camera_metadata_section_name(tag, NULL); }

const char* get_camera_metadata_tag_name(uint32_t tag) { return get_local_camera_metadata_tag_name(tag, NULL); }

int get_camera_metadata_tag_type(uint32_t tag) { return get_local_camera_metadata_tag_type(tag, NULL); }

const int32_t* get_camera_metadata_permission_needed(uint32_t* tag_count) {
    if (tag_count == NULL) return NULL;
    *tag_count = (uint32_t)tag_permission_needed_count;
    return tag_permission_needed;
}

int set_camera_metadata_vendor_tag_ops(const vendor_tag_query_ops_t* query_ops) {
    (void)query_ops;  // retired by the platform: always refused
    return ERROR;
}

int set_camera_metadata_vendor_ops(const vendor_tag_ops_t* query_ops) {
    vendor_tag_ops = query_ops;
    return OK;
}

int set_camera_metadata_vendor_cache_ops(const struct vendor_tag_cache_ops* query_cache_ops) {
    vendor_cache_ops = query_cache_ops;
    return OK;
}

// The named values of an enumerated tag, NULL for any other tag.
static const tag_enum_t* tag_enum_of(uint32_t tag) {
    size_t low = 0, high = tag_enum_count;
    while (low < high) {
        size_t middle = low + (high - low) / 2;
        if (tag_enums[middle].tag == tag) return &tag_enums[middle];
        if (tag_enums[middle].tag < tag) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return NULL;
}

int camera_metadata_enum_snprint(uint32_t tag, uint32_t value, char* dst, size_t size) {
    if (dst == NULL || size == 0) strict(__func__, "no room in dst (the device writes dst[size - 1])");
    const char* msg = "error: not an enum";
    int ret = -1;
    const tag_enum_t* values = tag_enum_of(tag);
    if (values != NULL) {
        msg = "error: enum value out of range";
        for (size_t i = 0; i < values->count; ++i) {
            if ((uint32_t)values->values[i].value == value) {
                msg = values->values[i].name;
                ret = 0;
                break;
            }
        }
    }
    strncpy(dst, msg, size - 1);
    dst[size - 1] = '\0';
    return ret;
}

// The first value whose name matches `name` in its first `size` characters.
int camera_metadata_enum_value(uint32_t tag, const char* name, size_t size, uint32_t* value) {
    if (name == NULL || value == NULL) return -1;
    const tag_enum_t* values = tag_enum_of(tag);
    for (size_t i = 0; values != NULL && i < values->count; ++i) {
        if (strncmp(name, values->values[i].name, size) == 0) {
            *value = (uint32_t)values->values[i].value;
            return 0;
        }
    }
    return -1;
}

// Stream configuration tags hold (format, width, height, direction) rows:
// only the direction is an enum value.
static bool is_stream_configuration(uint32_t tag) {
    switch (tag) {
        case ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS:
        case ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS_MAXIMUM_RESOLUTION:
        case ANDROID_DEPTH_AVAILABLE_DEPTH_STREAM_CONFIGURATIONS:
        case ANDROID_DEPTH_AVAILABLE_DEPTH_STREAM_CONFIGURATIONS_MAXIMUM_RESOLUTION:
        case ANDROID_DEPTH_AVAILABLE_DYNAMIC_DEPTH_STREAM_CONFIGURATIONS:
        case ANDROID_DEPTH_AVAILABLE_DYNAMIC_DEPTH_STREAM_CONFIGURATIONS_MAXIMUM_RESOLUTION:
        case ANDROID_HEIC_AVAILABLE_HEIC_STREAM_CONFIGURATIONS:
        case ANDROID_HEIC_AVAILABLE_HEIC_STREAM_CONFIGURATIONS_MAXIMUM_RESOLUTION:
        case ANDROID_JPEGR_AVAILABLE_JPEG_R_STREAM_CONFIGURATIONS:
        case ANDROID_JPEGR_AVAILABLE_JPEG_R_STREAM_CONFIGURATIONS_MAXIMUM_RESOLUTION:
        case ANDROID_SCALER_PHYSICAL_CAMERA_MULTI_RESOLUTION_STREAM_CONFIGURATIONS: return true;
        default: return false;
    }
}

static bool is_key_list(uint32_t tag) {
    return tag == ANDROID_REQUEST_AVAILABLE_REQUEST_KEYS || tag == ANDROID_REQUEST_AVAILABLE_RESULT_KEYS ||
           tag == ANDROID_REQUEST_AVAILABLE_SESSION_KEYS || tag == ANDROID_REQUEST_AVAILABLE_CHARACTERISTICS_KEYS ||
           tag == ANDROID_REQUEST_AVAILABLE_PHYSICAL_CAMERA_REQUEST_KEYS;
}

// One value as the platform prints it, followed by a space.
static void print_value(int fd, const uint8_t* at, size_t index, uint32_t tag, int type,
                        metadata_vendor_id_t vendor_id) {
    char name[ENUM_STRING_MAX_SIZE];
    int32_t i32;
    float f;
    int64_t i64;
    double d;
    switch (type) {
        case TYPE_BYTE:
            if (camera_metadata_enum_snprint(tag, *at, name, sizeof(name)) == OK) {
                dprintf(fd, "%s ", name);
            } else if (tag == ANDROID_LOGICAL_MULTI_CAMERA_PHYSICAL_IDS) {
                if (*at != 0) dprintf(fd, "%c ", *at);
            } else {
                dprintf(fd, "%hhu ", *at);
            }
            break;
        case TYPE_INT32:
            memcpy(&i32, at, sizeof(i32));
            if (is_stream_configuration(tag) && index % 4 != 3) {
                dprintf(fd, "%" PRId32 " ", i32);
            } else if (camera_metadata_enum_snprint(tag, (uint32_t)i32, name, sizeof(name)) == OK) {
                dprintf(fd, "%s ", name);
            } else {
                dprintf(fd, "%" PRId32 " ", i32);
                if (is_key_list(tag)) {
                    const char* key = get_camera_metadata_tag_name((uint32_t)i32);
                    if (key == NULL) key = get_local_camera_metadata_tag_name_vendor_id((uint32_t)i32, vendor_id);
                    if (key != NULL) dprintf(fd, "(%s) ", key);
                }
            }
            break;
        case TYPE_FLOAT:
            memcpy(&f, at, sizeof(f));
            dprintf(fd, "%0.8f ", f);
            break;
        case TYPE_INT64:
            memcpy(&i64, at, sizeof(i64));
            dprintf(fd, "%" PRId64 " ", i64);
            break;
        case TYPE_DOUBLE:
            memcpy(&d, at, sizeof(d));
            dprintf(fd, "%0.8f ", d);
            break;
        default: {
            int32_t fraction[2];
            memcpy(fraction, at, sizeof(fraction));
            dprintf(fd, "(%d / %d) ", fraction[0], fraction[1]);
        }
    }
}

static void print_data(int fd, const uint8_t* data, uint32_t tag, int type, metadata_vendor_id_t vendor_id, int count,
                       int indentation) {
    static const int values_per_line[NUM_TYPES] = {
        [TYPE_BYTE] = 16, [TYPE_INT32] = 4, [TYPE_FLOAT] = 8, [TYPE_INT64] = 2, [TYPE_DOUBLE] = 4, [TYPE_RATIONAL] = 2,
    };
    const size_t type_size = camera_metadata_type_size[type];
    for (int index = 0; index < count;) {
        dprintf(fd, "%*s[", indentation + 4, "");
        for (int k = 0; k < values_per_line[type] && index < count; ++k, ++index) {
            print_value(fd, data + (size_t)index * type_size, (size_t)index, tag, type, vendor_id);
        }
        dprintf(fd, "]\n");
    }
}

void dump_camera_metadata(const camera_metadata_t* metadata, int fd, int verbosity) {
    dump_indented_camera_metadata(metadata, fd, verbosity, 0);
}

void dump_indented_camera_metadata(const camera_metadata_t* metadata, int fd, int verbosity, int indentation) {
    if (metadata == NULL) {
        dprintf(fd, "%*sDumping camera metadata array: Not allocated\n", indentation, "");
        return;
    }
    dprintf(fd,
            "%*sDumping camera metadata array: %" PRIu32 " / %" PRIu32 " entries, %" PRIu32 " / %" PRIu32
            " bytes of extra data.\n",
            indentation, "", metadata->entry_count, metadata->entry_capacity, metadata->data_count,
            metadata->data_capacity);
    dprintf(fd, "%*sVersion: %d, Flags: %08x\n", indentation + 2, "", (int)metadata->version, metadata->flags);
    const camera_metadata_buffer_entry_t* entry = get_entries(metadata);
    for (uint32_t i = 0; i < metadata->entry_count; ++i, ++entry) {
        const char* section = get_local_camera_metadata_section_name(entry->tag, metadata);
        const char* name = get_local_camera_metadata_tag_name(entry->tag, metadata);
        const char* type_name = entry->type < NUM_TYPES ? camera_metadata_type_names[entry->type] : "unknown";
        dprintf(fd, "%*s%s.%s (%05x): %s[%" PRIu32 "]\n", indentation + 2, "", section ? section : "unknownSection",
                name ? name : "unknownTag", entry->tag, type_name, entry->count);
        if (verbosity < 1 || entry->type >= NUM_TYPES) continue;

        const uint8_t* data = entry->data.value;
        if (camera_metadata_type_size[entry->type] * entry->count > 4) {
            if (entry->data.offset >= metadata->data_count) continue;  // malformed: skipped, as the platform does
            data = get_data(metadata) + entry->data.offset;
        }
        int count = (int)entry->count;
        if (verbosity < 2 && count > 16) count = 16;
        print_data(fd, data, entry->tag, entry->type, metadata->vendor_id, count, indentation);
    }
}

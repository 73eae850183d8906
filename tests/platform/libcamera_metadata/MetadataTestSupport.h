#ifndef ZELKOV_TESTS_PLATFORM_LIBCAMERA_METADATA_METADATA_TEST_SUPPORT_H
#define ZELKOV_TESTS_PLATFORM_LIBCAMERA_METADATA_METADATA_TEST_SUPPORT_H

#include <cstdint>
#include <cstring>
#include <memory>

#include <system/camera_metadata.h>

namespace zelkov_test {

struct MetadataDeleter {
    void operator()(camera_metadata_t* metadata) const { free_camera_metadata(metadata); }
};
using MetadataPtr = std::unique_ptr<camera_metadata_t, MetadataDeleter>;

// The packed header as the platform defines it: ten 32-bit words (size,
// version, flags, entry count, entry capacity, entries start, data count,
// data capacity, data start, padding), then the 64-bit vendor id.
enum HeaderWord {
    kSize,
    kVersion,
    kFlags,
    kEntryCount,
    kEntryCapacity,
    kEntriesStart,
    kDataCount,
    kDataCapacity,
    kDataStart,
    kPadding,
};
constexpr size_t kHeaderBytes = 48;
constexpr size_t kEntryBytes = 16;

inline uint32_t HeaderWordOf(const camera_metadata_t* metadata, HeaderWord word) {
    uint32_t value;
    std::memcpy(&value, reinterpret_cast<const uint8_t*>(metadata) + 4 * word, 4);
    return value;
}

inline void SetHeaderWord(camera_metadata_t* metadata, HeaderWord word, uint32_t value) {
    std::memcpy(reinterpret_cast<uint8_t*>(metadata) + 4 * word, &value, 4);
}

// Entry `index` as stored: tag, count, data word (offset or inline value), type.
struct RawEntry {
    uint32_t tag;
    uint32_t count;
    uint8_t data[4];
    uint8_t type;
    uint8_t reserved[3];
};
static_assert(sizeof(RawEntry) == kEntryBytes, "packed entry");

inline RawEntry RawEntryOf(const camera_metadata_t* metadata, size_t index) {
    RawEntry entry;
    std::memcpy(
        &entry,
        reinterpret_cast<const uint8_t*>(metadata) + HeaderWordOf(metadata, kEntriesStart) + index * kEntryBytes,
        sizeof(entry));
    return entry;
}

inline uint32_t OffsetOf(const RawEntry& entry) {
    uint32_t offset;
    std::memcpy(&offset, entry.data, 4);
    return offset;
}

inline void WriteRawEntry(camera_metadata_t* metadata, size_t index, const RawEntry& entry) {
    std::memcpy(reinterpret_cast<uint8_t*>(metadata) + HeaderWordOf(metadata, kEntriesStart) + index * kEntryBytes,
                &entry, sizeof(entry));
}

}  // namespace zelkov_test

#endif

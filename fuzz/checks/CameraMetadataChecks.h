#ifndef ZELKOV_FUZZ_CHECKS_CAMERA_METADATA_CHECKS_H
#define ZELKOV_FUZZ_CHECKS_CAMERA_METADATA_CHECKS_H

// Arbitrary bytes as a camera metadata buffer: whatever the validator accepts
// must be safe to read in full, and clone, sort and append of it must give
// buffers that validate again and carry the same entries. The validator
// accepts values stored past the data count (up to the capacity) and a data
// count that is not a multiple of 8; append and clone of such a buffer are
// strict (they would corrupt it on the device), so those steps are skipped.

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <system/camera_metadata.h>

#include <android/misc/IZelCameraMetadataHandler.h>

#include "fuzz/checks/FuzzCheck.h"

namespace zelkov_fuzz {

namespace metadata_detail {

using zelkov::IZelCameraMetadataHandler;
using zelkov::zel_camera_metadata_ro_entry;

struct FreeBlock {
    void operator()(void* block) const { std::free(block); }
};

struct FreeMetadata {
    void operator()(camera_metadata* metadata) const { zelkov::GetCameraMetadataHandler()->Free(metadata); }
};
using MetadataPtr = std::unique_ptr<camera_metadata, FreeMetadata>;

// The header's flags word (third 32-bit word) and its sorted bit.
constexpr size_t kFlagsOffset = 8;
constexpr uint32_t kFlagSorted = 1;
// The header's data start (ninth 32-bit word).
constexpr size_t kDataStartOffset = 32;

inline bool ClaimsSorted(const camera_metadata* metadata) {
    uint32_t flags;
    std::memcpy(&flags, reinterpret_cast<const uint8_t*>(metadata) + kFlagsOffset, sizeof(flags));
    return (flags & kFlagSorted) != 0;
}

inline size_t PayloadBytes(const zel_camera_metadata_ro_entry& entry) {
    return entry.count * camera_metadata_type_size[entry.type];
}

inline zel_camera_metadata_ro_entry EntryAt(const camera_metadata* metadata, size_t index) {
    zel_camera_metadata_ro_entry entry{};
    ZEL_FUZZ_CHECK(zelkov::GetCameraMetadataHandler()->GetRoEntry(metadata, static_cast<unsigned>(index), &entry) == 0);
    ZEL_FUZZ_CHECK(entry.index == index);
    ZEL_FUZZ_CHECK(entry.type < NUM_TYPES);
    return entry;
}

// Whether every value out of line ends within the data count, so append and
// clone may copy the buffer.
inline bool DataWithinCount(const camera_metadata* metadata) {
    IZelCameraMetadataHandler& handler = *zelkov::GetCameraMetadataHandler();
    uint32_t dataStart;
    std::memcpy(&dataStart, reinterpret_cast<const uint8_t*>(metadata) + kDataStartOffset, sizeof(dataStart));
    const uint8_t* data = reinterpret_cast<const uint8_t*>(metadata) + dataStart;
    for (size_t i = 0; i < handler.GetEntryCount(metadata); ++i) {
        const zel_camera_metadata_ro_entry entry = EntryAt(metadata, i);
        const size_t padded = (PayloadBytes(entry) + 7) & ~size_t{7};
        if (PayloadBytes(entry) > 4 && size_t(entry.data.u8 - data) + padded > handler.GetDataCount(metadata)) {
            return false;
        }
    }
    return true;
}

inline bool SameEntry(const zel_camera_metadata_ro_entry& a, const zel_camera_metadata_ro_entry& b) {
    return a.tag == b.tag && a.type == b.type && a.count == b.count &&
           std::memcmp(a.data.u8, b.data.u8, PayloadBytes(a)) == 0;
}

inline void ExpectValid(const camera_metadata* metadata) {
    const size_t size = get_camera_metadata_size(metadata);
    ZEL_FUZZ_CHECK(validate_camera_metadata_structure(metadata, &size) == 0);
}

// Every entry the validator accepted, read as a camera core reads it.
inline void ReadAcceptedEntries(const camera_metadata* metadata, const uint8_t* block, size_t blockSize) {
    IZelCameraMetadataHandler& handler = *zelkov::GetCameraMetadataHandler();
    const size_t count = handler.GetEntryCount(metadata);
    ZEL_FUZZ_CHECK(count <= handler.GetEntryCapacity(metadata));
    ZEL_FUZZ_CHECK(handler.GetDataCount(metadata) <= handler.GetDataCapacity(metadata));
    ZEL_FUZZ_CHECK(get_camera_metadata_size(metadata) <= blockSize);
    for (size_t i = 0; i < count; ++i) {
        const zel_camera_metadata_ro_entry entry = EntryAt(metadata, i);
        const size_t payload = PayloadBytes(entry);
        ZEL_FUZZ_CHECK(entry.data.u8 >= block && entry.data.u8 + payload <= block + blockSize);
        volatile uint8_t sink = 0;
        for (size_t b = 0; b < payload; ++b) sink = sink ^ entry.data.u8[b];

        // Unsorted, the first entry of a tag is found; a buffer that only
        // claims to be sorted may hide a tag from the binary search.
        zel_camera_metadata_ro_entry found{};
        const int status = handler.FindRoEntry(metadata, entry.tag, &found);
        if (status == 0) {
            ZEL_FUZZ_CHECK(found.tag == entry.tag && found.index < count);
            if (!ClaimsSorted(metadata)) ZEL_FUZZ_CHECK(found.index <= i);
        } else {
            ZEL_FUZZ_CHECK(ClaimsSorted(metadata));
        }

        const char* tagName = handler.GetTagName(entry.tag);
        const char* sectionName = handler.GetSectionName(entry.tag);
        const int tagType = handler.GetTagType(entry.tag);
        if ((entry.tag >> 16) < VENDOR_SECTION) {
            // The validator demands the declared type of a standard tag.
            ZEL_FUZZ_CHECK(tagType == entry.type);
            ZEL_FUZZ_CHECK(tagName != nullptr && sectionName != nullptr);
            ZEL_FUZZ_CHECK(std::strlen(tagName) > 0 && std::strlen(sectionName) > 0);
        } else {
            ZEL_FUZZ_CHECK(tagType == -1);  // no vendor ops are set
        }
    }
    zel_camera_metadata_ro_entry past{};
    ZEL_FUZZ_CHECK(handler.GetRoEntry(metadata, static_cast<unsigned>(count), &past) != 0);
}

// A clone holds the same entries; sorted (unless the source only claims to
// be), its tags ascend and every source tag is still found.
inline MetadataPtr CloneAndSort(const camera_metadata* metadata) {
    IZelCameraMetadataHandler& handler = *zelkov::GetCameraMetadataHandler();
    const size_t count = handler.GetEntryCount(metadata);
    MetadataPtr clone(handler.Clone(metadata));
    ZEL_FUZZ_CHECK(clone != nullptr);
    ExpectValid(clone.get());
    ZEL_FUZZ_CHECK(handler.GetEntryCount(clone.get()) == count);
    for (size_t i = 0; i < count; ++i) ZEL_FUZZ_CHECK(SameEntry(EntryAt(metadata, i), EntryAt(clone.get(), i)));

    ZEL_FUZZ_CHECK(handler.Sort(clone.get()) == 0);
    ExpectValid(clone.get());
    ZEL_FUZZ_CHECK(handler.GetEntryCount(clone.get()) == count);
    if (!ClaimsSorted(metadata)) {
        for (size_t i = 1; i < count; ++i)
            ZEL_FUZZ_CHECK(EntryAt(clone.get(), i - 1).tag <= EntryAt(clone.get(), i).tag);
        for (size_t i = 0; i < count; ++i) {
            zel_camera_metadata_ro_entry found{};
            ZEL_FUZZ_CHECK(handler.FindRoEntry(clone.get(), EntryAt(metadata, i).tag, &found) == 0);
        }
    }
    return clone;
}

// The source and its sorted clone appended one after the other into a fresh
// buffer sized for both.
inline void AppendBoth(const camera_metadata* metadata, const camera_metadata* clone) {
    IZelCameraMetadataHandler& handler = *zelkov::GetCameraMetadataHandler();
    const size_t count = handler.GetEntryCount(metadata);
    const size_t dataCount = handler.GetDataCount(metadata);
    MetadataPtr both(handler.Allocate(static_cast<unsigned>(2 * count), static_cast<unsigned>(2 * dataCount)));
    ZEL_FUZZ_CHECK(both != nullptr);
    ZEL_FUZZ_CHECK(handler.Append(both.get(), metadata) == 0);
    ZEL_FUZZ_CHECK(handler.Append(both.get(), clone) == 0);
    ExpectValid(both.get());
    ZEL_FUZZ_CHECK(handler.GetEntryCount(both.get()) == 2 * count);
    for (size_t i = 0; i < count; ++i) {
        ZEL_FUZZ_CHECK(SameEntry(EntryAt(metadata, i), EntryAt(both.get(), i)));
        ZEL_FUZZ_CHECK(SameEntry(EntryAt(clone, i), EntryAt(both.get(), count + i)));
    }
}

}  // namespace metadata_detail

inline void CheckCameraMetadata(const uint8_t* data, size_t size) {
    using namespace metadata_detail;
    if (size == 0 || size > UINT_MAX) return;
    // Exactly sized, so ASan reports any read past the end; malloc's alignment
    // meets the buffer's 8 bytes.
    std::unique_ptr<uint8_t, FreeBlock> block(static_cast<uint8_t*>(std::malloc(size)));
    ZEL_FUZZ_CHECK(block != nullptr);
    std::memcpy(block.get(), data, size);
    const auto* metadata = reinterpret_cast<const camera_metadata*>(block.get());

    const int platformResult = validate_camera_metadata_structure(metadata, &size);
    ZEL_FUZZ_CHECK(platformResult == 0 || platformResult == 1);
    const unsigned int expectedSize = static_cast<unsigned int>(size);
    ZEL_FUZZ_CHECK(zelkov::GetCameraMetadataHandler()->ValidateStructure(metadata, &expectedSize) == platformResult);
    if (platformResult != 0) return;

    ReadAcceptedEntries(metadata, block.get(), size);
    if (!DataWithinCount(metadata)) return;
    MetadataPtr clone = CloneAndSort(metadata);
    if (zelkov::GetCameraMetadataHandler()->GetDataCount(metadata) % 8 == 0) AppendBoth(metadata, clone.get());
}

}  // namespace zelkov_fuzz

#endif

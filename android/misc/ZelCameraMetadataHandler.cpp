// The one metadata handler: each operation forwards to libcamera_metadata.
#include <android/misc/internal/ZelCameraMetadataHandler.h>

#include <cstddef>
#include <type_traits>

#include <camera_metadata_hidden.h>
#include <system/camera_metadata.h>

namespace zelkov {

// The entry records reach the platform by pointer, so each must be the
// platform's record field for field.
#define ZEL_SAME_FIELD(ours, theirs, field)                                                                         \
    static_assert(offsetof(ours, field) == offsetof(theirs, field) && sizeof(ours::field) == sizeof(theirs::field), \
                  #ours "::" #field " differs from the platform's")
#define ZEL_SAME_ENTRY(ours, theirs)                                                  \
    static_assert(sizeof(ours) == sizeof(theirs) && alignof(ours) == alignof(theirs), \
                  #ours " differs from the platform's");                              \
    ZEL_SAME_FIELD(ours, theirs, index);                                              \
    ZEL_SAME_FIELD(ours, theirs, tag);                                                \
    ZEL_SAME_FIELD(ours, theirs, type);                                               \
    ZEL_SAME_FIELD(ours, theirs, count);                                              \
    ZEL_SAME_FIELD(ours, theirs, data)
ZEL_SAME_ENTRY(zel_camera_metadata_entry, camera_metadata_entry_t);
ZEL_SAME_ENTRY(zel_camera_metadata_ro_entry, camera_metadata_ro_entry_t);
static_assert(sizeof(zel_camera_metadata_rational) == sizeof(camera_metadata_rational_t), "rational layout");
#undef ZEL_SAME_ENTRY
#undef ZEL_SAME_FIELD

namespace {

camera_metadata_entry_t* Platform(zel_camera_metadata_entry* entry) {
    return reinterpret_cast<camera_metadata_entry_t*>(entry);
}

camera_metadata_ro_entry_t* Platform(zel_camera_metadata_ro_entry* entry) {
    return reinterpret_cast<camera_metadata_ro_entry_t*>(entry);
}

// On the 32-bit target size_t is unsigned int and the pointer goes straight
// through; where size_t is wider (a 64-bit host) a widened copy is passed.
template <typename Size>
int Validate(const camera_metadata* metadata, const Size* expectedSize) {
    if constexpr (std::is_same<Size, size_t>::value) {
        return validate_camera_metadata_structure(metadata, expectedSize);
    } else {
        size_t widened = expectedSize != nullptr ? *expectedSize : 0;
        return validate_camera_metadata_structure(metadata, expectedSize != nullptr ? &widened : nullptr);
    }
}

}  // namespace

int ZelCameraMetadataHandler::SetVendorOps(const vendor_tag_ops* ops) { return set_camera_metadata_vendor_ops(ops); }

int ZelCameraMetadataHandler::SetVendorCacheOps(const vendor_tag_cache_ops* ops) {
    return set_camera_metadata_vendor_cache_ops(ops);
}

int ZelCameraMetadataHandler::FindEntry(camera_metadata* metadata, unsigned int tag, zel_camera_metadata_entry* entry) {
    return find_camera_metadata_entry(metadata, tag, Platform(entry));
}

int ZelCameraMetadataHandler::UpdateEntry(camera_metadata* metadata, unsigned int index, const void* data,
                                          unsigned int dataCount, zel_camera_metadata_entry* updatedEntry) {
    return update_camera_metadata_entry(metadata, index, data, dataCount, Platform(updatedEntry));
}

size_t ZelCameraMetadataHandler::GetEntryCount(const camera_metadata* metadata) {
    return get_camera_metadata_entry_count(metadata);
}

size_t ZelCameraMetadataHandler::GetDataCount(const camera_metadata* metadata) {
    return get_camera_metadata_data_count(metadata);
}

camera_metadata* ZelCameraMetadataHandler::Allocate(unsigned int entryCapacity, unsigned int dataCapacity) {
    return allocate_camera_metadata(entryCapacity, dataCapacity);
}

int ZelCameraMetadataHandler::Append(camera_metadata* dst, const camera_metadata* src) {
    return append_camera_metadata(dst, src);
}

void ZelCameraMetadataHandler::Free(camera_metadata* metadata) { free_camera_metadata(metadata); }

camera_metadata* ZelCameraMetadataHandler::Clone(const camera_metadata* src) { return clone_camera_metadata(src); }

int ZelCameraMetadataHandler::ValidateStructure(const camera_metadata* metadata, const unsigned int* expectedSize) {
    return Validate(metadata, expectedSize);
}

int ZelCameraMetadataHandler::GetRoEntry(const camera_metadata* metadata, unsigned int index,
                                         zel_camera_metadata_ro_entry* entry) {
    return get_camera_metadata_ro_entry(metadata, index, Platform(entry));
}

const char* ZelCameraMetadataHandler::GetSectionName(unsigned int tag) { return get_camera_metadata_section_name(tag); }

const char* ZelCameraMetadataHandler::GetTagName(unsigned int tag) { return get_camera_metadata_tag_name(tag); }

int ZelCameraMetadataHandler::FindRoEntry(const camera_metadata* metadata, unsigned int tag,
                                          zel_camera_metadata_ro_entry* entry) {
    return find_camera_metadata_ro_entry(metadata, tag, Platform(entry));
}

size_t ZelCameraMetadataHandler::GetEntryCapacity(const camera_metadata* metadata) {
    return get_camera_metadata_entry_capacity(metadata);
}

size_t ZelCameraMetadataHandler::GetDataCapacity(const camera_metadata* metadata) {
    return get_camera_metadata_data_capacity(metadata);
}

size_t ZelCameraMetadataHandler::CalculateEntryDataSize(unsigned char type, unsigned int dataCount) {
    return calculate_camera_metadata_entry_data_size(type, dataCount);
}

int ZelCameraMetadataHandler::AddEntry(camera_metadata* metadata, unsigned int tag, const void* data,
                                       unsigned int dataCount) {
    return add_camera_metadata_entry(metadata, tag, data, dataCount);
}

int ZelCameraMetadataHandler::DeleteEntry(camera_metadata* metadata, unsigned int index) {
    return delete_camera_metadata_entry(metadata, index);
}

int ZelCameraMetadataHandler::GetEntry(camera_metadata* metadata, unsigned int index,
                                       zel_camera_metadata_entry* entry) {
    return get_camera_metadata_entry(metadata, index, Platform(entry));
}

int ZelCameraMetadataHandler::GetTagType(unsigned int tag) { return get_camera_metadata_tag_type(tag); }

int ZelCameraMetadataHandler::GetSectionBounds(int section, int which) {
    return static_cast<int>(camera_metadata_section_bounds[section][which]);
}

int ZelCameraMetadataHandler::Sort(camera_metadata* metadata) { return sort_camera_metadata(metadata); }

}  // namespace zelkov

extern "C" zelkov::IZelCameraMetadataHandler* _GetCameraMetadataHandler() {
    // Made once and never destroyed: camera threads may still call it while the process exits.
    static zelkov::ZelCameraMetadataHandler* const handler = new zelkov::ZelCameraMetadataHandler;
    return handler;
}

#ifndef ZELKOV_ANDROID_MISC_INTERNAL_ZEL_CAMERA_METADATA_HANDLER_H
#define ZELKOV_ANDROID_MISC_INTERNAL_ZEL_CAMERA_METADATA_HANDLER_H

#include <android/misc/IZelCameraMetadataHandler.h>

namespace zelkov {

// Forwards every operation to the platform's libcamera_metadata, arguments in
// the order received; no state, no locking, no logging.
class ZelCameraMetadataHandler : public IZelCameraMetadataHandler {
public:
    int SetVendorOps(const vendor_tag_ops* ops) override;
    int SetVendorCacheOps(const vendor_tag_cache_ops* ops) override;
    int FindEntry(camera_metadata* metadata, unsigned int tag, zel_camera_metadata_entry* entry) override;
    int UpdateEntry(camera_metadata* metadata, unsigned int index, const void* data, unsigned int dataCount,
                    zel_camera_metadata_entry* updatedEntry) override;
    size_t GetEntryCount(const camera_metadata* metadata) override;
    size_t GetDataCount(const camera_metadata* metadata) override;
    camera_metadata* Allocate(unsigned int entryCapacity, unsigned int dataCapacity) override;
    int Append(camera_metadata* dst, const camera_metadata* src) override;
    void Free(camera_metadata* metadata) override;
    camera_metadata* Clone(const camera_metadata* src) override;
    int ValidateStructure(const camera_metadata* metadata, const unsigned int* expectedSize) override;
    int GetRoEntry(const camera_metadata* metadata, unsigned int index, zel_camera_metadata_ro_entry* entry) override;
    const char* GetSectionName(unsigned int tag) override;
    const char* GetTagName(unsigned int tag) override;
    int FindRoEntry(const camera_metadata* metadata, unsigned int tag, zel_camera_metadata_ro_entry* entry) override;
    size_t GetEntryCapacity(const camera_metadata* metadata) override;
    size_t GetDataCapacity(const camera_metadata* metadata) override;
    size_t CalculateEntryDataSize(unsigned char type, unsigned int dataCount) override;
    int AddEntry(camera_metadata* metadata, unsigned int tag, const void* data, unsigned int dataCount) override;
    int DeleteEntry(camera_metadata* metadata, unsigned int index) override;
    int GetEntry(camera_metadata* metadata, unsigned int index, zel_camera_metadata_entry* entry) override;
    int GetTagType(unsigned int tag) override;
    int GetSectionBounds(int section, int which) override;
    int Sort(camera_metadata* metadata) override;
};

}  // namespace zelkov

// Makes the handler on the first call and returns it on every call. C linkage,
// not exported.
extern "C" zelkov::IZelCameraMetadataHandler* _GetCameraMetadataHandler();

#endif

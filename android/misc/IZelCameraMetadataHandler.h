#ifndef ZELKOV_ANDROID_MISC_IZEL_CAMERA_METADATA_HANDLER_H
#define ZELKOV_ANDROID_MISC_IZEL_CAMERA_METADATA_HANDLER_H

#include <cstddef>
#include <cstdint>

#include <android/ZelExport.h>
#include <android/wrappers/Records.h>

namespace zelkov {

struct zel_camera_metadata_rational {
    int32_t numerator;
    int32_t denominator;
};

// Field for field the platform's camera_metadata_entry_t: the handler passes
// these straight to the platform, which fills them.
struct zel_camera_metadata_entry {
    size_t index;
    unsigned int tag;
    unsigned char type;
    size_t count;
    union {
        uint8_t* u8;
        int32_t* i32;
        float* f;
        int64_t* i64;
        double* d;
        zel_camera_metadata_rational* r;
    } data;
};

// Field for field the platform's camera_metadata_ro_entry_t.
struct zel_camera_metadata_ro_entry {
    size_t index;
    unsigned int tag;
    unsigned char type;
    size_t count;
    union {
        const uint8_t* u8;
        const int32_t* i32;
        const float* f;
        const int64_t* i64;
        const double* d;
        const zel_camera_metadata_rational* r;
    } data;
};

// The platform's camera-metadata library as operations of one process-wide
// object. Each operation returns the platform's result unchanged. The slot
// order is part of the interface.
class ZEL_EXPORT IZelCameraMetadataHandler {
public:
    virtual ~IZelCameraMetadataHandler();
    virtual int SetVendorOps(const vendor_tag_ops* ops) = 0;
    virtual int SetVendorCacheOps(const vendor_tag_cache_ops* ops) = 0;
    virtual int FindEntry(camera_metadata* metadata, unsigned int tag, zel_camera_metadata_entry* entry) = 0;
    virtual int UpdateEntry(camera_metadata* metadata, unsigned int index, const void* data, unsigned int dataCount,
                            zel_camera_metadata_entry* updatedEntry) = 0;
    virtual size_t GetEntryCount(const camera_metadata* metadata) = 0;
    virtual size_t GetDataCount(const camera_metadata* metadata) = 0;
    virtual camera_metadata* Allocate(unsigned int entryCapacity, unsigned int dataCapacity) = 0;
    virtual int Append(camera_metadata* dst, const camera_metadata* src) = 0;
    virtual void Free(camera_metadata* metadata) = 0;
    virtual camera_metadata* Clone(const camera_metadata* src) = 0;
    virtual int ValidateStructure(const camera_metadata* metadata, const unsigned int* expectedSize) = 0;
    virtual int GetRoEntry(const camera_metadata* metadata, unsigned int index,
                           zel_camera_metadata_ro_entry* entry) = 0;
    virtual const char* GetSectionName(unsigned int tag) = 0;
    virtual const char* GetTagName(unsigned int tag) = 0;
    virtual int FindRoEntry(const camera_metadata* metadata, unsigned int tag, zel_camera_metadata_ro_entry* entry) = 0;
    virtual size_t GetEntryCapacity(const camera_metadata* metadata) = 0;
    virtual size_t GetDataCapacity(const camera_metadata* metadata) = 0;
    virtual size_t CalculateEntryDataSize(unsigned char type, unsigned int dataCount) = 0;
    virtual int AddEntry(camera_metadata* metadata, unsigned int tag, const void* data, unsigned int dataCount) = 0;
    virtual int DeleteEntry(camera_metadata* metadata, unsigned int index) = 0;
    virtual int GetEntry(camera_metadata* metadata, unsigned int index, zel_camera_metadata_entry* entry) = 0;
    virtual int GetTagType(unsigned int tag) = 0;
    // Row `section`, column `which` (0 first tag, 1 end) of the platform's
    // section table; only valid sections and columns are defined.
    virtual int GetSectionBounds(int section, int which) = 0;
    virtual int Sort(camera_metadata* metadata) = 0;
};

// The process-wide handler, made on first use and never destroyed; never null.
ZEL_EXPORT IZelCameraMetadataHandler* GetCameraMetadataHandler();

}  // namespace zelkov

#endif

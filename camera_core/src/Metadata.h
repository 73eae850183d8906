// Owner of one camera metadata buffer, built and read through the library's
// metadata handler. Entries are added or replaced by tag; the buffer grows
// when it is full.
#ifndef ZELKOV_CAMERA_CORE_METADATA_H
#define ZELKOV_CAMERA_CORE_METADATA_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include <android/misc/IZelCameraMetadataHandler.h>

namespace camera_core {

class Metadata {
public:
    Metadata();
    explicit Metadata(const camera_metadata* source);  // a copy of source (empty when null)
    Metadata(Metadata&& other) noexcept;
    Metadata& operator=(Metadata&& other) noexcept;
    Metadata(const Metadata&) = delete;
    Metadata& operator=(const Metadata&) = delete;
    ~Metadata();

    bool Set(unsigned int tag, const uint8_t* data, size_t count) { return SetRaw(tag, data, count); }
    bool Set(unsigned int tag, const int32_t* data, size_t count) { return SetRaw(tag, data, count); }
    bool Set(unsigned int tag, const float* data, size_t count) { return SetRaw(tag, data, count); }
    bool Set(unsigned int tag, const int64_t* data, size_t count) { return SetRaw(tag, data, count); }
    bool Set(unsigned int tag, const zelkov::zel_camera_metadata_rational* data, size_t count) {
        return SetRaw(tag, data, count);
    }
    bool Set(unsigned int tag, const std::vector<int32_t>& values) { return Set(tag, values.data(), values.size()); }
    bool Set(unsigned int tag, const std::vector<int64_t>& values) { return Set(tag, values.data(), values.size()); }
    bool Set(unsigned int tag, const std::vector<uint8_t>& values) { return Set(tag, values.data(), values.size()); }
    template <typename T>
    bool SetOne(unsigned int tag, T value) {
        return Set(tag, &value, 1);
    }

    // The entry of tag, or false when absent.
    bool Find(unsigned int tag, zelkov::zel_camera_metadata_ro_entry* entry) const;
    uint8_t GetU8(unsigned int tag, uint8_t fallback) const;
    int32_t GetI32(unsigned int tag, size_t index, int32_t fallback) const;

    bool Entry(size_t index, zelkov::zel_camera_metadata_ro_entry* entry) const;
    // Copies one entry of another buffer into this one.
    bool CopyEntry(const zelkov::zel_camera_metadata_ro_entry& entry);
    std::vector<unsigned int> Tags() const;

    const camera_metadata* Get() const { return m_buffer; }
    camera_metadata* Release();

private:
    bool SetRaw(unsigned int tag, const void* data, size_t count);
    bool Grow(size_t entries, size_t bytes);

    camera_metadata* m_buffer = nullptr;
};

}  // namespace camera_core

#endif

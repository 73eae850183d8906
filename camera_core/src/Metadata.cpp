#include "Metadata.h"

#include <algorithm>
#include <cerrno>

using zelkov::GetCameraMetadataHandler;
using zelkov::zel_camera_metadata_entry;
using zelkov::zel_camera_metadata_ro_entry;

namespace camera_core {

Metadata::Metadata() : m_buffer(GetCameraMetadataHandler()->Allocate(32, 512)) {}

Metadata::Metadata(const camera_metadata* source)
    : m_buffer(source != nullptr ? GetCameraMetadataHandler()->Clone(source)
                                 : GetCameraMetadataHandler()->Allocate(32, 512)) {}

Metadata::Metadata(Metadata&& other) noexcept : m_buffer(other.Release()) {}

Metadata& Metadata::operator=(Metadata&& other) noexcept {
    if (this != &other) {
        if (m_buffer != nullptr) GetCameraMetadataHandler()->Free(m_buffer);
        m_buffer = other.Release();
    }
    return *this;
}

Metadata::~Metadata() {
    if (m_buffer != nullptr) GetCameraMetadataHandler()->Free(m_buffer);
}

camera_metadata* Metadata::Release() {
    camera_metadata* buffer = m_buffer;
    m_buffer = nullptr;
    return buffer;
}

bool Metadata::Grow(size_t entries, size_t bytes) {
    zelkov::IZelCameraMetadataHandler* handler = GetCameraMetadataHandler();
    const size_t entryCapacity = handler->GetEntryCapacity(m_buffer);
    const size_t dataCapacity = handler->GetDataCapacity(m_buffer);
    const size_t entryNeed = handler->GetEntryCount(m_buffer) + entries;
    const size_t dataNeed = handler->GetDataCount(m_buffer) + bytes;
    if (entryNeed <= entryCapacity && dataNeed <= dataCapacity) return true;
    camera_metadata* larger = handler->Allocate(static_cast<unsigned int>(std::max(entryNeed, entryCapacity) * 2),
                                                static_cast<unsigned int>(std::max(dataNeed, dataCapacity) * 2));
    if (larger == nullptr || handler->Append(larger, m_buffer) != 0) {
        if (larger != nullptr) handler->Free(larger);
        return false;
    }
    handler->Free(m_buffer);
    m_buffer = larger;
    return true;
}

bool Metadata::SetRaw(unsigned int tag, const void* data, size_t count) {
    zelkov::IZelCameraMetadataHandler* handler = GetCameraMetadataHandler();
    if (m_buffer == nullptr) return false;
    const int type = handler->GetTagType(tag);
    if (type < 0) return false;
    const size_t bytes = handler->CalculateEntryDataSize(static_cast<unsigned char>(type), count);
    zel_camera_metadata_entry entry;
    if (handler->FindEntry(m_buffer, tag, &entry) == 0) {
        // Replacing may need room for the new data before the old is dropped.
        if (!Grow(0, bytes)) return false;
        if (handler->FindEntry(m_buffer, tag, &entry) != 0) return false;
        return handler->UpdateEntry(m_buffer, static_cast<unsigned int>(entry.index), data,
                                    static_cast<unsigned int>(count), nullptr) == 0;
    }
    if (!Grow(1, bytes)) return false;
    return handler->AddEntry(m_buffer, tag, data, static_cast<unsigned int>(count)) == 0;
}

bool Metadata::Find(unsigned int tag, zel_camera_metadata_ro_entry* entry) const {
    return m_buffer != nullptr && GetCameraMetadataHandler()->FindRoEntry(m_buffer, tag, entry) == 0;
}

uint8_t Metadata::GetU8(unsigned int tag, uint8_t fallback) const {
    zel_camera_metadata_ro_entry entry;
    return Find(tag, &entry) && entry.count > 0 ? entry.data.u8[0] : fallback;
}

int32_t Metadata::GetI32(unsigned int tag, size_t index, int32_t fallback) const {
    zel_camera_metadata_ro_entry entry;
    return Find(tag, &entry) && entry.count > index ? entry.data.i32[index] : fallback;
}

bool Metadata::Entry(size_t index, zel_camera_metadata_ro_entry* entry) const {
    return m_buffer != nullptr &&
           GetCameraMetadataHandler()->GetRoEntry(m_buffer, static_cast<unsigned int>(index), entry) == 0;
}

bool Metadata::CopyEntry(const zel_camera_metadata_ro_entry& entry) {
    return SetRaw(entry.tag, entry.data.u8, entry.count);
}

std::vector<unsigned int> Metadata::Tags() const {
    std::vector<unsigned int> tags;
    zel_camera_metadata_ro_entry entry;
    for (size_t i = 0; Entry(i, &entry); ++i) tags.push_back(entry.tag);
    return tags;
}

}  // namespace camera_core

#ifndef ZELKOV_ANDROID_WRAPPERS_INTERNAL_PIMPL_IMPL_H
#define ZELKOV_ANDROID_WRAPPERS_INTERNAL_PIMPL_IMPL_H

// Member definitions of PImpl. Included only by the sources that explicitly
// instantiate (and so export) the wrapper of one record.

#include <cstdlib>
#include <cstring>

#include <android/wrappers/PImpl.h>

namespace zelkov {

template <typename T, typename Impl>
PImpl<T, Impl>::PImpl() : m_record(static_cast<Impl*>(std::malloc(Size()))), m_owned(true) {
    if (m_record != nullptr) std::memset(m_record, 0, Size());
}

template <typename T, typename Impl>
PImpl<T, Impl>::PImpl(const T* record, bool owned)
    : m_record(reinterpret_cast<Impl*>(const_cast<T*>(record))), m_owned(owned && record != nullptr) {}

template <typename T, typename Impl>
PImpl<T, Impl>::PImpl(const PImpl& other) : m_record(static_cast<Impl*>(std::malloc(Size()))), m_owned(true) {
    if (m_record != nullptr && other.m_record != nullptr) std::memcpy(m_record, other.m_record, Size());
}

template <typename T, typename Impl>
PImpl<T, Impl>& PImpl<T, Impl>::operator=(const PImpl& other) {
    // Also from itself: an empty wrapper still gets its owned record.
    CopyFrom(other.Ptr());
    return *this;
}

template <typename T, typename Impl>
PImpl<T, Impl>::PImpl(PImpl&& other) noexcept : m_record(other.m_record), m_owned(other.m_owned) {
    other.m_record = nullptr;
    other.m_owned = false;
}

template <typename T, typename Impl>
PImpl<T, Impl>& PImpl<T, Impl>::operator=(PImpl&& other) noexcept {
    if (&other != this) {
        ResetPtr(other.Ptr(), other.m_owned);
        other.m_record = nullptr;
        other.m_owned = false;
    }
    return *this;
}

template <typename T, typename Impl>
PImpl<T, Impl>::~PImpl() {
    if (m_owned && m_record != nullptr) std::free(m_record);
}

template <typename T, typename Impl>
void PImpl<T, Impl>::Free(T* record) {
    if (record != nullptr) std::free(record);
}

template <typename T, typename Impl>
T* PImpl<T, Impl>::Release() {
    T* record = Ptr();
    m_record = nullptr;
    m_owned = false;
    return record;
}

template <typename T, typename Impl>
void PImpl<T, Impl>::CopyFrom(const T* source) {
    if (m_record == nullptr) {
        m_record = static_cast<Impl*>(std::malloc(Size()));
        m_owned = true;
    }
    // Copying a record onto itself changes nothing, and memcpy must not overlap.
    if (m_record != nullptr && source != nullptr && source != Ptr()) std::memcpy(m_record, source, Size());
}

template <typename T, typename Impl>
T* PImpl<T, Impl>::Ptr() const {
    return reinterpret_cast<T*>(m_record);
}

template <typename T, typename Impl>
void PImpl<T, Impl>::ResetPtr(const T* record, bool owned) {
    // The record this wrapper already holds is kept, only its flag changes.
    if (m_owned && m_record != nullptr && Ptr() != record) std::free(m_record);
    m_record = reinterpret_cast<Impl*>(const_cast<T*>(record));
    m_owned = owned && record != nullptr;
}

template <typename T, typename Impl>
unsigned int PImpl<T, Impl>::Size() {
    return sizeof(Impl);
}

template <typename T, typename Impl>
void PImpl<T, Impl>::Clear() {
    if (m_record != nullptr) std::memset(m_record, 0, Size());
}

template <typename T, typename Impl>
T* PImpl<T, Impl>::Create(unsigned int count) {
    return static_cast<T*>(std::malloc(count * Size()));
}

template <typename T, typename Impl>
void PImpl<T, Impl>::CopyFrom(const PImpl& other) {
    CopyFrom(other.Ptr());
}

template <typename T, typename Impl>
void PImpl<T, Impl>::Copy(T* destination, const T* source, unsigned int count) {
    if (destination != nullptr && source != nullptr && count != 0) {
        std::memcpy(destination, source, count * Size());
    }
}

template <typename T, typename Impl>
void PImpl<T, Impl>::CopyTo(PImpl& other) {
    if (m_record != nullptr && other.m_record != nullptr) std::memcpy(other.m_record, m_record, Size());
}

template <typename T, typename Impl>
void PImpl<T, Impl>::CopyTo(T* destination) {
    if (destination != nullptr && m_record != nullptr) std::memcpy(destination, m_record, Size());
}

}  // namespace zelkov

#endif

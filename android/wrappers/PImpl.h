#ifndef ZELKOV_ANDROID_WRAPPERS_PIMPL_H
#define ZELKOV_ANDROID_WRAPPERS_PIMPL_H

#include <android/ZelExport.h>

namespace zelkov {

// Owning pointer to one platform record that lives on the C heap. `T` is the
// record type handed out; `Impl` is the storage actually allocated, copied and
// cleared, whose size only the library knows (Size()). The library exports an
// instantiation per wrapped record; users never instantiate it themselves.
//
// States: owning (record, owned), borrowing (record, not owned), empty (null).
// A failed allocation leaves a null record with the owned flag set.
template <typename T, typename Impl>
class ZEL_EXPORT PImpl {
public:
    // Owns a fresh zeroed record of Size() bytes.
    PImpl();
    // Wraps `record` without copying; frees it later only when `owned`.
    PImpl(const T* record, bool owned);
    // Owns a fresh record holding a copy of `other`'s (left unwritten if `other` is empty).
    PImpl(const PImpl& other);
    // Allocates a record if this wrapper has none, then copies `other`'s into it.
    PImpl& operator=(const PImpl& other);
    // Moves never throw, so containers move wrappers instead of copying them
    // (a copy would turn a borrowing wrapper into an owning one).
    PImpl(PImpl&& other) noexcept;
    PImpl& operator=(PImpl&& other) noexcept;
    virtual ~PImpl();

    static void Free(T* record);
    // Hands the record to the caller and leaves the wrapper empty.
    T* Release();
    void CopyFrom(const T* source);
    T* Ptr() const;
    void ResetPtr(const T* record, bool owned);
    static unsigned int Size();
    void Clear();
    // An uninitialised array of `count` records, to be released with Free.
    static T* Create(unsigned int count);
    void CopyFrom(const PImpl& other);
    static void Copy(T* destination, const T* source, unsigned int count);
    // Copies into `other`'s record; never allocates.
    void CopyTo(PImpl& other);
    void CopyTo(T* destination);

protected:
    Impl* m_record;
    bool m_owned;
};

}  // namespace zelkov

#endif

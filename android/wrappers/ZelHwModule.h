#ifndef ZELKOV_ANDROID_WRAPPERS_ZEL_HW_MODULE_H
#define ZELKOV_ANDROID_WRAPPERS_ZEL_HW_MODULE_H

// The generic hardware module and device records, and the module's methods.

#include <android/ZelExport.h>
#include <android/wrappers/PImpl.h>
#include <android/wrappers/Records.h>

namespace zelkov {

// Instantiated and exported by the library only (see ZelCamera3Stream.h).
extern template class ZEL_EXPORT PImpl<hw_device_t, hw_device_t>;
extern template class ZEL_EXPORT PImpl<hw_module_methods_t, hw_module_methods_t>;
extern template class ZEL_EXPORT PImpl<hw_module_t, hw_module_t>;

class ZEL_EXPORT ZelHwDevice : public PImpl<hw_device_t, hw_device_t> {
public:
    using PImpl<hw_device_t, hw_device_t>::PImpl;

    using CloseFn = int (*)(hw_device_t*);

    unsigned int GetTag() const;
    void SetTag(unsigned int tag);
    unsigned int GetVersion() const;
    void SetVersion(unsigned int version);
    hw_module_t* GetModule() const;
    void SetModule(hw_module_t* module);
    // The twelve reserved words.
    unsigned int* GetReserved() const;
    // Copies values[0] to values[11].
    void SetReserved(unsigned int* values);
    unsigned int GetNumReserved() const;  // 12
    CloseFn GetFnClose() const;
    void SetFnClose(CloseFn fn);
};

class ZEL_EXPORT ZelHwModuleMethods : public PImpl<hw_module_methods_t, hw_module_methods_t> {
public:
    using PImpl<hw_module_methods_t, hw_module_methods_t>::PImpl;

    using OpenFn = int (*)(const hw_module_t*, const char*, hw_device_t**);

    OpenFn GetFnOpen() const;
    void SetFnOpen(OpenFn fn);
};

// The module header; the 25 reserved words after it have no accessor.
class ZEL_EXPORT ZelHwModule : public PImpl<hw_module_t, hw_module_t> {
public:
    using PImpl<hw_module_t, hw_module_t>::PImpl;

    unsigned int GetTag() const;
    void SetTag(unsigned int tag);
    unsigned short GetModuleApiVersion() const;
    void SetModuleApiVersion(unsigned short version);
    unsigned short GetHalApiVersion() const;
    void SetHalApiVersion(unsigned short version);
    const char* GetId() const;
    void SetId(const char* id);
    const char* GetName() const;
    void SetName(const char* name);
    const char* GetAuthor() const;
    void SetAuthor(const char* author);
    hw_module_methods_t* GetMethods() const;
    void SetMethods(hw_module_methods_t* methods);
    void* GetDso() const;
    void SetDso(void* dso);
};

}  // namespace zelkov

#endif

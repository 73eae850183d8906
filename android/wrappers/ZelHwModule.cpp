#include <android/wrappers/ZelHwModule.h>

#include <cstring>

#include <android/wrappers/internal/Accessors.h>
#include <android/wrappers/internal/ModuleRecords.h>
#include <android/wrappers/internal/PImplImpl.h>

namespace zelkov {

template class PImpl<hw_device_t, hw_device_t>;
template class PImpl<hw_module_methods_t, hw_module_methods_t>;
template class PImpl<hw_module_t, hw_module_t>;

namespace {

// The device's reserved words as the interface counts them: 32-bit words. On
// 32-bit targets that is the whole array; 64-bit hosts declare 64-bit entries,
// so there the words fill its first half.
constexpr unsigned int kNumDeviceReserved = 12;
static_assert(sizeof(hw_device_t::reserved) >= kNumDeviceReserved * sizeof(unsigned int),
              "hw_device_t has room for the reserved words");

}  // namespace

ZEL_FIELD_ACCESSORS(ZelHwDevice, Tag, unsigned int, tag)
ZEL_FIELD_ACCESSORS(ZelHwDevice, Version, unsigned int, version)
ZEL_FIELD_ACCESSORS(ZelHwDevice, Module, hw_module_t*, module)
unsigned int* ZelHwDevice::GetReserved() const { return reinterpret_cast<unsigned int*>(m_record->reserved); }
void ZelHwDevice::SetReserved(unsigned int* values) {
    std::memcpy(m_record->reserved, values, kNumDeviceReserved * sizeof(unsigned int));
}
unsigned int ZelHwDevice::GetNumReserved() const { return kNumDeviceReserved; }
ZEL_SLOT_ACCESSORS(ZelHwDevice, Close, CloseFn, close)

ZEL_SLOT_ACCESSORS(ZelHwModuleMethods, Open, OpenFn, open)

ZEL_FIELD_ACCESSORS(ZelHwModule, Tag, unsigned int, tag)
ZEL_FIELD_ACCESSORS(ZelHwModule, ModuleApiVersion, unsigned short, module_api_version)
ZEL_FIELD_ACCESSORS(ZelHwModule, HalApiVersion, unsigned short, hal_api_version)
ZEL_FIELD_ACCESSORS(ZelHwModule, Id, const char*, id)
ZEL_FIELD_ACCESSORS(ZelHwModule, Name, const char*, name)
ZEL_FIELD_ACCESSORS(ZelHwModule, Author, const char*, author)
ZEL_FIELD_ACCESSORS(ZelHwModule, Methods, hw_module_methods_t*, methods)
ZEL_FIELD_ACCESSORS(ZelHwModule, Dso, void*, dso)

}  // namespace zelkov

#ifndef ZELKOV_ANDROID_WRAPPERS_ZEL_CAMERA_MODULE_H
#define ZELKOV_ANDROID_WRAPPERS_ZEL_CAMERA_MODULE_H

// The camera module with its function table, the module callbacks, the static
// camera information and the two vendor-tag tables. The wrappers never call
// the functions they hold.

#include <android/ZelExport.h>
#include <android/wrappers/PImpl.h>
#include <android/wrappers/Records.h>

namespace zelkov {

// Instantiated and exported by the library only (see ZelCamera3Stream.h).
extern template class ZEL_EXPORT PImpl<camera_info, camera_info>;
extern template class ZEL_EXPORT PImpl<camera_module, camera_module>;
extern template class ZEL_EXPORT PImpl<camera_module_callbacks, camera_module_callbacks>;
extern template class ZEL_EXPORT PImpl<vendor_tag_ops, vendor_tag_ops>;
extern template class ZEL_EXPORT PImpl<vendor_tag_query_ops, vendor_tag_query_ops>;

class ZEL_EXPORT ZelCameraInfo : public PImpl<camera_info, camera_info> {
public:
    using PImpl<camera_info, camera_info>::PImpl;

    int GetFacing() const;
    void SetFacing(int facing);
    int GetOrientation() const;
    void SetOrientation(int orientation);
    unsigned int GetDeviceVersion() const;
    void SetDeviceVersion(unsigned int version);
    const camera_metadata* GetStaticCameraCharact() const;
    void SetStaticCameraCharact(const camera_metadata* characteristics);
    int GetResourceCost() const;
    void SetResourceCost(int cost);
    char** GetConflictingDevices() const;
    void SetConflictingDevices(char** devices);
    unsigned int GetConflictingDevicesLength() const;
    void SetConflictingDevicesLength(unsigned int length);
};

// A whole hw_module_t, then fourteen function slots and one word without accessor.
class ZEL_EXPORT ZelCameraModule : public PImpl<camera_module, camera_module> {
public:
    using PImpl<camera_module, camera_module>::PImpl;

    using GetNumberOfCamerasFn = int (*)();
    using GetCameraInfoFn = int (*)(int, camera_info*);
    using SetCallbackFn = int (*)(const camera_module_callbacks*);
    using GetVendorTagOpsFn = void (*)(vendor_tag_ops*);
    using OpenLegacyFn = int (*)(const hw_module_t*, const char*, unsigned int, hw_device_t**);
    using SetTorchModeFn = int (*)(const char*, bool);
    using SetTorchModeStrengthFn = int (*)(const char*, bool, int);
    using InitFn = int (*)();
    using GetPhysicalCameraInfoFn = int (*)(int, camera_metadata**);
    using IsStreamCombinationSupportedFn = int (*)(int, const camera_stream_combination*);
    using NotifyDeviceStateChangeFn = void (*)(unsigned long long);
    using GetCameraDeviceVersionFn = int (*)(int, unsigned int*);
    using GetConcurrentStreamingCameraIdsFn = int (*)(unsigned int*, concurrent_camera_combination**);
    using IsConcurrentStreamCombinationSupportedFn = int (*)(unsigned int, const cameraid_stream_combination*);

    // The embedded hw_module_t, which starts the record.
    hw_module_t* GetHwModule() const;
    // Copies a whole hw_module_t into the embedded one; the pointer is not kept.
    void SetHwModule(hw_module_t* module);

    GetNumberOfCamerasFn GetFnGetNumberOfCameras() const;
    void SetFnGetNumberOfCameras(GetNumberOfCamerasFn fn);
    GetCameraInfoFn GetFnGetCameraInfo() const;
    void SetFnGetCameraInfo(GetCameraInfoFn fn);
    SetCallbackFn GetFnSetCallback() const;
    void SetFnSetCallback(SetCallbackFn fn);
    GetVendorTagOpsFn GetFnGetVendorTagOps() const;
    void SetFnGetVendorTagOps(GetVendorTagOpsFn fn);
    OpenLegacyFn GetFnOpenLegacy() const;
    void SetFnOpenLegacy(OpenLegacyFn fn);
    SetTorchModeFn GetFnSetTorchMode() const;
    void SetFnSetTorchMode(SetTorchModeFn fn);
    SetTorchModeStrengthFn GetFnSetTorchModeStrength() const;
    void SetFnSetTorchModeStrength(SetTorchModeStrengthFn fn);
    InitFn GetFnInit() const;
    void SetFnInit(InitFn fn);
    GetPhysicalCameraInfoFn GetFnGetPhysicalCameraInfo() const;
    void SetFnGetPhysicalCameraInfo(GetPhysicalCameraInfoFn fn);
    IsStreamCombinationSupportedFn GetFnIsStreamCombinationSupported() const;
    void SetFnIsStreamCombinationSupported(IsStreamCombinationSupportedFn fn);
    NotifyDeviceStateChangeFn GetFnNotifyDeviceStateChange() const;
    void SetFnNotifyDeviceStateChange(NotifyDeviceStateChangeFn fn);
    GetCameraDeviceVersionFn GetFnGetCameraDeviceVersion() const;
    void SetFnGetCameraDeviceVersion(GetCameraDeviceVersionFn fn);
    GetConcurrentStreamingCameraIdsFn GetFnGetConcurrentStreamingCameraIds() const;
    void SetFnGetConcurrentStreamingCameraIds(GetConcurrentStreamingCameraIdsFn fn);
    IsConcurrentStreamCombinationSupportedFn GetFnIsConcurrentStreamCombinationSupported() const;
    void SetFnIsConcurrentStreamCombinationSupported(IsConcurrentStreamCombinationSupportedFn fn);
};

class ZEL_EXPORT ZelCameraModuleCallbacks : public PImpl<camera_module_callbacks, camera_module_callbacks> {
public:
    using PImpl<camera_module_callbacks, camera_module_callbacks>::PImpl;

    using CameraDeviceStatusChangeFn = void (*)(const camera_module_callbacks*, int, int);
    using TorchModeStatusChangeFn = void (*)(const camera_module_callbacks*, const char*, int);

    CameraDeviceStatusChangeFn GetFnCameraDeviceStatusChange() const;
    void SetFnCameraDeviceStatusChange(CameraDeviceStatusChangeFn fn);
    TorchModeStatusChangeFn GetFnTorchModeStatusChange() const;
    void SetFnTorchModeStatusChange(TorchModeStatusChangeFn fn);
};

// The module's vendor-tag table: five slots, then eight reserved pointers without accessor.
class ZEL_EXPORT ZelVendorTagOps : public PImpl<vendor_tag_ops, vendor_tag_ops> {
public:
    using PImpl<vendor_tag_ops, vendor_tag_ops>::PImpl;

    using GetTagCountFn = int (*)(const vendor_tag_ops*);
    using GetAllTagsFn = void (*)(const vendor_tag_ops*, unsigned int*);
    using GetSectionNameFn = const char* (*)(const vendor_tag_ops*, unsigned int);
    using GetTagNameFn = const char* (*)(const vendor_tag_ops*, unsigned int);
    using GetTagTypeFn = int (*)(const vendor_tag_ops*, unsigned int);

    GetTagCountFn GetFnGetTagCount() const;
    void SetFnGetTagCount(GetTagCountFn fn);
    GetAllTagsFn GetFnGetAllTags() const;
    void SetFnGetAllTags(GetAllTagsFn fn);
    GetSectionNameFn GetFnGetSectionName() const;
    void SetFnGetSectionName(GetSectionNameFn fn);
    GetTagNameFn GetFnGetTagName() const;
    void SetFnGetTagName(GetTagNameFn fn);
    GetTagTypeFn GetFnGetTagType() const;
    void SetFnGetTagType(GetTagTypeFn fn);
};

// The device's vendor-tag query table; its slots come in another order than
// ZelVendorTagOps's.
class ZEL_EXPORT ZelVendorTagQueryOps : public PImpl<vendor_tag_query_ops, vendor_tag_query_ops> {
public:
    using PImpl<vendor_tag_query_ops, vendor_tag_query_ops>::PImpl;

    using GetSectionNameFn = const char* (*)(const vendor_tag_query_ops*, unsigned int);
    using GetTagNameFn = const char* (*)(const vendor_tag_query_ops*, unsigned int);
    using GetTagTypeFn = int (*)(const vendor_tag_query_ops*, unsigned int);
    using GetTagCountFn = int (*)(const vendor_tag_query_ops*);
    using GetTagsFn = void (*)(const vendor_tag_query_ops*, unsigned int*);

    GetSectionNameFn GetFnGetSectionName() const;
    void SetFnGetSectionName(GetSectionNameFn fn);
    GetTagNameFn GetFnGetTagName() const;
    void SetFnGetTagName(GetTagNameFn fn);
    GetTagTypeFn GetFnGetTagType() const;
    void SetFnGetTagType(GetTagTypeFn fn);
    GetTagCountFn GetFnGetTagCount() const;
    void SetFnGetTagCount(GetTagCountFn fn);
    GetTagsFn GetFnGetTags() const;
    void SetFnGetTags(GetTagsFn fn);
};

}  // namespace zelkov

#endif

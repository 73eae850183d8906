#include <android/wrappers/ZelCameraModule.h>

#include <cstring>

#include <android/wrappers/internal/Accessors.h>
#include <android/wrappers/internal/ModuleRecords.h>
#include <android/wrappers/internal/PImplImpl.h>

namespace zelkov {

template class PImpl<camera_info, camera_info>;
template class PImpl<camera_module, camera_module>;
template class PImpl<camera_module_callbacks, camera_module_callbacks>;
template class PImpl<vendor_tag_ops, vendor_tag_ops>;
template class PImpl<vendor_tag_query_ops, vendor_tag_query_ops>;

ZEL_FIELD_ACCESSORS(ZelCameraInfo, Facing, int, facing)
ZEL_FIELD_ACCESSORS(ZelCameraInfo, Orientation, int, orientation)
ZEL_FIELD_ACCESSORS(ZelCameraInfo, DeviceVersion, unsigned int, device_version)
ZEL_FIELD_ACCESSORS(ZelCameraInfo, StaticCameraCharact, const camera_metadata*, static_camera_characteristics)
ZEL_FIELD_ACCESSORS(ZelCameraInfo, ResourceCost, int, resource_cost)
ZEL_FIELD_ACCESSORS(ZelCameraInfo, ConflictingDevices, char**, conflicting_devices)
ZEL_FIELD_ACCESSORS(ZelCameraInfo, ConflictingDevicesLength, unsigned int, conflicting_devices_length)

hw_module_t* ZelCameraModule::GetHwModule() const { return &m_record->common; }
void ZelCameraModule::SetHwModule(hw_module_t* module) { std::memcpy(&m_record->common, module, sizeof(hw_module_t)); }
ZEL_SLOT_ACCESSORS(ZelCameraModule, GetNumberOfCameras, GetNumberOfCamerasFn, get_number_of_cameras)
ZEL_SLOT_ACCESSORS(ZelCameraModule, GetCameraInfo, GetCameraInfoFn, get_camera_info)
ZEL_SLOT_ACCESSORS(ZelCameraModule, SetCallback, SetCallbackFn, set_callbacks)
ZEL_SLOT_ACCESSORS(ZelCameraModule, GetVendorTagOps, GetVendorTagOpsFn, get_vendor_tag_ops)
ZEL_SLOT_ACCESSORS(ZelCameraModule, OpenLegacy, OpenLegacyFn, open_legacy)
ZEL_SLOT_ACCESSORS(ZelCameraModule, SetTorchMode, SetTorchModeFn, set_torch_mode)
ZEL_SLOT_ACCESSORS(ZelCameraModule, SetTorchModeStrength, SetTorchModeStrengthFn, set_torch_mode_strength)
ZEL_SLOT_ACCESSORS(ZelCameraModule, Init, InitFn, init)
ZEL_SLOT_ACCESSORS(ZelCameraModule, GetPhysicalCameraInfo, GetPhysicalCameraInfoFn, get_physical_camera_info)
ZEL_SLOT_ACCESSORS(ZelCameraModule, IsStreamCombinationSupported, IsStreamCombinationSupportedFn,
                   is_stream_combination_supported)
ZEL_SLOT_ACCESSORS(ZelCameraModule, NotifyDeviceStateChange, NotifyDeviceStateChangeFn, notify_device_state_change)
ZEL_SLOT_ACCESSORS(ZelCameraModule, GetCameraDeviceVersion, GetCameraDeviceVersionFn, get_camera_device_version)
ZEL_SLOT_ACCESSORS(ZelCameraModule, GetConcurrentStreamingCameraIds, GetConcurrentStreamingCameraIdsFn,
                   get_concurrent_streaming_camera_ids)
ZEL_SLOT_ACCESSORS(ZelCameraModule, IsConcurrentStreamCombinationSupported, IsConcurrentStreamCombinationSupportedFn,
                   is_concurrent_stream_combination_supported)

ZEL_SLOT_ACCESSORS(ZelCameraModuleCallbacks, CameraDeviceStatusChange, CameraDeviceStatusChangeFn,
                   camera_device_status_change)
ZEL_SLOT_ACCESSORS(ZelCameraModuleCallbacks, TorchModeStatusChange, TorchModeStatusChangeFn, torch_mode_status_change)

ZEL_SLOT_ACCESSORS(ZelVendorTagOps, GetTagCount, GetTagCountFn, get_tag_count)
ZEL_SLOT_ACCESSORS(ZelVendorTagOps, GetAllTags, GetAllTagsFn, get_all_tags)
ZEL_SLOT_ACCESSORS(ZelVendorTagOps, GetSectionName, GetSectionNameFn, get_section_name)
ZEL_SLOT_ACCESSORS(ZelVendorTagOps, GetTagName, GetTagNameFn, get_tag_name)
ZEL_SLOT_ACCESSORS(ZelVendorTagOps, GetTagType, GetTagTypeFn, get_tag_type)

ZEL_SLOT_ACCESSORS(ZelVendorTagQueryOps, GetSectionName, GetSectionNameFn, get_camera_vendor_section_name)
ZEL_SLOT_ACCESSORS(ZelVendorTagQueryOps, GetTagName, GetTagNameFn, get_camera_vendor_tag_name)
ZEL_SLOT_ACCESSORS(ZelVendorTagQueryOps, GetTagType, GetTagTypeFn, get_camera_vendor_tag_type)
ZEL_SLOT_ACCESSORS(ZelVendorTagQueryOps, GetTagCount, GetTagCountFn, get_camera_vendor_tag_count)
ZEL_SLOT_ACCESSORS(ZelVendorTagQueryOps, GetTags, GetTagsFn, get_camera_vendor_tags)

}  // namespace zelkov

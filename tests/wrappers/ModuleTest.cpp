// Module, camera-info, vendor-tag and stream-combination wrappers: every
// field and slot at its byte offset, and the copying setters.
#include <algorithm>
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include <android/wrappers/ZelCameraModule.h>
#include <android/wrappers/ZelCameraStreamCombination.h>
#include <android/wrappers/ZelHwModule.h>
#include <android/wrappers/internal/ModuleRecords.h>

#include "FieldProbe.h"

using namespace zelkov;
using namespace zelkov_test;

namespace {

TEST(ModuleLayout, EveryAccessorPairReachesExactlyItsFieldsBytes) {
    ExpectEachFieldAtItsBytes({
        FIELD(ZelHwModule, Tag, 0, hw_module_t, tag),
        FIELD(ZelHwModule, ModuleApiVersion, 4, hw_module_t, module_api_version),
        FIELD(ZelHwModule, HalApiVersion, 6, hw_module_t, hal_api_version),
        FIELD(ZelHwModule, Id, 8, hw_module_t, id),
        FIELD(ZelHwModule, Name, 12, hw_module_t, name),
        FIELD(ZelHwModule, Author, 16, hw_module_t, author),
        FIELD(ZelHwModule, Methods, 20, hw_module_t, methods),
        FIELD(ZelHwModule, Dso, 24, hw_module_t, dso),
        SLOT(ZelHwModuleMethods, Open, 0, hw_module_methods_t, open),
        FIELD(ZelHwDevice, Tag, 0, hw_device_t, tag),
        FIELD(ZelHwDevice, Version, 4, hw_device_t, version),
        FIELD(ZelHwDevice, Module, 8, hw_device_t, module),
        SLOT(ZelHwDevice, Close, 60, hw_device_t, close),
        SLOT(ZelCameraModule, GetNumberOfCameras, 128, camera_module, get_number_of_cameras),
        SLOT(ZelCameraModule, GetCameraInfo, 132, camera_module, get_camera_info),
        SLOT(ZelCameraModule, SetCallback, 136, camera_module, set_callbacks),
        SLOT(ZelCameraModule, GetVendorTagOps, 140, camera_module, get_vendor_tag_ops),
        SLOT(ZelCameraModule, OpenLegacy, 144, camera_module, open_legacy),
        SLOT(ZelCameraModule, SetTorchMode, 148, camera_module, set_torch_mode),
        SLOT(ZelCameraModule, SetTorchModeStrength, 152, camera_module, set_torch_mode_strength),
        SLOT(ZelCameraModule, Init, 156, camera_module, init),
        SLOT(ZelCameraModule, GetPhysicalCameraInfo, 160, camera_module, get_physical_camera_info),
        SLOT(ZelCameraModule, IsStreamCombinationSupported, 164, camera_module, is_stream_combination_supported),
        SLOT(ZelCameraModule, NotifyDeviceStateChange, 168, camera_module, notify_device_state_change),
        SLOT(ZelCameraModule, GetCameraDeviceVersion, 172, camera_module, get_camera_device_version),
        SLOT(ZelCameraModule, GetConcurrentStreamingCameraIds, 176, camera_module, get_concurrent_streaming_camera_ids),
        SLOT(ZelCameraModule, IsConcurrentStreamCombinationSupported, 180, camera_module,
             is_concurrent_stream_combination_supported),
        SLOT(ZelCameraModuleCallbacks, CameraDeviceStatusChange, 0, camera_module_callbacks,
             camera_device_status_change),
        SLOT(ZelCameraModuleCallbacks, TorchModeStatusChange, 4, camera_module_callbacks, torch_mode_status_change),
        FIELD(ZelCameraInfo, Facing, 0, camera_info, facing),
        FIELD(ZelCameraInfo, Orientation, 4, camera_info, orientation),
        FIELD(ZelCameraInfo, DeviceVersion, 8, camera_info, device_version),
        FIELD(ZelCameraInfo, StaticCameraCharact, 12, camera_info, static_camera_characteristics),
        FIELD(ZelCameraInfo, ResourceCost, 16, camera_info, resource_cost),
        FIELD(ZelCameraInfo, ConflictingDevices, 20, camera_info, conflicting_devices),
        FIELD(ZelCameraInfo, ConflictingDevicesLength, 24, camera_info, conflicting_devices_length),
        SLOT(ZelVendorTagOps, GetTagCount, 0, vendor_tag_ops, get_tag_count),
        SLOT(ZelVendorTagOps, GetAllTags, 4, vendor_tag_ops, get_all_tags),
        SLOT(ZelVendorTagOps, GetSectionName, 8, vendor_tag_ops, get_section_name),
        SLOT(ZelVendorTagOps, GetTagName, 12, vendor_tag_ops, get_tag_name),
        SLOT(ZelVendorTagOps, GetTagType, 16, vendor_tag_ops, get_tag_type),
        SLOT(ZelVendorTagQueryOps, GetSectionName, 0, vendor_tag_query_ops, get_camera_vendor_section_name),
        SLOT(ZelVendorTagQueryOps, GetTagName, 4, vendor_tag_query_ops, get_camera_vendor_tag_name),
        SLOT(ZelVendorTagQueryOps, GetTagType, 8, vendor_tag_query_ops, get_camera_vendor_tag_type),
        SLOT(ZelVendorTagQueryOps, GetTagCount, 12, vendor_tag_query_ops, get_camera_vendor_tag_count),
        SLOT(ZelVendorTagQueryOps, GetTags, 16, vendor_tag_query_ops, get_camera_vendor_tags),
        FIELD(ZelCameraStream, StreamType, 0, camera_stream, stream_type),
        FIELD(ZelCameraStream, Width, 4, camera_stream, width),
        FIELD(ZelCameraStream, Height, 8, camera_stream, height),
        FIELD(ZelCameraStream, Format, 12, camera_stream, format),
        FIELD(ZelCameraStream, Usage, 16, camera_stream, usage),
        FIELD(ZelCameraStream, DataSpace, 20, camera_stream, data_space),
        FIELD(ZelCameraStream, Rotation, 24, camera_stream, rotation),
        FIELD(ZelCameraStream, PhysicalCameraId, 28, camera_stream, physical_camera_id),
        FIELD(ZelCameraStreamCombination, NumStreams, 0, camera_stream_combination, num_streams),
        FIELD(ZelCameraStreamCombination, Streams, 4, camera_stream_combination, streams),
        FIELD(ZelCameraStreamCombination, OperationMode, 8, camera_stream_combination, operation_mode),
        FIELD(ZelCameraIdStreamCombination, FwkCameraId, 0, cameraid_stream_combination, camera_id),
        FIELD(ZelCameraIdStreamCombination, StreamConfig, 4, cameraid_stream_combination, stream_configuration),
        FIELD(ZelConCurrentCameraCombination, NumCameras, 0, concurrent_camera_combination, num_cameras),
    });
}

TEST(ModuleCopies, ArraysAndTheEmbeddedHwModuleAreCopiedWholeAndNoMore) {
    // Sources one element longer than the copy, so an overrun shows.
    std::vector<unsigned int> words(13, 0x5A5A5A5A);
    EXPECT_EQ(WrittenBy<ZelHwDevice>([&](auto& device) { device.SetReserved(words.data()); }),
              Span(FIELD_AT(12, hw_device_t, reserved), 12 * sizeof(unsigned int)));
    // A real string's address among the copied bytes.
    ByteProbe hwModule(ZelHwModule::Size(), kSourceFill);
    Borrow<ZelHwModule>(hwModule).SetName("camera");
    EXPECT_EQ(WrittenBy<ZelCameraModule>([&](auto& m) { m.SetHwModule(Borrow<ZelHwModule>(hwModule).Ptr()); }),
              Span(0, ZelHwModule::Size()));
    // The id array holds two entries: a larger count copies two.
    const std::size_t idsAt = FIELD_AT(4, concurrent_camera_combination, camera_ids);
    for (unsigned int count : {0u, 1u, 2u, 3u}) {
        EXPECT_EQ(WrittenBy<ZelConCurrentCameraCombination>([&](auto& c) {
                      c.SetNumCameras(count);
                      c.SetConCurrentCamArray(words.data());
                  }),
                  Span(0, idsAt + std::min(count, 2u) * sizeof(unsigned int)))
            << count;
    }
}

TEST(ModuleViews, PointIntoTheirRecord) {
    ZelHwDevice device;
    EXPECT_EQ(device.GetNumReserved(), 12u);
    EXPECT_EQ(OffsetIn(device.Ptr(), device.GetReserved()), FIELD_AT(12, hw_device_t, reserved));
    ZelCameraModule module;
    EXPECT_EQ(static_cast<void*>(module.GetHwModule()), static_cast<void*>(module.Ptr()));
    ZelConCurrentCameraCombination combination;
    EXPECT_EQ(OffsetIn(combination.Ptr(), combination.GetConCurrentCamArray()),
              FIELD_AT(4, concurrent_camera_combination, camera_ids));
}

}  // namespace

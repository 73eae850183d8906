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

TEST(ModuleLayout, HwModuleFields) {
    using W = ZelHwModule;
    using R = hw_module_t;
    ExpectEachFieldAtItsBytes<W>({
        FIELD(W, Tag, 0, R, tag),
        // Two 16-bit versions side by side: each setter writes its own two bytes.
        FIELD(W, ModuleApiVersion, 4, R, module_api_version),
        FIELD(W, HalApiVersion, 6, R, hal_api_version),
        FIELD(W, Id, 8, R, id),
        FIELD(W, Name, 12, R, name),
        FIELD(W, Author, 16, R, author),
        FIELD(W, Methods, 20, R, methods),
        FIELD(W, Dso, 24, R, dso),
    });
    ExpectEachFieldAtItsBytes<ZelHwModuleMethods>({
        SLOT(ZelHwModuleMethods, Open, 0, hw_module_methods_t, open),
    });
}

TEST(ModuleLayout, HwDeviceFields) {
    using W = ZelHwDevice;
    using R = hw_device_t;
    ExpectEachFieldAtItsBytes<W>({
        FIELD(W, Tag, 0, R, tag),
        FIELD(W, Version, 4, R, version),
        FIELD(W, Module, 8, R, module),
        SLOT(W, Close, 60, R, close),
    });
}

TEST(ModuleLayout, CameraModuleSlotsFollowTheEmbeddedHwModule) {
    using W = ZelCameraModule;
    using R = camera_module;
    ExpectEachFieldAtItsBytes<W>({
        SLOT(W, GetNumberOfCameras, 128, R, get_number_of_cameras),
        SLOT(W, GetCameraInfo, 132, R, get_camera_info),
        SLOT(W, SetCallback, 136, R, set_callbacks),
        SLOT(W, GetVendorTagOps, 140, R, get_vendor_tag_ops),
        SLOT(W, OpenLegacy, 144, R, open_legacy),
        SLOT(W, SetTorchMode, 148, R, set_torch_mode),
        SLOT(W, SetTorchModeStrength, 152, R, set_torch_mode_strength),
        SLOT(W, Init, 156, R, init),
        SLOT(W, GetPhysicalCameraInfo, 160, R, get_physical_camera_info),
        SLOT(W, IsStreamCombinationSupported, 164, R, is_stream_combination_supported),
        SLOT(W, NotifyDeviceStateChange, 168, R, notify_device_state_change),
        SLOT(W, GetCameraDeviceVersion, 172, R, get_camera_device_version),
        SLOT(W, GetConcurrentStreamingCameraIds, 176, R, get_concurrent_streaming_camera_ids),
        SLOT(W, IsConcurrentStreamCombinationSupported, 180, R, is_concurrent_stream_combination_supported),
    });
    using C = camera_module_callbacks;
    ExpectEachFieldAtItsBytes<ZelCameraModuleCallbacks>({
        SLOT(ZelCameraModuleCallbacks, CameraDeviceStatusChange, 0, C, camera_device_status_change),
        SLOT(ZelCameraModuleCallbacks, TorchModeStatusChange, 4, C, torch_mode_status_change),
    });
}

TEST(ModuleLayout, CameraInfoFields) {
    using W = ZelCameraInfo;
    using R = camera_info;
    ExpectEachFieldAtItsBytes<W>({
        FIELD(W, Facing, 0, R, facing),
        FIELD(W, Orientation, 4, R, orientation),
        FIELD(W, DeviceVersion, 8, R, device_version),
        FIELD(W, StaticCameraCharact, 12, R, static_camera_characteristics),
        FIELD(W, ResourceCost, 16, R, resource_cost),
        FIELD(W, ConflictingDevices, 20, R, conflicting_devices),
        // A size_t: 32 bits on the target, wider on a 64-bit host.
        FIELD(W, ConflictingDevicesLength, 24, R, conflicting_devices_length),
    });
}

TEST(ModuleLayout, VendorTagTablesKeepTheirOwnSlotOrders) {
    using O = ZelVendorTagOps;
    using R = vendor_tag_ops;
    ExpectEachFieldAtItsBytes<O>({
        SLOT(O, GetTagCount, 0, R, get_tag_count),
        SLOT(O, GetAllTags, 4, R, get_all_tags),
        SLOT(O, GetSectionName, 8, R, get_section_name),
        SLOT(O, GetTagName, 12, R, get_tag_name),
        SLOT(O, GetTagType, 16, R, get_tag_type),
    });
    using Q = ZelVendorTagQueryOps;
    using S = vendor_tag_query_ops;
    ExpectEachFieldAtItsBytes<Q>({
        SLOT(Q, GetSectionName, 0, S, get_section_name),
        SLOT(Q, GetTagName, 4, S, get_tag_name),
        SLOT(Q, GetTagType, 8, S, get_tag_type),
        SLOT(Q, GetTagCount, 12, S, get_tag_count),
        SLOT(Q, GetTags, 16, S, get_tags),
    });
}

TEST(ModuleLayout, StreamCombinationFields) {
    using W = ZelCameraStream;
    using R = camera_stream;
    ExpectEachFieldAtItsBytes<W>({
        FIELD(W, StreamType, 0, R, stream_type),
        FIELD(W, Width, 4, R, width),
        FIELD(W, Height, 8, R, height),
        FIELD(W, Format, 12, R, format),
        // 32-bit usage, unlike the HAL3 stream's 64-bit one.
        FIELD(W, Usage, 16, R, usage),
        FIELD(W, DataSpace, 20, R, data_space),
        FIELD(W, Rotation, 24, R, rotation),
        FIELD(W, PhysicalCameraId, 28, R, physical_camera_id),
    });
    using C = camera_stream_combination;
    ExpectEachFieldAtItsBytes<ZelCameraStreamCombination>({
        FIELD(ZelCameraStreamCombination, NumStreams, 0, C, num_streams),
        FIELD(ZelCameraStreamCombination, Streams, 4, C, streams),
        FIELD(ZelCameraStreamCombination, OperationMode, 8, C, operation_mode),
    });
    using I = cameraid_stream_combination;
    ExpectEachFieldAtItsBytes<ZelCameraIdStreamCombination>({
        FIELD(ZelCameraIdStreamCombination, FwkCameraId, 0, I, camera_id),
        FIELD(ZelCameraIdStreamCombination, StreamConfig, 4, I, stream_configuration),
    });
    ExpectEachFieldAtItsBytes<ZelConCurrentCameraCombination>({
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

// Module, camera-info, vendor-tag and stream-combination wrappers: sizes,
// every field and slot at its byte offset, and the copying setters.
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

TEST(ModuleRecords, SizesAreTheTargetAbi) {
    ExpectSizes({
        {"camera info", ZelCameraInfo::Size(), 28, sizeof(camera_info)},
        {"hw device", ZelHwDevice::Size(), 64, sizeof(hw_device_t)},
        {"hw module methods", ZelHwModuleMethods::Size(), 4, sizeof(hw_module_methods_t)},
        {"hw module", ZelHwModule::Size(), 128, sizeof(hw_module_t)},
        {"camera module", ZelCameraModule::Size(), 188, sizeof(camera_module)},
        {"camera stream", ZelCameraStream::Size(), 32, sizeof(camera_stream)},
        {"module callbacks", ZelCameraModuleCallbacks::Size(), 8, sizeof(camera_module_callbacks)},
        {"concurrent combination", ZelConCurrentCameraCombination::Size(), 12, sizeof(concurrent_camera_combination)},
        {"stream combination", ZelCameraStreamCombination::Size(), 12, sizeof(camera_stream_combination)},
        {"camera id combination", ZelCameraIdStreamCombination::Size(), 8, sizeof(cameraid_stream_combination)},
        {"vendor tag ops", ZelVendorTagOps::Size(), 52, sizeof(vendor_tag_ops)},
        {"vendor tag query ops", ZelVendorTagQueryOps::Size(), 20, sizeof(vendor_tag_query_ops)},
    });
}

TEST(ModuleLayout, HwModuleFields) {
    using W = ZelHwModule;
    using R = hw_module_t;
    ExpectEachFieldAtItsBytes<W>({
        Field("Tag", FIELD_AT(0, R, tag), &W::GetTag, &W::SetTag, 0x11121314u),
        // Two 16-bit versions side by side: each setter writes its own two bytes.
        Field("ModuleApiVersion", FIELD_AT(4, R, module_api_version), &W::GetModuleApiVersion,
              &W::SetModuleApiVersion, static_cast<unsigned short>(0x2122)),
        Field("HalApiVersion", FIELD_AT(6, R, hal_api_version), &W::GetHalApiVersion, &W::SetHalApiVersion,
              static_cast<unsigned short>(0x3132)),
        Field("Id", FIELD_AT(8, R, id), &W::GetId, &W::SetId, FakePtr<const char*>(0x41424344)),
        Field("Name", FIELD_AT(12, R, name), &W::GetName, &W::SetName, FakePtr<const char*>(0x51525354)),
        Field("Author", FIELD_AT(16, R, author), &W::GetAuthor, &W::SetAuthor, FakePtr<const char*>(0x61626364)),
        Field("Methods", FIELD_AT(20, R, methods), &W::GetMethods, &W::SetMethods,
              FakePtr<hw_module_methods_t*>(0x71727374)),
        Field("Dso", FIELD_AT(24, R, dso), &W::GetDso, &W::SetDso, FakePtr<void*>(0x01020304)),
    });
    ExpectEachFieldAtItsBytes<ZelHwModuleMethods>({
        Field("Methods.Open", FIELD_AT(0, hw_module_methods_t, open), &ZelHwModuleMethods::GetFnOpen,
              &ZelHwModuleMethods::SetFnOpen, FakePtr<ZelHwModuleMethods::OpenFn>(0x11121314)),
    });
}

TEST(ModuleLayout, HwDeviceFields) {
    using W = ZelHwDevice;
    using R = hw_device_t;
    ExpectEachFieldAtItsBytes<W>({
        Field("Tag", FIELD_AT(0, R, tag), &W::GetTag, &W::SetTag, 0x11121314u),
        Field("Version", FIELD_AT(4, R, version), &W::GetVersion, &W::SetVersion, 0x21222324u),
        Field("Module", FIELD_AT(8, R, module), &W::GetModule, &W::SetModule, FakePtr<hw_module_t*>(0x31323334)),
        Field("Close", FIELD_AT(60, R, close), &W::GetFnClose, &W::SetFnClose, FakePtr<W::CloseFn>(0x41424344)),
    });
}

TEST(ModuleLayout, CameraModuleSlotsFollowTheEmbeddedHwModule) {
    using W = ZelCameraModule;
    using R = camera_module;
    ExpectEachFieldAtItsBytes<W>({
        Field("GetNumberOfCameras", FIELD_AT(128, R, get_number_of_cameras), &W::GetFnGetNumberOfCameras,
              &W::SetFnGetNumberOfCameras, FakePtr<W::GetNumberOfCamerasFn>(0x01020304)),
        Field("GetCameraInfo", FIELD_AT(132, R, get_camera_info), &W::GetFnGetCameraInfo, &W::SetFnGetCameraInfo,
              FakePtr<W::GetCameraInfoFn>(0x11121314)),
        Field("SetCallback", FIELD_AT(136, R, set_callbacks), &W::GetFnSetCallback, &W::SetFnSetCallback,
              FakePtr<W::SetCallbackFn>(0x21222324)),
        Field("GetVendorTagOps", FIELD_AT(140, R, get_vendor_tag_ops), &W::GetFnGetVendorTagOps,
              &W::SetFnGetVendorTagOps, FakePtr<W::GetVendorTagOpsFn>(0x31323334)),
        Field("OpenLegacy", FIELD_AT(144, R, open_legacy), &W::GetFnOpenLegacy, &W::SetFnOpenLegacy,
              FakePtr<W::OpenLegacyFn>(0x41424344)),
        Field("SetTorchMode", FIELD_AT(148, R, set_torch_mode), &W::GetFnSetTorchMode, &W::SetFnSetTorchMode,
              FakePtr<W::SetTorchModeFn>(0x51525354)),
        Field("SetTorchModeStrength", FIELD_AT(152, R, set_torch_mode_strength), &W::GetFnSetTorchModeStrength,
              &W::SetFnSetTorchModeStrength, FakePtr<W::SetTorchModeStrengthFn>(0x61626364)),
        Field("Init", FIELD_AT(156, R, init), &W::GetFnInit, &W::SetFnInit, FakePtr<W::InitFn>(0x71727374)),
        Field("GetPhysicalCameraInfo", FIELD_AT(160, R, get_physical_camera_info), &W::GetFnGetPhysicalCameraInfo,
              &W::SetFnGetPhysicalCameraInfo, FakePtr<W::GetPhysicalCameraInfoFn>(0x08090A0B)),
        Field("IsStreamCombinationSupported", FIELD_AT(164, R, is_stream_combination_supported),
              &W::GetFnIsStreamCombinationSupported, &W::SetFnIsStreamCombinationSupported,
              FakePtr<W::IsStreamCombinationSupportedFn>(0x18191A1B)),
        Field("NotifyDeviceStateChange", FIELD_AT(168, R, notify_device_state_change),
              &W::GetFnNotifyDeviceStateChange, &W::SetFnNotifyDeviceStateChange,
              FakePtr<W::NotifyDeviceStateChangeFn>(0x28292A2B)),
        Field("GetCameraDeviceVersion", FIELD_AT(172, R, get_camera_device_version), &W::GetFnGetCameraDeviceVersion,
              &W::SetFnGetCameraDeviceVersion, FakePtr<W::GetCameraDeviceVersionFn>(0x38393A3B)),
        Field("GetConcurrentStreamingCameraIds", FIELD_AT(176, R, get_concurrent_streaming_camera_ids),
              &W::GetFnGetConcurrentStreamingCameraIds, &W::SetFnGetConcurrentStreamingCameraIds,
              FakePtr<W::GetConcurrentStreamingCameraIdsFn>(0x48494A4B)),
        Field("IsConcurrentStreamCombinationSupported", FIELD_AT(180, R, is_concurrent_stream_combination_supported),
              &W::GetFnIsConcurrentStreamCombinationSupported, &W::SetFnIsConcurrentStreamCombinationSupported,
              FakePtr<W::IsConcurrentStreamCombinationSupportedFn>(0x58595A5B)),
    });
    using C = camera_module_callbacks;
    ExpectEachFieldAtItsBytes<ZelCameraModuleCallbacks>({
        Field("CameraDeviceStatusChange", FIELD_AT(0, C, camera_device_status_change),
              &ZelCameraModuleCallbacks::GetFnCameraDeviceStatusChange,
              &ZelCameraModuleCallbacks::SetFnCameraDeviceStatusChange,
              FakePtr<ZelCameraModuleCallbacks::CameraDeviceStatusChangeFn>(0x11121314)),
        Field("TorchModeStatusChange", FIELD_AT(4, C, torch_mode_status_change),
              &ZelCameraModuleCallbacks::GetFnTorchModeStatusChange,
              &ZelCameraModuleCallbacks::SetFnTorchModeStatusChange,
              FakePtr<ZelCameraModuleCallbacks::TorchModeStatusChangeFn>(0x21222324)),
    });
}

TEST(ModuleLayout, CameraInfoFields) {
    using W = ZelCameraInfo;
    using R = camera_info;
    ExpectEachFieldAtItsBytes<W>({
        Field("Facing", FIELD_AT(0, R, facing), &W::GetFacing, &W::SetFacing, 0x11121314),
        Field("Orientation", FIELD_AT(4, R, orientation), &W::GetOrientation, &W::SetOrientation, 0x21222324),
        Field("DeviceVersion", FIELD_AT(8, R, device_version), &W::GetDeviceVersion, &W::SetDeviceVersion,
              0x31323334u),
        Field("StaticCameraCharact", FIELD_AT(12, R, static_camera_characteristics), &W::GetStaticCameraCharact,
              &W::SetStaticCameraCharact, FakePtr<const camera_metadata*>(0x41424344)),
        Field("ResourceCost", FIELD_AT(16, R, resource_cost), &W::GetResourceCost, &W::SetResourceCost, 0x51525354),
        Field("ConflictingDevices", FIELD_AT(20, R, conflicting_devices), &W::GetConflictingDevices,
              &W::SetConflictingDevices, FakePtr<char**>(0x61626364)),
        // A size_t: 32 bits on the target, wider on a 64-bit host.
        Field("ConflictingDevicesLength", FIELD_AT(24, R, conflicting_devices_length),
              &W::GetConflictingDevicesLength, &W::SetConflictingDevicesLength, 0x71727374u,
              sizeof(R::conflicting_devices_length)),
    });
}

TEST(ModuleLayout, VendorTagTablesKeepTheirOwnSlotOrders) {
    using O = ZelVendorTagOps;
    using R = vendor_tag_ops;
    ExpectEachFieldAtItsBytes<O>({
        Field("Ops.GetTagCount", FIELD_AT(0, R, get_tag_count), &O::GetFnGetTagCount, &O::SetFnGetTagCount,
              FakePtr<O::GetTagCountFn>(0x11121314)),
        Field("Ops.GetAllTags", FIELD_AT(4, R, get_all_tags), &O::GetFnGetAllTags, &O::SetFnGetAllTags,
              FakePtr<O::GetAllTagsFn>(0x21222324)),
        Field("Ops.GetSectionName", FIELD_AT(8, R, get_section_name), &O::GetFnGetSectionName,
              &O::SetFnGetSectionName, FakePtr<O::GetSectionNameFn>(0x31323334)),
        Field("Ops.GetTagName", FIELD_AT(12, R, get_tag_name), &O::GetFnGetTagName, &O::SetFnGetTagName,
              FakePtr<O::GetTagNameFn>(0x41424344)),
        Field("Ops.GetTagType", FIELD_AT(16, R, get_tag_type), &O::GetFnGetTagType, &O::SetFnGetTagType,
              FakePtr<O::GetTagTypeFn>(0x51525354)),
    });
    using Q = ZelVendorTagQueryOps;
    using S = vendor_tag_query_ops;
    ExpectEachFieldAtItsBytes<Q>({
        Field("Query.GetSectionName", FIELD_AT(0, S, get_section_name), &Q::GetFnGetSectionName,
              &Q::SetFnGetSectionName, FakePtr<Q::GetSectionNameFn>(0x11121314)),
        Field("Query.GetTagName", FIELD_AT(4, S, get_tag_name), &Q::GetFnGetTagName, &Q::SetFnGetTagName,
              FakePtr<Q::GetTagNameFn>(0x21222324)),
        Field("Query.GetTagType", FIELD_AT(8, S, get_tag_type), &Q::GetFnGetTagType, &Q::SetFnGetTagType,
              FakePtr<Q::GetTagTypeFn>(0x31323334)),
        Field("Query.GetTagCount", FIELD_AT(12, S, get_tag_count), &Q::GetFnGetTagCount, &Q::SetFnGetTagCount,
              FakePtr<Q::GetTagCountFn>(0x41424344)),
        Field("Query.GetTags", FIELD_AT(16, S, get_tags), &Q::GetFnGetTags, &Q::SetFnGetTags,
              FakePtr<Q::GetTagsFn>(0x51525354)),
    });
}

TEST(VendorTagTables, TagCountOfTheQueryTableSitsWhereTheModuleTableKeepsTagName) {
    ZelVendorTagOps ops;
    ZelVendorTagQueryOps query;
    ops.SetFnGetTagName(FakePtr<ZelVendorTagOps::GetTagNameFn>(0x1000));
    query.SetFnGetTagCount(FakePtr<ZelVendorTagQueryOps::GetTagCountFn>(0x2000));
    // The fourth slot of each table.
    EXPECT_EQ(reinterpret_cast<void**>(ops.Ptr())[3], FakePtr<void*>(0x1000));
    EXPECT_EQ(reinterpret_cast<void**>(query.Ptr())[3], FakePtr<void*>(0x2000));
    EXPECT_EQ(ops.GetFnGetTagCount(), nullptr);
    EXPECT_EQ(query.GetFnGetTagName(), nullptr);
}

TEST(ModuleLayout, StreamCombinationFields) {
    using W = ZelCameraStream;
    using R = camera_stream;
    ExpectEachFieldAtItsBytes<W>({
        Field("StreamType", FIELD_AT(0, R, stream_type), &W::GetStreamType, &W::SetStreamType, 0x01020304),
        Field("Width", FIELD_AT(4, R, width), &W::GetWidth, &W::SetWidth, 0x11121314u),
        Field("Height", FIELD_AT(8, R, height), &W::GetHeight, &W::SetHeight, 0x21222324u),
        Field("Format", FIELD_AT(12, R, format), &W::GetFormat, &W::SetFormat, 0x31323334),
        // 32-bit usage, unlike the HAL3 stream's 64-bit one.
        Field("Usage", FIELD_AT(16, R, usage), &W::GetUsage, &W::SetUsage, 0x41424344u),
        Field("DataSpace", FIELD_AT(20, R, data_space), &W::GetDataSpace, &W::SetDataSpace, 0x51525354),
        Field("Rotation", FIELD_AT(24, R, rotation), &W::GetRotation, &W::SetRotation, 0x61626364),
        Field("PhysicalCameraId", FIELD_AT(28, R, physical_camera_id), &W::GetPhysicalCameraId,
              &W::SetPhysicalCameraId, FakePtr<const char*>(0x71727374)),
    });
    using C = camera_stream_combination;
    ExpectEachFieldAtItsBytes<ZelCameraStreamCombination>({
        Field("Combination.NumStreams", FIELD_AT(0, C, num_streams), &ZelCameraStreamCombination::GetNumStreams,
              &ZelCameraStreamCombination::SetNumStreams, 0x11121314u),
        Field("Combination.Streams", FIELD_AT(4, C, streams), &ZelCameraStreamCombination::GetStreams,
              &ZelCameraStreamCombination::SetStreams, FakePtr<camera_stream*>(0x21222324)),
        Field("Combination.OperationMode", FIELD_AT(8, C, operation_mode),
              &ZelCameraStreamCombination::GetOperationMode, &ZelCameraStreamCombination::SetOperationMode,
              0x31323334u),
    });
    using I = cameraid_stream_combination;
    ExpectEachFieldAtItsBytes<ZelCameraIdStreamCombination>({
        Field("IdCombination.FwkCameraId", FIELD_AT(0, I, camera_id), &ZelCameraIdStreamCombination::GetFwkCameraId,
              &ZelCameraIdStreamCombination::SetFwkCameraId, 0x11121314u),
        Field("IdCombination.StreamConfig", FIELD_AT(4, I, stream_configuration),
              &ZelCameraIdStreamCombination::GetStreamConfig, &ZelCameraIdStreamCombination::SetStreamConfig,
              FakePtr<camera_stream_combination*>(0x21222324)),
    });
    ExpectEachFieldAtItsBytes<ZelConCurrentCameraCombination>({
        Field("Concurrent.NumCameras", FIELD_AT(0, concurrent_camera_combination, num_cameras),
              &ZelConCurrentCameraCombination::GetNumCameras, &ZelConCurrentCameraCombination::SetNumCameras,
              0x11121314u),
    });
}

TEST(HwDeviceReserved, TwelveWordsCopiedInPlace) {
    ByteProbe bytes(ZelHwDevice::Size(), kPattern);
    auto device = Borrow<ZelHwDevice>(bytes);
    const std::size_t reservedAt = FIELD_AT(12, hw_device_t, reserved);
    EXPECT_EQ(device.GetNumReserved(), 12u);
    EXPECT_EQ(OffsetIn(bytes.Data(), device.GetReserved()), reservedAt);

    // Twelve words and a thirteenth that must not arrive.
    std::vector<unsigned int> values;
    for (unsigned int i = 1; i <= 13; ++i) values.push_back(0x01010101u * i);
    device.SetReserved(values.data());
    EXPECT_EQ(bytes.ChangedOffsets(), Span(reservedAt, 12 * sizeof(unsigned int)));
    for (std::size_t i = 0; i < 12; ++i) EXPECT_EQ(device.GetReserved()[i], values[i]);
}

TEST(CameraModuleHwModule, SetHwModuleCopiesTheWholeHwModuleByValue) {
    ByteProbe bytes(ZelCameraModule::Size(), kPattern);
    auto module = Borrow<ZelCameraModule>(bytes);
    EXPECT_EQ(static_cast<void*>(module.GetHwModule()), static_cast<void*>(module.Ptr()));

    ByteProbe sourceBytes(ZelHwModule::Size(), kSourceFill);
    auto source = Borrow<ZelHwModule>(sourceBytes);
    source.SetModuleApiVersion(0x204);
    source.SetName("camera");
    module.SetHwModule(source.Ptr());
    EXPECT_EQ(bytes.ChangedOffsets(), Span(0, ZelHwModule::Size()));  // the fourteen slots are untouched

    ZelHwModule embedded(module.GetHwModule(), false);
    source.SetModuleApiVersion(0x100);
    source.SetName("other");
    EXPECT_EQ(embedded.GetModuleApiVersion(), 0x204);
    EXPECT_STREQ(embedded.GetName(), "camera");
}

TEST(ConCurrentCamArray, CopiesAsManyIdsAsTheCountSays) {
    const std::size_t idsAt = FIELD_AT(4, concurrent_camera_combination, camera_ids);
    struct Case {
        unsigned int count;
        std::size_t idsWritten;
    };
    // Above two the record has no room: the copy stops at its two entries.
    for (const Case& c : {Case{0, 0}, Case{1, 1}, Case{2, 2}, Case{3, 2}}) {
        SCOPED_TRACE(c.count);
        ByteProbe bytes(ZelConCurrentCameraCombination::Size(), kPattern);
        bytes.Write(FIELD_AT(0, concurrent_camera_combination, num_cameras), c.count);
        auto combination = Borrow<ZelConCurrentCameraCombination>(bytes);
        std::vector<unsigned int> values = {0x11121314u, 0x21222324u, 0x31323334u};
        values.resize(c.count < 2 ? 2 : c.count);

        combination.SetConCurrentCamArray(values.data());
        EXPECT_EQ(bytes.ChangedOffsets(), Span(idsAt, c.idsWritten * sizeof(unsigned int)));
        EXPECT_EQ(OffsetIn(bytes.Data(), combination.GetConCurrentCamArray()), idsAt);
        for (std::size_t i = 0; i < c.idsWritten; ++i) EXPECT_EQ(combination.GetConCurrentCamArray()[i], values[i]);
    }
}

}  // namespace

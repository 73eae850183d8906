// Notification, device and operation-table wrappers: sizes, every field and
// slot at its byte offset, the message body shared by the error and shutter
// views, and the copying setters.
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include <android/wrappers/ZelCamera3Device.h>
#include <android/wrappers/ZelCamera3Notify.h>
#include <android/wrappers/ZelHwModule.h>
#include <android/wrappers/internal/DeviceRecords.h>

#include "FieldProbe.h"

using namespace zelkov;
using namespace zelkov_test;

namespace {

TEST(DeviceRecords, SizesAreTheTargetAbi) {
    ExpectSizes({
        {"shutter message", ZelCamera3ShutterMsg::Size(), 16, sizeof(camera3_shutter_msg)},
        {"error message", ZelCamera3ErrorMsg::Size(), 12, sizeof(camera3_error_msg)},
        {"notify message", ZelCamera3NotifyMsg::Size(), 40, sizeof(camera3_notify_msg)},
        {"callback ops", ZelCamera3CallbackOps::Size(), 16, sizeof(camera3_callback_ops)},
        {"device ops", ZelCamera3DeviceOps::Size(), 64, sizeof(camera3_device_ops)},
        {"device", ZelCamera3Device::Size(), 72, sizeof(camera3_device)},
    });
}

TEST(DeviceLayout, MessageFields) {
    using S = camera3_shutter_msg;
    ExpectEachFieldAtItsBytes<ZelCamera3ShutterMsg>({
        Field("Shutter.FrameNumber", FIELD_AT(0, S, frame_number), &ZelCamera3ShutterMsg::GetFrameNumber,
              &ZelCamera3ShutterMsg::SetFrameNumber, 0x11121314u),
        // 64 bits, aligned to 8: four padding bytes precede it.
        Field("Shutter.Timestamp", FIELD_AT(8, S, timestamp), &ZelCamera3ShutterMsg::GetTimestamp,
              &ZelCamera3ShutterMsg::SetTimestamp, 0x2122232425262728ull),
    });
    using E = camera3_error_msg;
    ExpectEachFieldAtItsBytes<ZelCamera3ErrorMsg>({
        Field("Error.FrameNumber", FIELD_AT(0, E, frame_number), &ZelCamera3ErrorMsg::GetFrameNumber,
              &ZelCamera3ErrorMsg::SetFrameNumber, 0x11121314u),
        Field("Error.ErrorStream", FIELD_AT(4, E, error_stream), &ZelCamera3ErrorMsg::GetErrorStream,
              &ZelCamera3ErrorMsg::SetErrorStream, FakePtr<camera3_stream*>(0x21222324)),
        Field("Error.ErrorCode", FIELD_AT(8, E, error_code), &ZelCamera3ErrorMsg::GetErrorCode,
              &ZelCamera3ErrorMsg::SetErrorCode, 0x31323334),
    });
    using N = camera3_notify_msg;
    ExpectEachFieldAtItsBytes<ZelCamera3NotifyMsg>({
        Field("Notify.Type", FIELD_AT(0, N, type), &ZelCamera3NotifyMsg::GetType, &ZelCamera3NotifyMsg::SetType,
              0x41424344),
    });
}

TEST(DeviceLayout, CallbackOpsSlots) {
    using W = ZelCamera3CallbackOps;
    using R = camera3_callback_ops;
    ExpectEachFieldAtItsBytes<W>({
        Field("ProcessCaptureResult", FIELD_AT(0, R, process_capture_result), &W::GetFnProcessCaptureResult,
              &W::SetFnProcessCaptureResult, FakePtr<W::ProcessCaptureResultFn>(0x11121314)),
        Field("Notify", FIELD_AT(4, R, notify), &W::GetFnNotify, &W::SetFnNotify,
              FakePtr<W::NotifyFn>(0x21222324)),
        Field("RequestStreamBuffers", FIELD_AT(8, R, request_stream_buffers), &W::GetFnRequestStreamBuffers,
              &W::SetFnRequestStreamBuffers, FakePtr<W::RequestStreamBuffersFn>(0x31323334)),
        Field("ReturnStreamBuffers", FIELD_AT(12, R, return_stream_buffers), &W::GetFnReturnStreamBuffers,
              &W::SetFnReturnStreamBuffers, FakePtr<W::ReturnStreamBuffersFn>(0x41424344)),
    });
}

TEST(DeviceLayout, DeviceOpsSlots) {
    using W = ZelCamera3DeviceOps;
    using R = camera3_device_ops;
    ExpectEachFieldAtItsBytes<W>({
        Field("Initialize", FIELD_AT(0, R, initialize), &W::GetFnInitialize, &W::SetFnInitialize,
              FakePtr<W::InitializeFn>(0x01020304)),
        Field("ConfigureStreams", FIELD_AT(4, R, configure_streams), &W::GetFnConfigureStreams,
              &W::SetFnConfigureStreams, FakePtr<W::ConfigureStreamsFn>(0x11121314)),
        Field("RegisterStreamBuffers", FIELD_AT(8, R, register_stream_buffers), &W::GetFnRegisterStreamBuffers,
              &W::SetFnRegisterStreamBuffers, FakePtr<W::RegisterStreamBuffersFn>(0x21222324)),
        Field("ConstructDefaultRequestSettings", FIELD_AT(12, R, construct_default_request_settings),
              &W::GetFnConstructDefaultRequestSettings, &W::SetFnConstructDefaultRequestSettings,
              FakePtr<W::ConstructDefaultRequestSettingsFn>(0x31323334)),
        Field("ProcessCaptureRequest", FIELD_AT(16, R, process_capture_request), &W::GetFnProcessCaptureRequest,
              &W::SetFnProcessCaptureRequest, FakePtr<W::ProcessCaptureRequestFn>(0x41424344)),
        Field("GetMetadataVendorTagOps", FIELD_AT(20, R, get_metadata_vendor_tag_ops),
              &W::GetFnGetMetadataVendorTagOps, &W::SetFnGetMetadataVendorTagOps,
              FakePtr<W::GetMetadataVendorTagOpsFn>(0x51525354)),
        Field("Dump", FIELD_AT(24, R, dump), &W::GetFnDump, &W::SetFnDump, FakePtr<W::DumpFn>(0x61626364)),
        Field("Flush", FIELD_AT(28, R, flush), &W::GetFnFlush, &W::SetFnFlush, FakePtr<W::FlushFn>(0x71727374)),
        Field("SignalStreamFlush", FIELD_AT(32, R, signal_stream_flush), &W::GetFnSignalStreamFlush,
              &W::SetFnSignalStreamFlush, FakePtr<W::SignalStreamFlushFn>(0x08090A0B)),
        Field("IsReconfigurationRequired", FIELD_AT(36, R, is_reconfiguration_required),
              &W::GetFnIsReconfigurationRequired, &W::SetFnIsReconfigurationRequired,
              FakePtr<W::IsReconfigurationRequiredFn>(0x18191A1B)),
        // The last slot, just before the five reserved entries.
        Field("SetParameter", FIELD_AT(40, R, set_parameter), &W::GetFnSetParameter, &W::SetFnSetParameter,
              FakePtr<W::SetParameterFn>(0x28292A2B)),
    });
}

TEST(DeviceLayout, DeviceFieldsAfterTheEmbeddedHwDevice) {
    using W = ZelCamera3Device;
    using R = camera3_device;
    ExpectEachFieldAtItsBytes<W>({
        Field("Ops", FIELD_AT(64, R, ops), &W::GetOps, &W::SetOps, FakePtr<camera3_device_ops*>(0x11121314)),
        Field("Priv", FIELD_AT(68, R, priv), &W::GetPriv, &W::SetPriv, FakePtr<void*>(0x21222324)),
    });
}

TEST(DeviceOpsReserved, FiveEntriesCopiedInPlace) {
    ByteProbe bytes(ZelCamera3DeviceOps::Size(), kPattern);
    auto ops = Borrow<ZelCamera3DeviceOps>(bytes);
    const std::size_t reservedAt = FIELD_AT(44, camera3_device_ops, reserved);
    EXPECT_EQ(ops.GetNumReserved(), 5u);
    EXPECT_EQ(OffsetIn(bytes.Data(), ops.GetReserved()), reservedAt);

    // Five entries and a sixth that must not arrive (it would land past the record).
    std::vector<void*> values;
    for (std::uintptr_t i = 1; i <= 6; ++i) values.push_back(FakePtr<void*>(0x01010101u * i));
    ops.SetReserved(values.data());
    EXPECT_EQ(bytes.ChangedOffsets(), Span(reservedAt, 5 * sizeof(void*)));
    for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(ops.GetReserved()[i], values[i]);
}

TEST(DeviceOpsAbsentSlot, DropBufferCacheIsNullAndItsSetterWritesNothing) {
    ByteProbe bytes(ZelCamera3DeviceOps::Size(), kPattern);
    auto ops = Borrow<ZelCamera3DeviceOps>(bytes);
    ops.SetFnDropBufferCache(FakePtr<ZelCamera3DeviceOps::DropBufferCacheFn>(0x11121314));
    EXPECT_TRUE(bytes.ChangedOffsets().empty());
    EXPECT_EQ(ops.GetFnDropBufferCache(), nullptr);
}

TEST(NotifyBody, ErrorAndShutterViewsShareTheBodyAddress) {
    ByteProbe bytes(ZelCamera3NotifyMsg::Size(), kPattern);
    auto notify = Borrow<ZelCamera3NotifyMsg>(bytes);
    const std::size_t bodyAt = FIELD_AT(8, camera3_notify_msg, message);
    EXPECT_EQ(OffsetIn(bytes.Data(), notify.GetErrorMsg()), bodyAt);
    EXPECT_EQ(static_cast<void*>(notify.GetShutterMsg()), static_cast<void*>(notify.GetErrorMsg()));

    // Writing through the error view changes the notification record in place.
    ZelCamera3ErrorMsg errorView(notify.GetErrorMsg(), false);
    errorView.SetErrorCode(4);
    EXPECT_EQ(bytes.ChangedOffsets(), Span(bodyAt + FIELD_AT(8, camera3_error_msg, error_code), 4));
    EXPECT_EQ(ZelCamera3ErrorMsg(notify.GetErrorMsg(), false).GetErrorCode(), 4);
}

TEST(NotifyBody, SetErrorMsgCopiesTheWholeErrorAndNoMore) {
    ByteProbe bytes(ZelCamera3NotifyMsg::Size(), kPattern);
    auto notify = Borrow<ZelCamera3NotifyMsg>(bytes);
    // Every byte of the source, padding and the bytes after it included, differs from the pattern.
    ByteProbe errorBytes(ZelCamera3ErrorMsg::Size(), kSourceFill);
    auto error = Borrow<ZelCamera3ErrorMsg>(errorBytes);
    error.SetFrameNumber(9);
    error.SetErrorCode(3);

    notify.SetErrorMsg(error.Ptr());
    const std::size_t bodyAt = FIELD_AT(8, camera3_notify_msg, message);
    EXPECT_EQ(bytes.ChangedOffsets(), Span(bodyAt, ZelCamera3ErrorMsg::Size()));  // type and body tail untouched
    ZelCamera3ErrorMsg view(notify.GetErrorMsg(), false);
    EXPECT_EQ(view.GetFrameNumber(), 9u);
    EXPECT_EQ(view.GetErrorCode(), 3);

    error.SetFrameNumber(10);  // copied by value
    EXPECT_EQ(view.GetFrameNumber(), 9u);
}

TEST(NotifyBody, SetShutterMsgCopiesByValueAndLeavesTheType) {
    ByteProbe bytes(ZelCamera3NotifyMsg::Size(), kPattern);
    auto notify = Borrow<ZelCamera3NotifyMsg>(bytes);
    notify.SetType(2);
    bytes.Write(0, 2);  // the type is now part of the expected bytes
    ByteProbe shutterBytes(ZelCamera3ShutterMsg::Size(), kSourceFill);
    auto shutter = Borrow<ZelCamera3ShutterMsg>(shutterBytes);
    shutter.SetFrameNumber(77);
    shutter.SetTimestamp(0x1000000000ull);

    notify.SetShutterMsg(shutter.Ptr());
    const std::size_t bodyAt = FIELD_AT(8, camera3_notify_msg, message);
    EXPECT_EQ(bytes.ChangedOffsets(), Span(bodyAt, ZelCamera3ShutterMsg::Size()));
    EXPECT_EQ(notify.GetType(), 2);

    ZelCamera3ShutterMsg view(notify.GetShutterMsg(), false);
    EXPECT_EQ(view.GetFrameNumber(), 77u);
    EXPECT_EQ(view.GetTimestamp(), 0x1000000000ull);
    shutter.SetTimestamp(1);
    EXPECT_EQ(view.GetTimestamp(), 0x1000000000ull);
}

TEST(DeviceHwDevice, SetHwDeviceCopiesTheWholeHwDeviceByValue) {
    ByteProbe bytes(ZelCamera3Device::Size(), kPattern);
    auto device = Borrow<ZelCamera3Device>(bytes);
    EXPECT_EQ(static_cast<void*>(device.GetHwDevice()), static_cast<void*>(device.Ptr()));

    ByteProbe sourceBytes(ZelHwDevice::Size(), kSourceFill);
    auto source = Borrow<ZelHwDevice>(sourceBytes);
    source.SetTag(0x48574454);
    source.SetVersion(0x305);
    device.SetHwDevice(source.Ptr());
    EXPECT_EQ(bytes.ChangedOffsets(), Span(0, ZelHwDevice::Size()));  // ops and priv untouched
    if (kIs32BitArm) {
        EXPECT_EQ(ZelHwDevice::Size(), 64u);
    }

    ZelHwDevice embedded(device.GetHwDevice(), false);
    source.SetVersion(0x100);
    EXPECT_EQ(embedded.GetTag(), 0x48574454u);
    EXPECT_EQ(embedded.GetVersion(), 0x305u);
}

}  // namespace

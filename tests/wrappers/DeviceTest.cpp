// Notification, device and operation-table wrappers: every field and slot at
// its byte offset, the message body shared by the error and shutter views,
// and the copying setters.
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

TEST(DeviceLayout, EveryAccessorPairReachesExactlyItsFieldsBytes) {
    ExpectEachFieldAtItsBytes({
        FIELD(ZelCamera3ShutterMsg, FrameNumber, 0, camera3_shutter_msg, frame_number),
        FIELD(ZelCamera3ShutterMsg, Timestamp, 8, camera3_shutter_msg, timestamp),
        FIELD(ZelCamera3ErrorMsg, FrameNumber, 0, camera3_error_msg, frame_number),
        FIELD(ZelCamera3ErrorMsg, ErrorStream, 4, camera3_error_msg, error_stream),
        FIELD(ZelCamera3ErrorMsg, ErrorCode, 8, camera3_error_msg, error_code),
        FIELD(ZelCamera3NotifyMsg, Type, 0, camera3_notify_msg, type),
        SLOT(ZelCamera3CallbackOps, ProcessCaptureResult, 0, camera3_callback_ops, process_capture_result),
        SLOT(ZelCamera3CallbackOps, Notify, 4, camera3_callback_ops, notify),
        SLOT(ZelCamera3CallbackOps, RequestStreamBuffers, 8, camera3_callback_ops, request_stream_buffers),
        SLOT(ZelCamera3CallbackOps, ReturnStreamBuffers, 12, camera3_callback_ops, return_stream_buffers),
        SLOT(ZelCamera3DeviceOps, Initialize, 0, camera3_device_ops, initialize),
        SLOT(ZelCamera3DeviceOps, ConfigureStreams, 4, camera3_device_ops, configure_streams),
        SLOT(ZelCamera3DeviceOps, RegisterStreamBuffers, 8, camera3_device_ops, register_stream_buffers),
        SLOT(ZelCamera3DeviceOps, ConstructDefaultRequestSettings, 12, camera3_device_ops,
             construct_default_request_settings),
        SLOT(ZelCamera3DeviceOps, ProcessCaptureRequest, 16, camera3_device_ops, process_capture_request),
        SLOT(ZelCamera3DeviceOps, GetMetadataVendorTagOps, 20, camera3_device_ops, get_metadata_vendor_tag_ops),
        SLOT(ZelCamera3DeviceOps, Dump, 24, camera3_device_ops, dump),
        SLOT(ZelCamera3DeviceOps, Flush, 28, camera3_device_ops, flush),
        SLOT(ZelCamera3DeviceOps, SignalStreamFlush, 32, camera3_device_ops, signal_stream_flush),
        SLOT(ZelCamera3DeviceOps, IsReconfigurationRequired, 36, camera3_device_ops, is_reconfiguration_required),
        SLOT(ZelCamera3DeviceOps, SetParameter, 40, camera3_device_ops, set_parameter),
        FIELD(ZelCamera3Device, Ops, 64, camera3_device, ops),
        FIELD(ZelCamera3Device, Priv, 68, camera3_device, priv),
    });
}

TEST(DeviceCopies, ArraysAndEmbeddedRecordsAreCopiedWholeAndNoMore) {
    // Sources one element longer than the copy, so an overrun shows.
    std::vector<void*> reserved(6, FakePtr<void*>(0x5A5A5A5A));
    EXPECT_EQ(WrittenBy<ZelCamera3DeviceOps>([&](auto& ops) { ops.SetReserved(reserved.data()); }),
              Span(FIELD_AT(44, camera3_device_ops, reserved), 5 * sizeof(void*)));
    ByteProbe error(ZelCamera3ErrorMsg::Size(), kSourceFill);
    ByteProbe shutter(ZelCamera3ShutterMsg::Size(), kSourceFill);
    ByteProbe hwDevice(ZelHwDevice::Size(), kSourceFill);
    const std::size_t bodyAt = FIELD_AT(8, camera3_notify_msg, message);
    EXPECT_EQ(WrittenBy<ZelCamera3NotifyMsg>([&](auto& n) { n.SetErrorMsg(Borrow<ZelCamera3ErrorMsg>(error).Ptr()); }),
              Span(bodyAt, ZelCamera3ErrorMsg::Size()));
    EXPECT_EQ(
        WrittenBy<ZelCamera3NotifyMsg>([&](auto& n) { n.SetShutterMsg(Borrow<ZelCamera3ShutterMsg>(shutter).Ptr()); }),
        Span(bodyAt, ZelCamera3ShutterMsg::Size()));
    EXPECT_EQ(WrittenBy<ZelCamera3Device>([&](auto& d) { d.SetHwDevice(Borrow<ZelHwDevice>(hwDevice).Ptr()); }),
              Span(0, ZelHwDevice::Size()));
    // An absent slot: the setter writes nothing, the getter answers null.
    EXPECT_TRUE(WrittenBy<ZelCamera3DeviceOps>([](auto& ops) {
                    ops.SetFnDropBufferCache(FakePtr<ZelCamera3DeviceOps::DropBufferCacheFn>(0x11121314));
                }).empty());
    EXPECT_EQ(ZelCamera3DeviceOps().GetFnDropBufferCache(), nullptr);
}

TEST(DeviceViews, PointIntoTheirRecord) {
    ByteProbe notifyBytes(ZelCamera3NotifyMsg::Size());
    auto notify = Borrow<ZelCamera3NotifyMsg>(notifyBytes);
    EXPECT_EQ(OffsetIn(notifyBytes.Data(), notify.GetErrorMsg()), FIELD_AT(8, camera3_notify_msg, message));
    EXPECT_EQ(static_cast<void*>(notify.GetShutterMsg()), static_cast<void*>(notify.GetErrorMsg()));
    ZelCamera3DeviceOps ops;
    EXPECT_EQ(ops.GetNumReserved(), 5u);
    EXPECT_EQ(OffsetIn(ops.Ptr(), ops.GetReserved()), FIELD_AT(44, camera3_device_ops, reserved));
    ZelCamera3Device device;
    EXPECT_EQ(static_cast<void*>(device.GetHwDevice()), static_cast<void*>(device.Ptr()));
}

}  // namespace

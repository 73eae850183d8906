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

TEST(DeviceLayout, MessageFields) {
    using S = camera3_shutter_msg;
    ExpectEachFieldAtItsBytes<ZelCamera3ShutterMsg>({
        FIELD(ZelCamera3ShutterMsg, FrameNumber, 0, S, frame_number),
        FIELD(ZelCamera3ShutterMsg, Timestamp, 8, S, timestamp),
    });
    using E = camera3_error_msg;
    ExpectEachFieldAtItsBytes<ZelCamera3ErrorMsg>({
        FIELD(ZelCamera3ErrorMsg, FrameNumber, 0, E, frame_number),
        FIELD(ZelCamera3ErrorMsg, ErrorStream, 4, E, error_stream),
        FIELD(ZelCamera3ErrorMsg, ErrorCode, 8, E, error_code),
    });
    using N = camera3_notify_msg;
    ExpectEachFieldAtItsBytes<ZelCamera3NotifyMsg>({
        FIELD(ZelCamera3NotifyMsg, Type, 0, N, type),
    });
}

TEST(DeviceLayout, CallbackOpsSlots) {
    using W = ZelCamera3CallbackOps;
    using R = camera3_callback_ops;
    ExpectEachFieldAtItsBytes<W>({
        SLOT(W, ProcessCaptureResult, 0, R, process_capture_result),
        SLOT(W, Notify, 4, R, notify),
        SLOT(W, RequestStreamBuffers, 8, R, request_stream_buffers),
        SLOT(W, ReturnStreamBuffers, 12, R, return_stream_buffers),
    });
}

TEST(DeviceLayout, DeviceOpsSlots) {
    using W = ZelCamera3DeviceOps;
    using R = camera3_device_ops;
    ExpectEachFieldAtItsBytes<W>({
        SLOT(W, Initialize, 0, R, initialize),
        SLOT(W, ConfigureStreams, 4, R, configure_streams),
        SLOT(W, RegisterStreamBuffers, 8, R, register_stream_buffers),
        SLOT(W, ConstructDefaultRequestSettings, 12, R, construct_default_request_settings),
        SLOT(W, ProcessCaptureRequest, 16, R, process_capture_request),
        SLOT(W, GetMetadataVendorTagOps, 20, R, get_metadata_vendor_tag_ops),
        SLOT(W, Dump, 24, R, dump),
        SLOT(W, Flush, 28, R, flush),
        SLOT(W, SignalStreamFlush, 32, R, signal_stream_flush),
        SLOT(W, IsReconfigurationRequired, 36, R, is_reconfiguration_required),
        SLOT(W, SetParameter, 40, R, set_parameter),
    });
}

TEST(DeviceLayout, DeviceFieldsAfterTheEmbeddedHwDevice) {
    using W = ZelCamera3Device;
    using R = camera3_device;
    ExpectEachFieldAtItsBytes<W>({
        FIELD(W, Ops, 64, R, ops),
        FIELD(W, Priv, 68, R, priv),
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
    EXPECT_EQ(WrittenBy<ZelCamera3NotifyMsg>([&](auto& n) { n.SetShutterMsg(Borrow<ZelCamera3ShutterMsg>(shutter).Ptr()); }),
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

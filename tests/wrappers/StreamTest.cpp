// The stream wrapper: every field at its byte offset, the fields the platform
// lacks, Copy2's stride and the HalStream attachment.
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include <android/wrappers/ZelCamera3Stream.h>
#include <android/wrappers/internal/StreamRecords.h>

#include "FieldProbe.h"

using namespace zelkov;
using namespace zelkov_test;

namespace {

TEST(StreamLayout, EverySetterWritesExactlyItsFieldsBytes) {
    using W = ZelCamera3Stream;
    using S = camera3_stream;
    ExpectEachFieldAtItsBytes<W>({
        Field("StreamType", FIELD_AT(0, S, stream_type), &W::GetStreamType, &W::SetStreamType, -0x1234567),
        Field("Width", FIELD_AT(4, S, width), &W::GetWidth, &W::SetWidth, 0x81828384u),
        Field("Height", FIELD_AT(8, S, height), &W::GetHeight, &W::SetHeight, 0x91929394u),
        Field("Format", FIELD_AT(12, S, format), &W::GetFormat, &W::SetFormat, 0x11223344),
        Field("Usage", FIELD_AT(16, S, usage), &W::GetUsage, &W::SetUsage, 0x8877665544332211ull),
        Field("MaxBuffers", FIELD_AT(24, S, max_buffers), &W::GetMaxBuffers, &W::SetMaxBuffers, 0xA1A2A3A4u),
        Field("Priv", FIELD_AT(28, S, priv), &W::GetPriv, &W::SetPriv, FakePtr<void*>(0x1A2B3C4D)),
        Field("DataSpace", FIELD_AT(32, S, data_space), &W::GetDataSpace, &W::SetDataSpace, 0x08C20111),
        Field("Rotation", FIELD_AT(36, S, rotation), &W::GetRotation, &W::SetRotation, 0x01020304),
        Field("PhysicalCameraId", FIELD_AT(40, S, physical_camera_id), &W::GetPhysicalCameraId,
              &W::SetPhysicalCameraId, FakePtr<const char*>(0x1A2B3C4D)),
        Field("Option", FIELD_AT(44, S, option), &W::GetOption, &W::SetOption, 0x7F6F5F4F),
        Field("StreamTimestamp", FIELD_AT(64, S, stream_timestamp), &W::GetStreamTimestamp, &W::SetStreamTimestamp,
              0xF1F2F3F4F5F6F7F8ull),
        Field("MinFps", FIELD_AT(72, S, min_fps), &W::GetMinFps, &W::SetMinFps, 0x0A0B0C0Du),
        Field("MaxFps", FIELD_AT(76, S, max_fps), &W::GetMaxFps, &W::SetMaxFps, 0x1A1B1C1Du),
        Field("StreamId", FIELD_AT(88, zel_camera3_stream, stream_id), &W::GetStreamId, &W::SetStreamId, 0x2B2C2D2E),
    });
    // The HalStream attachment is the first reserved word.
    ByteProbe probe(W::Size(), kPattern);
    Borrow<W>(probe).SetHalStream(FakePtr<HalStream*>(0x1A2B3C4D));
    EXPECT_EQ(probe.ChangedOffsets(), Span(FIELD_AT(80, S, reserved), sizeof(void*)));
    EXPECT_EQ(probe.Read<void*>(FIELD_AT(80, S, reserved)), FakePtr<void*>(0x1A2B3C4D));
}

TEST(StreamLayout, AbsentFieldsHaveFixedValuesAndSettersWriteNothing) {
    ByteProbe probe(ZelCamera3Stream::Size(), 0x77);
    ZelCamera3Stream stream(static_cast<camera3_stream*>(probe.Data()), false);
    int modes = 0;
    int* modeList = &modes;
    stream.SetGroupId(5);
    stream.SetNumSensorPixelModesUsed(2);
    stream.SetSensorPixelModes(&modeList);
    stream.SetMultiResolutionInputImage(1);
    stream.SetStreamUseCase(4);
    stream.SetDynamicRangeProfile(2);
    stream.SetColorSpace(0);
    EXPECT_TRUE(probe.ChangedOffsets().empty());
    EXPECT_EQ(stream.GetGroupId(), -1);
    EXPECT_EQ(stream.GetNumSensorPixelModesUsed(), 0u);
    EXPECT_EQ(stream.GetSensorPixelModes(), nullptr);
    EXPECT_EQ(stream.GetMultiResolutionInputImage(), 0u);
    EXPECT_EQ(stream.GetStreamUseCase(), 0u);
    EXPECT_EQ(stream.GetDynamicRangeProfile(), 0);
    EXPECT_EQ(stream.GetColorSpace(), -1);
}

TEST(StreamLayout, HalStreamFieldsAtTheirOffsets) {
    using W = ZelCamera3HalStream;
    ExpectEachFieldAtItsBytes<W>({
        Field("Format", FIELD_AT(4, HalStream, format), &W::GetHalStreamFormat, &W::SetHalStreamFormat, 0x21222324),
        Field("ProducerUsage", FIELD_AT(8, HalStream, producer_usage), &W::GetHalStreamProducerUsage,
              &W::SetHalStreamProducerUsage, 0x3132333435363738ull),
        Field("ConsumerUsage", FIELD_AT(16, HalStream, consumer_usage), &W::GetHalStreamConsumerUsage,
              &W::SetHalStreamConsumerUsage, 0x4142434445464748ull),
        Field("MaxBuffers", FIELD_AT(24, HalStream, max_buffers), &W::GetHalStreamMaxBuffers,
              &W::SetHalStreamMaxBuffers, 0x51525354u),
    });
}

TEST(StreamCopy, Copy2MovesRecordsWithoutTheStreamId) {
    const std::size_t stride = sizeof(camera3_stream);
    if (kIs32BitArm) {
        EXPECT_EQ(stride, 88u);
    }
    std::vector<unsigned char> source(3 * ZelCamera3Stream::Size(), 0xCD);
    std::vector<unsigned char> destination(source.size(), 0);
    ZelCamera3Stream::Copy2(reinterpret_cast<camera3_stream*>(destination.data()),
                            reinterpret_cast<const camera3_stream*>(source.data()), 2);
    EXPECT_EQ(destination[2 * stride - 1], 0xCD);
    EXPECT_EQ(destination[2 * stride], 0);
    ZelCamera3Stream::Copy2(nullptr, reinterpret_cast<const camera3_stream*>(source.data()), 2);
    ZelCamera3Stream::Copy2(reinterpret_cast<camera3_stream*>(destination.data()), nullptr, 2);
    EXPECT_EQ(destination[2 * stride], 0);
}

TEST(HalStreamAttachment, NoneUntilSetAndAllGettersReadZero) {
    ZelCamera3Stream stream;
    EXPECT_FALSE(stream.HasHalStream());
    EXPECT_EQ(stream.GetHalStream(), nullptr);
    EXPECT_EQ(stream.GetHalStreamFormat(), 0);
    EXPECT_EQ(stream.GetHalStreamProducerUsage(), 0u);
    EXPECT_EQ(stream.GetHalStreamConsumerUsage(), 0u);
    EXPECT_EQ(stream.GetHalStreamMaxBuffers(), 0u);
    EXPECT_EQ(stream.GetNumReserved(), 1u);
}

TEST(HalStreamAttachment, SetIgnoreNullClearAndReadThrough) {
    ZelCamera3HalStream hal;
    hal.SetHalStreamFormat(34);
    hal.SetHalStreamProducerUsage(0x100000000ull);
    hal.SetHalStreamConsumerUsage(3);
    hal.SetHalStreamMaxBuffers(4294967295u);

    ZelCamera3Stream stream;
    stream.SetHalStream(hal.Ptr());
    EXPECT_TRUE(stream.HasHalStream());
    EXPECT_EQ(stream.GetHalStream(), hal.Ptr());
    EXPECT_EQ(stream.GetReserved()[0], hal.Ptr());
    EXPECT_EQ(stream.GetHalStreamFormat(), 34);
    EXPECT_EQ(stream.GetHalStreamProducerUsage(), 0x100000000ull);
    EXPECT_EQ(stream.GetHalStreamConsumerUsage(), 3u);
    EXPECT_EQ(stream.GetHalStreamMaxBuffers(), 4294967295ull);  // widened without sign

    stream.SetHalStream(nullptr);
    EXPECT_EQ(stream.GetHalStream(), hal.Ptr());

    stream.ClearHalStream();
    EXPECT_FALSE(stream.HasHalStream());
    EXPECT_EQ(hal.GetHalStreamFormat(), 34);  // the HalStream itself is untouched
}

TEST(HalStreamAttachment, TravelsWithTheRecordBytes) {
    ZelCamera3HalStream hal;
    ZelCamera3Stream stream;
    void* slots[1] = {hal.Ptr()};
    stream.SetReserved(slots);
    EXPECT_EQ(stream.GetHalStream(), hal.Ptr());
    stream.SetStreamId(12);

    ZelCamera3Stream copy(stream);  // both refer to the same HalStream
    EXPECT_EQ(copy.GetHalStream(), hal.Ptr());
    EXPECT_EQ(copy.GetStreamId(), 12);

    stream.Clear();
    EXPECT_FALSE(stream.HasHalStream());
    void* none[1] = {nullptr};
    copy.SetReserved(none);
    EXPECT_FALSE(copy.HasHalStream());
}

TEST(HalStreamAttachment, DestroyingAnOwningStreamLeavesTheHalStream) {
    ZelCamera3HalStream hal;
    hal.SetHalStreamMaxBuffers(6);
    {
        ZelCamera3Stream stream;
        stream.SetHalStream(hal.Ptr());
    }
    EXPECT_EQ(hal.GetHalStreamMaxBuffers(), 6u);  // ASan reports a use after free otherwise
}

}  // namespace

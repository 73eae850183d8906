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
    ExpectEachFieldAtItsBytes({
        FIELD(W, StreamType, 0, S, stream_type),
        FIELD(W, Width, 4, S, width),
        FIELD(W, Height, 8, S, height),
        FIELD(W, Format, 12, S, format),
        FIELD(W, Usage, 16, S, usage),
        FIELD(W, MaxBuffers, 24, S, max_buffers),
        FIELD(W, Priv, 28, S, priv),
        FIELD(W, DataSpace, 32, S, data_space),
        FIELD(W, Rotation, 36, S, rotation),
        FIELD(W, PhysicalCameraId, 40, S, physical_camera_id),
        FIELD(W, Option, 44, S, option),
        FIELD(W, StreamTimestamp, 64, S, stream_timestamp),
        FIELD(W, MinFps, 72, S, min_fps),
        FIELD(W, MaxFps, 76, S, max_fps),
        FIELD(W, StreamId, 88, zel_camera3_stream, stream_id),
    });
    // The HalStream attachment is the first reserved word.
    EXPECT_EQ(WrittenBy<W>([](W& w) { w.SetHalStream(FakePtr<HalStream*>(0x1A2B3C4D)); }),
              Span(FIELD_AT(80, S, reserved), sizeof(void*)));
}

TEST(StreamLayout, AbsentFieldsHaveFixedValuesAndSettersWriteNothing) {
    int modes = 0;
    int* modeList = &modes;
    EXPECT_TRUE(WrittenBy<ZelCamera3Stream>([&](ZelCamera3Stream& stream) {
                    stream.SetGroupId(5);
                    stream.SetNumSensorPixelModesUsed(2);
                    stream.SetSensorPixelModes(&modeList);
                    stream.SetMultiResolutionInputImage(1);
                    stream.SetStreamUseCase(4);
                    stream.SetDynamicRangeProfile(2);
                    stream.SetColorSpace(0);
                }).empty());
    ZelCamera3Stream stream;
    EXPECT_EQ(stream.GetGroupId(), -1);
    EXPECT_EQ(stream.GetNumSensorPixelModesUsed(), 0u);
    EXPECT_EQ(stream.GetSensorPixelModes(), nullptr);
    EXPECT_EQ(stream.GetMultiResolutionInputImage(), 0u);
    EXPECT_EQ(stream.GetStreamUseCase(), 0u);
    EXPECT_EQ(stream.GetDynamicRangeProfile(), 0);
    EXPECT_EQ(stream.GetColorSpace(), -1);
}

TEST(HalStreamLayout, EveryAccessorPairReachesExactlyItsFieldsBytes) {
    ExpectEachFieldAtItsBytes({
        FIELD(ZelCamera3HalStream, HalStreamFormat, 4, HalStream, format),
        FIELD(ZelCamera3HalStream, HalStreamProducerUsage, 8, HalStream, producer_usage),
        FIELD(ZelCamera3HalStream, HalStreamConsumerUsage, 16, HalStream, consumer_usage),
        FIELD(ZelCamera3HalStream, HalStreamMaxBuffers, 24, HalStream, max_buffers),
    });
}

TEST(StreamCopy, Copy2MovesRecordsWithoutTheStreamId) {
    const std::size_t stride = FIELD_AT(88, zel_camera3_stream, stream_id);
    std::vector<unsigned char> source(3 * ZelCamera3Stream::Size(), 0xCD);
    std::vector<unsigned char> destination(source.size(), 0);
    auto* from = reinterpret_cast<const camera3_stream*>(source.data());
    auto* to = reinterpret_cast<camera3_stream*>(destination.data());
    ZelCamera3Stream::Copy2(nullptr, from, 2);
    ZelCamera3Stream::Copy2(to, nullptr, 2);
    ZelCamera3Stream::Copy2(to, from, 2);
    EXPECT_EQ(destination[2 * stride - 1], 0xCD);
    EXPECT_EQ(destination[2 * stride], 0);
}

TEST(HalStreamAttachment, SetIgnoresNullClearDetachesAndGettersReadThrough) {
    ZelCamera3Stream stream;
    EXPECT_FALSE(stream.HasHalStream());
    EXPECT_EQ(stream.GetHalStream(), nullptr);
    EXPECT_EQ(stream.GetHalStreamFormat() + stream.GetHalStreamProducerUsage() + stream.GetHalStreamConsumerUsage() +
                  stream.GetHalStreamMaxBuffers(),
              0u);
    EXPECT_EQ(stream.GetNumReserved(), 1u);

    ZelCamera3HalStream hal;
    hal.SetHalStreamFormat(34);
    hal.SetHalStreamProducerUsage(0x100000000ull);
    hal.SetHalStreamConsumerUsage(3);
    hal.SetHalStreamMaxBuffers(4294967295u);
    stream.SetHalStream(hal.Ptr());
    stream.SetHalStream(nullptr);
    EXPECT_TRUE(stream.HasHalStream());
    EXPECT_EQ(stream.GetHalStream(), hal.Ptr());
    EXPECT_EQ(stream.GetHalStreamFormat(), 34);
    EXPECT_EQ(stream.GetHalStreamProducerUsage(), 0x100000000ull);
    EXPECT_EQ(stream.GetHalStreamConsumerUsage(), 3u);
    EXPECT_EQ(stream.GetHalStreamMaxBuffers(), 4294967295ull);  // widened without sign

    ZelCamera3Stream copy(stream);  // the attachment travels with the record bytes
    EXPECT_EQ(copy.GetHalStream(), hal.Ptr());
    stream.ClearHalStream();
    EXPECT_FALSE(stream.HasHalStream());
    void* none[1] = {nullptr};
    copy.SetReserved(none);
    EXPECT_FALSE(copy.HasHalStream());
    { ZelCamera3Stream owner(copy); }
    EXPECT_EQ(hal.GetHalStreamFormat(), 34);  // neither freed (ASan) nor changed by any of this
}

}  // namespace

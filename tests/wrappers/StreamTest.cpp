// The stream wrapper: every field at its byte offset, the fields the platform
// lacks, Copy2's stride and the HalStream attachment.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include <android/wrappers/ZelCamera3Stream.h>
#include <android/wrappers/internal/StreamRecords.h>

#include "common/ByteProbe.h"

using zelkov::HalStream;
using zelkov::ZelCamera3HalStream;
using zelkov::ZelCamera3Stream;
using zelkov::zel_camera3_stream;
using zelkov_test::ByteProbe;
using zelkov_test::kIs32BitArm;
using zelkov_test::Span;

namespace {

// The 32-bit offset on the target; the compiler's offset elsewhere.
#define FIELD_AT(offset32, record, member) (kIs32BitArm ? std::size_t{offset32} : offsetof(record, member))

// A made-up address for pointer fields, never dereferenced; unlike a real
// address, none of its bytes can be the probe's 0xEE fill.
int* const kMarker = reinterpret_cast<int*>(std::uintptr_t{0x1A2B3C4D});

struct FieldCase {
    const char* name;
    std::size_t offset;
    std::size_t width;
    std::function<void(ZelCamera3Stream&)> set;
    std::function<bool(const ZelCamera3Stream&)> readsBack;
};

std::vector<FieldCase> StreamFields() {
    using S = camera3_stream;
    using Z = zel_camera3_stream;
    const std::size_t ptr = sizeof(void*);
    return {
        {"StreamType", FIELD_AT(0, S, stream_type), 4, [](auto& s) { s.SetStreamType(-0x1234567); },
         [](auto& s) { return s.GetStreamType() == -0x1234567; }},
        {"Width", FIELD_AT(4, S, width), 4, [](auto& s) { s.SetWidth(0x81828384u); },
         [](auto& s) { return s.GetWidth() == 0x81828384u; }},
        {"Height", FIELD_AT(8, S, height), 4, [](auto& s) { s.SetHeight(0x91929394u); },
         [](auto& s) { return s.GetHeight() == 0x91929394u; }},
        {"Format", FIELD_AT(12, S, format), 4, [](auto& s) { s.SetFormat(0x11223344); },
         [](auto& s) { return s.GetFormat() == 0x11223344; }},
        {"Usage", FIELD_AT(16, S, usage), 8, [](auto& s) { s.SetUsage(0x8877665544332211ull); },
         [](auto& s) { return s.GetUsage() == 0x8877665544332211ull; }},
        {"MaxBuffers", FIELD_AT(24, S, max_buffers), 4, [](auto& s) { s.SetMaxBuffers(0xA1A2A3A4u); },
         [](auto& s) { return s.GetMaxBuffers() == 0xA1A2A3A4u; }},
        {"Priv", FIELD_AT(28, S, priv), ptr, [](auto& s) { s.SetPriv(kMarker); },
         [](auto& s) { return s.GetPriv() == kMarker; }},
        {"DataSpace", FIELD_AT(32, S, data_space), 4, [](auto& s) { s.SetDataSpace(0x08C20000 | 0x111); },
         [](auto& s) { return s.GetDataSpace() == (0x08C20000 | 0x111); }},
        {"Rotation", FIELD_AT(36, S, rotation), 4, [](auto& s) { s.SetRotation(0x01020304); },
         [](auto& s) { return s.GetRotation() == 0x01020304; }},
        {"PhysicalCameraId", FIELD_AT(40, S, physical_camera_id), ptr,
         [](auto& s) { s.SetPhysicalCameraId(reinterpret_cast<const char*>(kMarker)); },
         [](auto& s) { return s.GetPhysicalCameraId() == reinterpret_cast<const char*>(kMarker); }},
        {"Option", FIELD_AT(44, S, option), 4, [](auto& s) { s.SetOption(0x7F6F5F4F); },
         [](auto& s) { return s.GetOption() == 0x7F6F5F4F; }},
        {"StreamTimestamp", FIELD_AT(64, S, stream_timestamp), 8,
         [](auto& s) { s.SetStreamTimestamp(0xF1F2F3F4F5F6F7F8ull); },
         [](auto& s) { return s.GetStreamTimestamp() == 0xF1F2F3F4F5F6F7F8ull; }},
        {"MinFps", FIELD_AT(72, S, min_fps), 4, [](auto& s) { s.SetMinFps(0x0A0B0C0Du); },
         [](auto& s) { return s.GetMinFps() == 0x0A0B0C0Du; }},
        {"MaxFps", FIELD_AT(76, S, max_fps), 4, [](auto& s) { s.SetMaxFps(0x1A1B1C1Du); },
         [](auto& s) { return s.GetMaxFps() == 0x1A1B1C1Du; }},
        {"HalStream", FIELD_AT(80, S, reserved), ptr,
         [](auto& s) { s.SetHalStream(reinterpret_cast<HalStream*>(kMarker)); },
         [](auto& s) { return s.GetReserved()[0] == kMarker; }},
        {"StreamId", FIELD_AT(88, Z, stream_id), 4, [](auto& s) { s.SetStreamId(0x2B2C2D2E); },
         [](auto& s) { return s.GetStreamId() == 0x2B2C2D2E; }},
    };
}

TEST(StreamLayout, EverySetterWritesExactlyItsFieldsBytes) {
    // 0xEE appears in no byte of the values written, pointers included.
    ByteProbe probe(ZelCamera3Stream::Size(), 0xEE);
    ZelCamera3Stream stream(static_cast<camera3_stream*>(probe.Data()), false);
    for (const FieldCase& field : StreamFields()) {
        SCOPED_TRACE(field.name);
        probe.Reset();
        field.set(stream);
        EXPECT_EQ(probe.ChangedOffsets(), Span(field.offset, field.width));
        EXPECT_TRUE(field.readsBack(stream));
    }
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
    ByteProbe probe(ZelCamera3HalStream::Size(), 0xEE);
    ZelCamera3HalStream hal(static_cast<HalStream*>(probe.Data()), false);
    hal.SetHalStreamFormat(0x21222324);
    EXPECT_EQ(probe.ChangedOffsets(), Span(FIELD_AT(4, HalStream, format), 4));
    probe.Reset();
    hal.SetHalStreamProducerUsage(0x3132333435363738ull);
    EXPECT_EQ(probe.ChangedOffsets(), Span(FIELD_AT(8, HalStream, producer_usage), 8));
    probe.Reset();
    hal.SetHalStreamConsumerUsage(0x4142434445464748ull);
    EXPECT_EQ(probe.ChangedOffsets(), Span(FIELD_AT(16, HalStream, consumer_usage), 8));
    probe.Reset();
    hal.SetHalStreamMaxBuffers(0x51525354u);
    EXPECT_EQ(probe.ChangedOffsets(), Span(FIELD_AT(24, HalStream, max_buffers), 4));
    EXPECT_EQ(hal.GetHalStreamMaxBuffers(), 0x51525354u);
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

// The packed buffer layout, byte for byte: a buffer made here must be what
// the platform's own library makes for the same calls.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "MetadataTestSupport.h"

using namespace zelkov_test;

namespace {

TEST(BufferLayoutTest, HeaderOfANewBuffer) {
    struct Case {
        size_t entries, data;
        uint32_t size, data_start;
    };
    // Entries start after the 48-byte header; the data area starts at the next
    // multiple of 8; the whole size is rounded up to 8.
    const Case cases[] = {
        {0, 0, 48, 48}, {1, 0, 64, 64}, {2, 16, 96, 80}, {3, 5, 104, 96}, {5, 1, 136, 128},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.entries << " entries, " << c.data << " data bytes");
        EXPECT_EQ(calculate_camera_metadata_size(c.entries, c.data), c.size);
        MetadataPtr metadata(allocate_camera_metadata(c.entries, c.data));
        ASSERT_NE(metadata, nullptr);
        EXPECT_EQ(HeaderWordOf(metadata.get(), kSize), c.size);
        EXPECT_EQ(HeaderWordOf(metadata.get(), kVersion), 1u);
        EXPECT_EQ(HeaderWordOf(metadata.get(), kFlags), 0u);
        EXPECT_EQ(HeaderWordOf(metadata.get(), kEntryCount), 0u);
        EXPECT_EQ(HeaderWordOf(metadata.get(), kEntryCapacity), c.entries);
        EXPECT_EQ(HeaderWordOf(metadata.get(), kEntriesStart), kHeaderBytes);
        EXPECT_EQ(HeaderWordOf(metadata.get(), kDataCount), 0u);
        EXPECT_EQ(HeaderWordOf(metadata.get(), kDataCapacity), c.data);
        EXPECT_EQ(HeaderWordOf(metadata.get(), kDataStart), c.data_start);
        uint64_t vendor_id;
        std::memcpy(&vendor_id, reinterpret_cast<const uint8_t*>(metadata.get()) + 40, 8);
        EXPECT_EQ(vendor_id, UINT64_MAX);
        EXPECT_EQ(get_camera_metadata_size(metadata.get()), c.size);
    }
}

TEST(BufferLayoutTest, EntryDataSizeIsZeroUpToFourBytesThenPaddedToEight) {
    struct Case {
        uint8_t type;
        size_t count, bytes;
    };
    const Case cases[] = {
        {TYPE_BYTE, 0, 0},     {TYPE_BYTE, 4, 0},   {TYPE_BYTE, 5, 8},      {TYPE_BYTE, 17, 24},
        {TYPE_INT32, 1, 0},    {TYPE_INT32, 2, 8},  {TYPE_INT32, 3, 16},    {TYPE_FLOAT, 1, 0},
        {TYPE_INT64, 1, 8},    {TYPE_DOUBLE, 3, 24}, {TYPE_RATIONAL, 1, 8}, {TYPE_RATIONAL, 9, 72},
        {NUM_TYPES, 4, 0},     {0xff, 100, 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(calculate_camera_metadata_entry_data_size(c.type, c.count), c.bytes)
            << "type " << int(c.type) << " count " << c.count;
    }
}

TEST(BufferLayoutTest, SmallValuesStayInTheEntryLargeOnesGoToTheDataArea) {
    MetadataPtr metadata(allocate_camera_metadata(4, 64));
    const uint8_t ae_mode = 3;
    const int32_t fps_range[] = {15, 30};
    const double gps[] = {1.5, -2.25, 100.0};
    const float gain = 1.25f;
    ASSERT_EQ(add_camera_metadata_entry(metadata.get(), ANDROID_CONTROL_AE_MODE, &ae_mode, 1), 0);
    ASSERT_EQ(add_camera_metadata_entry(metadata.get(), ANDROID_CONTROL_AE_TARGET_FPS_RANGE, fps_range, 2), 0);
    ASSERT_EQ(add_camera_metadata_entry(metadata.get(), ANDROID_JPEG_GPS_COORDINATES, gps, 3), 0);
    ASSERT_EQ(add_camera_metadata_entry(metadata.get(), ANDROID_COLOR_CORRECTION_GAINS, &gain, 1), 0);

    EXPECT_EQ(HeaderWordOf(metadata.get(), kEntryCount), 4u);
    EXPECT_EQ(HeaderWordOf(metadata.get(), kDataCount), 8u + 24u);

    const uint8_t* base = reinterpret_cast<const uint8_t*>(metadata.get());
    const uint8_t* data = base + HeaderWordOf(metadata.get(), kDataStart);
    const uint8_t zero_reserved[3] = {0, 0, 0};

    RawEntry entry = RawEntryOf(metadata.get(), 0);
    EXPECT_EQ(entry.tag, (uint32_t)ANDROID_CONTROL_AE_MODE);
    EXPECT_EQ(entry.count, 1u);
    EXPECT_EQ(entry.type, TYPE_BYTE);
    const uint8_t inline_byte[4] = {3, 0, 0, 0};
    EXPECT_EQ(std::memcmp(entry.data, inline_byte, 4), 0);
    EXPECT_EQ(std::memcmp(entry.reserved, zero_reserved, 3), 0);

    entry = RawEntryOf(metadata.get(), 1);
    EXPECT_EQ(entry.type, TYPE_INT32);
    EXPECT_EQ(OffsetOf(entry), 0u);
    EXPECT_EQ(std::memcmp(data, fps_range, sizeof(fps_range)), 0);

    entry = RawEntryOf(metadata.get(), 2);
    EXPECT_EQ(entry.tag, (uint32_t)ANDROID_JPEG_GPS_COORDINATES);
    EXPECT_EQ(entry.type, TYPE_DOUBLE);
    EXPECT_EQ(entry.count, 3u);
    EXPECT_EQ(OffsetOf(entry), 8u);
    EXPECT_EQ(std::memcmp(data + 8, gps, sizeof(gps)), 0);

    entry = RawEntryOf(metadata.get(), 3);
    EXPECT_EQ(entry.type, TYPE_FLOAT);
    EXPECT_EQ(std::memcmp(entry.data, &gain, 4), 0);
}

TEST(BufferLayoutTest, PaddingKeepsEveryValueAlignedInTheDataArea) {
    MetadataPtr metadata(allocate_camera_metadata(2, 32));
    const uint8_t name[5] = {'z', 'e', 'l', 'k', 0};
    const int64_t exposure = 33333333;
    ASSERT_EQ(add_camera_metadata_entry(metadata.get(), ANDROID_INFO_VERSION, name, 5), 0);
    ASSERT_EQ(add_camera_metadata_entry(metadata.get(), ANDROID_SENSOR_EXPOSURE_TIME, &exposure, 1), 0);
    EXPECT_EQ(OffsetOf(RawEntryOf(metadata.get(), 1)), 8u);
    EXPECT_EQ(HeaderWordOf(metadata.get(), kDataCount), 16u);
    // The padding bytes stay zero, so equal contents give equal buffers.
    const uint8_t* data = reinterpret_cast<const uint8_t*>(metadata.get()) + HeaderWordOf(metadata.get(), kDataStart);
    EXPECT_EQ(data[5] | data[6] | data[7], 0);
}

TEST(BufferLayoutTest, SameCallsGiveIdenticalBytesAndACloneIsByteEqual) {
    auto build = [] {
        camera_metadata_t* metadata = allocate_camera_metadata(3, 32);
        const int32_t region[] = {0, 0, 640, 480, 1};
        const uint8_t mode = 1;
        const camera_metadata_rational_t step = {1, 3};
        add_camera_metadata_entry(metadata, ANDROID_CONTROL_AE_REGIONS, region, 5);
        add_camera_metadata_entry(metadata, ANDROID_CONTROL_MODE, &mode, 1);
        add_camera_metadata_entry(metadata, ANDROID_CONTROL_AE_COMPENSATION_STEP, &step, 1);
        return MetadataPtr(metadata);
    };
    MetadataPtr first = build();
    MetadataPtr second = build();
    const size_t size = get_camera_metadata_size(first.get());
    ASSERT_EQ(get_camera_metadata_data_count(first.get()), 32u);  // exactly full: 24 + 8
    EXPECT_EQ(std::memcmp(first.get(), second.get(), size), 0);

    MetadataPtr clone(clone_camera_metadata(first.get()));
    ASSERT_NE(clone, nullptr);
    ASSERT_EQ(get_camera_metadata_size(clone.get()), size);
    EXPECT_EQ(std::memcmp(first.get(), clone.get(), size), 0);

    // copy_camera_metadata into caller memory packs the same bytes.
    std::vector<uint64_t> storage(size / 8);
    camera_metadata_t* copy = copy_camera_metadata(storage.data(), size, first.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::memcmp(first.get(), copy, size), 0);
    EXPECT_EQ(copy_camera_metadata(storage.data(), size - 8, first.get()), nullptr);

    // place and copy write every header word but the padding (bytes 36..39).
    std::fill(storage.begin(), storage.end(), 0xababababababababull);
    camera_metadata_t* placed = place_camera_metadata(storage.data(), size, 1, 8);
    ASSERT_NE(placed, nullptr);
    EXPECT_EQ(HeaderWordOf(placed, kPadding), 0xababababu);
    ASSERT_NE(copy_camera_metadata(storage.data(), size, first.get()), nullptr);
    EXPECT_EQ(HeaderWordOf(placed, kPadding), 0xababababu);
}

}  // namespace

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
        uint32_t entries, data, size, data_start;
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
        // size, version, flags, entry count and capacity, entries start, data count, capacity and start
        const uint32_t words[] = {c.size, 1, 0, 0, c.entries, kHeaderBytes, 0, c.data, c.data_start};
        for (int word = kSize; word <= kDataStart; ++word) {
            EXPECT_EQ(HeaderWordOf(metadata.get(), HeaderWord(word)), words[word]) << "word " << word;
        }
        uint64_t vendor_id;
        std::memcpy(&vendor_id, reinterpret_cast<const uint8_t*>(metadata.get()) + 40, 8);
        EXPECT_EQ(vendor_id, UINT64_MAX);
    }
}

TEST(BufferLayoutTest, EntryDataSizeIsZeroUpToFourBytesThenPaddedToEight) {
    struct Case {
        uint8_t type;
        size_t count, bytes;
    };
    const Case cases[] = {
        {TYPE_BYTE, 0, 0},     {TYPE_BYTE, 4, 0},      {TYPE_BYTE, 5, 8},  {TYPE_BYTE, 17, 24}, {TYPE_INT32, 1, 0},
        {TYPE_INT32, 2, 8},    {TYPE_INT32, 3, 16},    {TYPE_FLOAT, 1, 0}, {TYPE_INT64, 1, 8},  {TYPE_DOUBLE, 3, 24},
        {TYPE_RATIONAL, 1, 8}, {TYPE_RATIONAL, 9, 72}, {NUM_TYPES, 4, 0},  {0xff, 100, 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(calculate_camera_metadata_entry_data_size(c.type, c.count), c.bytes)
            << "type " << int(c.type) << " count " << c.count;
    }
}

// An inline byte, then five bytes padded to 8 with zeros, then doubles at 8.
TEST(BufferLayoutTest, SmallValuesStayInTheEntryLargeOnesGoPaddedToTheDataArea) {
    MetadataPtr metadata(allocate_camera_metadata(3, 64));
    const uint8_t ae_mode = 3;
    const uint8_t name[5] = {'z', 'e', 'l', 'k', '1'};
    const double gps[] = {1.5, -2.25, 100.0};
    ASSERT_EQ(add_camera_metadata_entry(metadata.get(), ANDROID_CONTROL_AE_MODE, &ae_mode, 1), 0);
    ASSERT_EQ(add_camera_metadata_entry(metadata.get(), ANDROID_INFO_VERSION, name, 5), 0);
    ASSERT_EQ(add_camera_metadata_entry(metadata.get(), ANDROID_JPEG_GPS_COORDINATES, gps, 3), 0);
    EXPECT_EQ(HeaderWordOf(metadata.get(), kDataCount), 8u + 24u);

    const RawEntry inline_entry = RawEntryOf(metadata.get(), 0);
    const uint8_t inline_bytes[8] = {3, 0, 0, 0, TYPE_BYTE, 0, 0, 0};  // value, type, reserved
    EXPECT_EQ(inline_entry.tag, (uint32_t)ANDROID_CONTROL_AE_MODE);
    EXPECT_EQ(inline_entry.count, 1u);
    EXPECT_EQ(std::memcmp(inline_entry.data, inline_bytes, 8), 0);

    const uint8_t* data = reinterpret_cast<const uint8_t*>(metadata.get()) + HeaderWordOf(metadata.get(), kDataStart);
    const uint8_t padded[8] = {'z', 'e', 'l', 'k', '1', 0, 0, 0};
    EXPECT_EQ(OffsetOf(RawEntryOf(metadata.get(), 1)), 0u);
    EXPECT_EQ(std::memcmp(data, padded, 8), 0);
    EXPECT_EQ(OffsetOf(RawEntryOf(metadata.get(), 2)), 8u);
    EXPECT_EQ(std::memcmp(data + 8, gps, sizeof(gps)), 0);
}

TEST(BufferLayoutTest, CloneAndCopyAreByteEqualAndLeaveTheHeaderPadding) {
    MetadataPtr first(allocate_camera_metadata(3, 32));
    const int32_t region[] = {0, 0, 640, 480, 1};
    const uint8_t mode = 1;
    const camera_metadata_rational_t step = {1, 3};
    add_camera_metadata_entry(first.get(), ANDROID_CONTROL_AE_REGIONS, region, 5);
    add_camera_metadata_entry(first.get(), ANDROID_CONTROL_MODE, &mode, 1);
    add_camera_metadata_entry(first.get(), ANDROID_CONTROL_AE_COMPENSATION_STEP, &step, 1);
    const size_t size = get_camera_metadata_size(first.get());
    ASSERT_EQ(get_camera_metadata_data_count(first.get()), 32u);  // exactly full: 24 + 8

    MetadataPtr clone(clone_camera_metadata(first.get()));
    ASSERT_EQ(get_camera_metadata_size(clone.get()), size);
    EXPECT_EQ(std::memcmp(first.get(), clone.get(), size), 0);

    // place and copy write every header word but the padding (bytes 36..39).
    std::vector<uint64_t> storage(size / 8, 0xababababababababull);
    camera_metadata_t* placed = place_camera_metadata(storage.data(), size, 1, 8);
    ASSERT_NE(placed, nullptr);
    EXPECT_EQ(HeaderWordOf(placed, kPadding), 0xababababu);
    EXPECT_EQ(copy_camera_metadata(storage.data(), size - 8, first.get()), nullptr);
    camera_metadata_t* copy = copy_camera_metadata(storage.data(), size, first.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(HeaderWordOf(copy, kPadding), 0xababababu);
    SetHeaderWord(copy, kPadding, 0);
    EXPECT_EQ(std::memcmp(first.get(), copy, size), 0);
}

}  // namespace

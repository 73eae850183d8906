// Editing a buffer: find, sort, update, delete and append keep entries and
// data offsets consistent, and every misuse gives the platform's error result.
#include <gtest/gtest.h>

#include <cerrno>
#include <vector>

#include <camera_metadata_hidden.h>

#include "MetadataTestSupport.h"

using namespace zelkov_test;

namespace {

constexpr int kOk = 0;
constexpr int kError = 1;

std::vector<int32_t> Int32Values(const camera_metadata_entry_t& entry) {
    return std::vector<int32_t>(entry.data.i32, entry.data.i32 + entry.count);
}

// Four entries, two of them in the data area.
MetadataPtr FourEntries(size_t data_capacity = 64) {
    MetadataPtr metadata(allocate_camera_metadata(8, data_capacity));
    const int32_t sensitivity = 400;
    const int32_t crop[] = {0, 0, 4000, 3000};
    const uint8_t af_mode = 4;
    const int64_t durations[] = {33333333, 16666666};
    add_camera_metadata_entry(metadata.get(), ANDROID_SENSOR_SENSITIVITY, &sensitivity, 1);
    add_camera_metadata_entry(metadata.get(), ANDROID_SCALER_CROP_REGION, crop, 4);
    add_camera_metadata_entry(metadata.get(), ANDROID_CONTROL_AF_MODE, &af_mode, 1);
    add_camera_metadata_entry(metadata.get(), ANDROID_SCALER_AVAILABLE_MIN_FRAME_DURATIONS, durations, 2);
    return metadata;
}

// A sorted buffer whose entries carry `tags` (ascending), each with its index as value.
MetadataPtr SortedWithTags(const std::vector<uint32_t>& tags) {
    MetadataPtr metadata(allocate_camera_metadata(tags.size(), 0));
    for (size_t i = 0; i < tags.size(); ++i) {
        const int32_t value = int32_t(i);
        add_camera_metadata_entry(metadata.get(), ANDROID_SENSOR_SENSITIVITY, &value, 1);
        RawEntry raw = RawEntryOf(metadata.get(), i);
        raw.tag = tags[i];
        WriteRawEntry(metadata.get(), i, raw);
    }
    sort_camera_metadata(metadata.get());
    return metadata;
}

TEST(EditTest, SortedFindAnswersEveryPresentAndAbsentTag) {
    for (size_t count : {1, 2, 3, 5, 8, 63, 64, 500}) {
        SCOPED_TRACE(count);
        std::vector<uint32_t> tags(count);
        for (size_t i = 0; i < count; ++i) tags[i] = 0x10 + 2 * uint32_t(i);
        MetadataPtr metadata = SortedWithTags(tags);
        camera_metadata_entry_t entry;
        for (size_t i = 0; i < count; ++i) {
            ASSERT_EQ(find_camera_metadata_entry(metadata.get(), tags[i], &entry), kOk) << i;
            ASSERT_EQ(entry.index, i);
            ASSERT_EQ(entry.data.i32[0], int32_t(i));
            // Below the first, between two and above the last.
            entry.index = 12345;
            ASSERT_EQ(find_camera_metadata_entry(metadata.get(), tags[i] - 1, &entry), -ENOENT) << i;
            ASSERT_EQ(find_camera_metadata_entry(metadata.get(), tags[i] + 1, &entry), -ENOENT) << i;
            ASSERT_EQ(entry.index, 12345u);  // left as it was
        }
    }
}

// add accepts a tag twice; the platform's bsearch stops at the first equal
// tag it probes (base + n/2, then the half holding the key).
TEST(EditTest, SortedFindPicksAmongEqualTagsAsThePlatform) {
    const struct {
        std::vector<uint32_t> tags;
        uint32_t tag;
        size_t index;
    } cases[] = {
        {{5, 5}, 5, 1},
        {{5, 5, 5}, 5, 1},
        {{5, 5, 5, 5}, 5, 2},
        {{5, 5, 6}, 5, 1},
        {{4, 5, 5}, 5, 1},
        {{4, 5, 5, 5, 6}, 5, 2},
        {{5, 5, 6, 6, 6, 6, 6, 7}, 5, 1},
        {{5, 5, 6, 6, 6, 6, 6, 7}, 6, 4},
    };
    for (const auto& c : cases) {
        MetadataPtr metadata = SortedWithTags(c.tags);
        camera_metadata_entry_t entry;
        ASSERT_EQ(find_camera_metadata_entry(metadata.get(), c.tag, &entry), kOk);
        EXPECT_EQ(entry.index, c.index) << c.tags.size() << " entries, tag " << c.tag;
    }
}

TEST(EditTest, FindWorksUnsortedAndSortedAndSortOrdersByTag) {
    MetadataPtr metadata = FourEntries();
    camera_metadata_entry_t entry;
    ASSERT_EQ(find_camera_metadata_entry(metadata.get(), ANDROID_SCALER_CROP_REGION, &entry), kOk);
    EXPECT_EQ(entry.index, 1u);
    ASSERT_EQ(sort_camera_metadata(metadata.get()), kOk);
    const uint32_t sorted[] = {ANDROID_CONTROL_AF_MODE, ANDROID_SCALER_CROP_REGION,
                               ANDROID_SCALER_AVAILABLE_MIN_FRAME_DURATIONS, ANDROID_SENSOR_SENSITIVITY};
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(RawEntryOf(metadata.get(), i).tag, sorted[i]) << i;
    ASSERT_EQ(find_camera_metadata_entry(metadata.get(), ANDROID_SENSOR_SENSITIVITY, &entry), kOk);
    EXPECT_EQ(entry.data.i32[0], 400);
    EXPECT_EQ(find_camera_metadata_entry(metadata.get(), ANDROID_LENS_APERTURE, &entry), -ENOENT);
    // Adding clears the sorted flag; the new entry is still found.
    const float aperture = 1.8f;
    ASSERT_EQ(add_camera_metadata_entry(metadata.get(), ANDROID_LENS_APERTURE, &aperture, 1), kOk);
    EXPECT_EQ(HeaderWordOf(metadata.get(), kFlags) & 1u, 0u);
    ASSERT_EQ(find_camera_metadata_entry(metadata.get(), ANDROID_LENS_APERTURE, &entry), kOk);
}

TEST(EditTest, UpdateGrowsShrinksAndRewritesInPlace) {
    MetadataPtr metadata = FourEntries();  // crop region: 16 bytes at 0, durations: 16 at 16
    camera_metadata_entry_t entry;
    const int32_t crop[] = {8, 8, 3992, 2992};
    ASSERT_EQ(update_camera_metadata_entry(metadata.get(), 1, crop, 4, &entry), kOk);
    EXPECT_EQ(OffsetOf(RawEntryOf(metadata.get(), 1)), 0u);  // same padded size: where it was
    EXPECT_EQ(Int32Values(entry), (std::vector<int32_t>(crop, crop + 4)));
    // Growing out of the entry: to the end of the data area.
    const int32_t sensitivities[] = {100, 200, 400};
    ASSERT_EQ(update_camera_metadata_entry(metadata.get(), 0, sensitivities, 3, &entry), kOk);
    EXPECT_EQ(OffsetOf(RawEntryOf(metadata.get(), 0)), 32u);
    // Shrinking into the entry: later values and their offsets move down.
    const int32_t single = 7;
    ASSERT_EQ(update_camera_metadata_entry(metadata.get(), 1, &single, 1, &entry), kOk);
    EXPECT_EQ(entry.data.i32[0], 7);
    EXPECT_EQ(HeaderWordOf(metadata.get(), kDataCount), 32u);
    EXPECT_EQ(OffsetOf(RawEntryOf(metadata.get(), 0)), 16u);
    EXPECT_EQ(OffsetOf(RawEntryOf(metadata.get(), 3)), 0u);
    ASSERT_EQ(get_camera_metadata_entry(metadata.get(), 3, &entry), kOk);
    EXPECT_EQ(entry.data.i64[1], 16666666);
    // No room, or no such entry: nothing changes.
    const std::vector<int32_t> huge(64, 1);
    EXPECT_EQ(update_camera_metadata_entry(metadata.get(), 1, huge.data(), huge.size(), nullptr), kError);
    EXPECT_EQ(RawEntryOf(metadata.get(), 1).count, 1u);
    EXPECT_EQ(update_camera_metadata_entry(metadata.get(), 4, &single, 1, nullptr), kError);
    // Fewer values inside the entry's four bytes: only their bytes change.
    const uint8_t modes[] = {1, 2, 3, 4}, fewer[] = {9, 8}, kept[] = {9, 8, 3, 4};
    ASSERT_EQ(add_camera_metadata_entry(metadata.get(), ANDROID_CONTROL_AE_AVAILABLE_MODES, modes, 4), kOk);
    ASSERT_EQ(update_camera_metadata_entry(metadata.get(), 4, fewer, 2, nullptr), kOk);
    EXPECT_EQ(std::memcmp(RawEntryOf(metadata.get(), 4).data, kept, 4), 0);
}

TEST(EditTest, DeleteMovesLaterEntriesAndData) {
    MetadataPtr metadata = FourEntries();
    ASSERT_EQ(delete_camera_metadata_entry(metadata.get(), 1), kOk);  // the crop region
    EXPECT_EQ(get_camera_metadata_data_count(metadata.get()), 16u);
    camera_metadata_entry_t entry;
    ASSERT_EQ(get_camera_metadata_entry(metadata.get(), 2, &entry), kOk);
    EXPECT_EQ(entry.tag, (uint32_t)ANDROID_SCALER_AVAILABLE_MIN_FRAME_DURATIONS);
    EXPECT_EQ(entry.data.i64[1], 16666666);
    EXPECT_EQ(delete_camera_metadata_entry(metadata.get(), 3), kError);
}

TEST(EditTest, AppendShiftsOffsetsAndCloneCompacts) {
    MetadataPtr dst = FourEntries(96);
    MetadataPtr src(allocate_camera_metadata(2, 16));
    const int32_t fps[] = {30, 30};
    add_camera_metadata_entry(src.get(), ANDROID_CONTROL_AE_TARGET_FPS_RANGE, fps, 2);
    sort_camera_metadata(dst.get());
    ASSERT_EQ(append_camera_metadata(dst.get(), src.get()), kOk);
    EXPECT_EQ(OffsetOf(RawEntryOf(dst.get(), 4)), 32u);
    EXPECT_EQ(HeaderWordOf(dst.get(), kFlags) & 1u, 0u);
    MetadataPtr clone(clone_camera_metadata(dst.get()));
    EXPECT_EQ(get_camera_metadata_entry_capacity(clone.get()), 5u);
    EXPECT_EQ(get_camera_metadata_data_capacity(clone.get()), 40u);
    camera_metadata_entry_t entry;
    ASSERT_EQ(find_camera_metadata_entry(clone.get(), ANDROID_CONTROL_AE_TARGET_FPS_RANGE, &entry), kOk);
    EXPECT_EQ(Int32Values(entry), (std::vector<int32_t>{30, 30}));
    EXPECT_EQ(append_camera_metadata(clone.get(), src.get()), kError);  // no room
}

// Appending an empty buffer still settles the vendor id and the sorted flag.
TEST(EditTest, AppendOfAnEmptyBufferComparesAndCopiesItsVendorId) {
    constexpr metadata_vendor_id_t kNone = CAMERA_METADATA_INVALID_VENDOR_ID;
    struct Case {
        metadata_vendor_id_t dst_id, src_id;
        bool dst_empty;
        int result;
        metadata_vendor_id_t dst_id_after;
        uint32_t dst_sorted_after;
    };
    const Case cases[] = {
        {kNone, 7, true, kOk, 7, 1},
        {5, 7, true, kError, 5, 0},
        {5, kNone, false, kOk, 5, 0},
        {kNone, 7, false, kOk, 7, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.dst_id << " <- " << c.src_id << (c.dst_empty ? ", empty" : ""));
        MetadataPtr dst = c.dst_empty ? MetadataPtr(allocate_camera_metadata(1, 0)) : FourEntries();
        MetadataPtr src(allocate_camera_metadata(0, 0));
        set_camera_metadata_vendor_id(dst.get(), c.dst_id);
        set_camera_metadata_vendor_id(src.get(), c.src_id);
        sort_camera_metadata(src.get());
        EXPECT_EQ(append_camera_metadata(dst.get(), src.get()), c.result);
        EXPECT_EQ(get_camera_metadata_vendor_id(dst.get()), c.dst_id_after);
        EXPECT_EQ(HeaderWordOf(dst.get(), kFlags) & 1u, c.dst_sorted_after);
    }
    MetadataPtr empty(allocate_camera_metadata(0, 0));
    set_camera_metadata_vendor_id(empty.get(), 7);
    MetadataPtr clone(clone_camera_metadata(empty.get()));
    EXPECT_EQ(get_camera_metadata_vendor_id(clone.get()), 7u);
}

TEST(EditTest, CapacityUnknownTagsAndNullArgumentsGiveErrors) {
    MetadataPtr metadata(allocate_camera_metadata(1, 8));
    const int32_t value[] = {1, 2, 3};
    const uint32_t compensation = ANDROID_CONTROL_AE_EXPOSURE_COMPENSATION;
    EXPECT_EQ(add_camera_metadata_entry(metadata.get(), ANDROID_CONTROL_AE_REGIONS, value, 3), kError);  // 16 > 8
    for (uint32_t unknown :
         {uint32_t(ANDROID_SECTION_COUNT) << 16, uint32_t(ANDROID_CONTROL_END), uint32_t(VENDOR_SECTION_START)}) {
        EXPECT_EQ(add_camera_metadata_entry(metadata.get(), unknown, value, 1), kError) << unknown;
    }
    EXPECT_EQ(add_camera_metadata_entry(metadata.get(), compensation, nullptr, 1), kError);
    EXPECT_EQ(add_camera_metadata_entry(nullptr, compensation, value, 1), kError);
    ASSERT_EQ(add_camera_metadata_entry(metadata.get(), compensation, value, 1), kOk);
    EXPECT_EQ(add_camera_metadata_entry(metadata.get(), compensation, value, 1), kError);  // no entry left

    camera_metadata_entry_t entry;
    EXPECT_EQ(get_camera_metadata_entry(metadata.get(), 1, &entry), kError);
    EXPECT_EQ(get_camera_metadata_entry(metadata.get(), 0, nullptr), kError);
    EXPECT_EQ(find_camera_metadata_entry(nullptr, compensation, &entry), kError);
    EXPECT_EQ(clone_camera_metadata(nullptr), nullptr);
    EXPECT_EQ(append_camera_metadata(metadata.get(), nullptr), kError);
    EXPECT_EQ(get_camera_metadata_size(nullptr), 1u);  // the platform's error code, not 0
}

}  // namespace

// Where the device crashes or corrupts memory, the stand-in stops with one line.
TEST(EditDeathTest, MisuseTheDeviceCrashesOnAborts) {
    MetadataPtr metadata = FourEntries();
    std::vector<uint64_t> block(32);
    EXPECT_DEATH(get_camera_metadata_entry_count(nullptr), "get_camera_metadata_entry_count: null metadata");
    EXPECT_DEATH(get_camera_metadata_data_capacity(nullptr), "get_camera_metadata_data_capacity: null metadata");
    EXPECT_DEATH(copy_camera_metadata(block.data(), 256, nullptr), "copy_camera_metadata: null metadata");
    EXPECT_DEATH(update_camera_metadata_entry(metadata.get(), 1, nullptr, 2, nullptr),
                 "update_camera_metadata_entry: null data for 2 values");
    char name[4];
    EXPECT_DEATH(camera_metadata_enum_snprint(ANDROID_CONTROL_MODE, 0, name, 0),
                 "camera_metadata_enum_snprint: no room");

    // A data count short of the values (validation allows it, up to the
    // capacity): append would lose them, delete would move a negative length.
    SetHeaderWord(metadata.get(), kDataCount, 16);
    MetadataPtr room(allocate_camera_metadata(8, 64));
    EXPECT_DEATH(append_camera_metadata(room.get(), metadata.get()),
                 "append_camera_metadata: entry 0xd000b has data past");
    EXPECT_DEATH(delete_camera_metadata_entry(metadata.get(), 3), "delete_camera_metadata_entry: entry 0xd000b");
    // After a ragged data count, appended values would be misaligned.
    MetadataPtr ragged = FourEntries(96);
    SetHeaderWord(ragged.get(), kDataCount, 36);
    EXPECT_DEATH(append_camera_metadata(ragged.get(), FourEntries().get()),
                 "append_camera_metadata: destination data count 36 is not a multiple of 8");
}

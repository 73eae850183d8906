// validate_camera_metadata_structure gives the platform's answers without
// reading outside the buffer: buffers here live in heap blocks of exactly
// their size, so under AddressSanitizer a read past the end fails the test.
// Single-bit damage in general is the metadata fuzz target's job.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "MetadataTestSupport.h"

using namespace zelkov_test;

namespace {

constexpr int kOk = 0;
constexpr int kError = CAMERA_METADATA_VALIDATION_ERROR;

// Sorted: colorCorrection.transform (24 data bytes at 0), control.afRegions
// (24 at 24), control.mode (inline), sensor.exposureTime (8 at 48). Capacity
// 4 entries and 64 data bytes: entries at 48, data at 112, size 176.
std::vector<uint64_t> ValidBuffer() {
    MetadataPtr source(allocate_camera_metadata(4, 64));
    const uint8_t mode = 1;
    const int32_t region[] = {0, 0, 100, 100, 1};
    const int64_t exposure = 1000000;
    const camera_metadata_rational_t transform[] = {{1, 1}, {0, 1}, {0, 1}};
    add_camera_metadata_entry(source.get(), ANDROID_CONTROL_MODE, &mode, 1);
    add_camera_metadata_entry(source.get(), ANDROID_CONTROL_AF_REGIONS, region, 5);
    add_camera_metadata_entry(source.get(), ANDROID_SENSOR_EXPOSURE_TIME, &exposure, 1);
    add_camera_metadata_entry(source.get(), ANDROID_COLOR_CORRECTION_TRANSFORM, transform, 3);
    sort_camera_metadata(source.get());
    std::vector<uint64_t> block(get_camera_metadata_size(source.get()) / 8);
    std::memcpy(block.data(), source.get(), block.size() * 8);
    return block;
}

using Change = std::function<void(camera_metadata_t*, size_t& expected_size)>;

Change Set(HeaderWord word, uint32_t value) {
    return [=](camera_metadata_t* m, size_t&) { SetHeaderWord(m, word, value); };
}
Change Add(HeaderWord word, uint32_t delta) {
    return [=](camera_metadata_t* m, size_t&) { SetHeaderWord(m, word, HeaderWordOf(m, word) + delta); };
}
Change Edit(size_t index, std::function<void(RawEntry&)> edit) {
    return [=](camera_metadata_t* m, size_t&) {
        RawEntry entry = RawEntryOf(m, index);
        edit(entry);
        WriteRawEntry(m, index, entry);
    };
}
void SetOffset(RawEntry& e, uint32_t offset) { std::memcpy(e.data, &offset, 4); }

int Int32Type(const vendor_tag_ops_t*, uint32_t) { return TYPE_INT32; }

// Each case is checked at an 8-byte aligned address and 4 bytes off it, where
// a sound buffer is SHIFTED and a malformed one still an error. The vendor
// ops call every vendor tag int32, which validation does not check.
TEST(ValidateTest, AnswersThePlatformsResultAlignedAndShifted) {
    vendor_tag_ops_t ops{};
    ops.get_tag_type = Int32Type;
    set_camera_metadata_vendor_ops(&ops);
    struct Case {
        const char* what;
        Change change;
        int result;
    };
    const Case cases[] = {
        {"sound buffer", [](camera_metadata_t*, size_t&) {}, kOk},
        {"size beyond the expected size", Add(kSize, 8), kError},
        {"expected size below the header", [](camera_metadata_t*, size_t& size) { size = kHeaderBytes - 1; }, kError},
        {"more entries than capacity", Set(kEntryCount, 5), kError},
        {"more data than capacity", Set(kDataCount, 72), kError},
        {"entries overlapping data", Add(kEntryCapacity, 1), kError},
        // The end of the entries counts capacity times 16 bytes: one more
        // entry than fits is caught even though start + capacity fits.
        {"data start inside the entry array", Set(kDataStart, 64), kError},
        {"data start one entry early", Add(kDataStart, static_cast<uint32_t>(-kEntryBytes)), kError},
        {"entries start wrapping", Set(kEntriesStart, 0xffffffc0u), kError},
        {"entry capacity times 16 wrapping", Set(kEntryCapacity, 0x10000000u), kError},
        {"gap between entries and data",
         [](camera_metadata_t* m, size_t&) {
             SetHeaderWord(m, kDataStart, 120);
             SetHeaderWord(m, kDataCapacity, 56);
         },
         kOk},
        {"data area ending before the size", Add(kDataCapacity, static_cast<uint32_t>(-8)), kOk},
        {"entry capacity wrapping", Set(kEntryCapacity, 0x10000001u), kError},
        {"data past the end", Add(kDataCapacity, 8), kError},
        {"data start wrapping", Set(kDataStart, 0xfffffff8u), kError},
        {"data capacity wrapping", Set(kDataCapacity, 0xfffffff0u), kError},
        {"data count not a multiple of 8", Set(kDataCount, 57), kOk},
        {"values past the data count, within capacity", Set(kDataCount, 8), kOk},
        {"unknown type", Edit(2, [](RawEntry& e) { e.type = NUM_TYPES; }), kError},
        {"type other than the tag's", Edit(2, [](RawEntry& e) { e.type = TYPE_INT32; }), kError},
        {"unknown standard tag", Edit(2, [](RawEntry& e) { e.tag = ANDROID_CONTROL_END; }), kError},
        {"vendor tag of any type", Edit(2, [](RawEntry& e) { e.tag = VENDOR_SECTION_START + 1; }), kOk},
        {"int32 values at offset 4", Edit(1, [](RawEntry& e) { SetOffset(e, 4); }), kError},
        {"values ending past the capacity", Edit(1, [](RawEntry& e) { SetOffset(e, 48); }), kError},
        {"offset wrapping", Edit(3, [](RawEntry& e) { SetOffset(e, 0xfffffff8u); }), kError},
        {"count overflowing 32 bits", Edit(3, [](RawEntry& e) { e.count = 0x20000001u; }), kError},
        {"empty entry with an offset",
         Edit(2,
              [](RawEntry& e) {
                  e.count = 0;
                  e.data[0] = 8;
              }),
         kError},
    };
    const std::vector<uint64_t> pristine = ValidBuffer();
    const size_t bytes = pristine.size() * 8;
    for (const Case& c : cases) {
        for (size_t shift : {0, 4}) {
            SCOPED_TRACE(testing::Message() << c.what << ", shifted by " << shift);
            std::vector<uint64_t> damaged = pristine;
            size_t expected_size = bytes;
            c.change(reinterpret_cast<camera_metadata_t*>(damaged.data()), expected_size);
            // Ends exactly with its block, `shift` bytes into the block's alignment.
            std::unique_ptr<uint8_t[]> block(new uint8_t[bytes + shift]);
            auto* at = reinterpret_cast<camera_metadata_t*>(block.get() + shift);
            std::memcpy(at, damaged.data(), bytes);
            const int shifted_result = c.result == kOk ? CAMERA_METADATA_VALIDATION_SHIFTED : kError;
            EXPECT_EQ(validate_camera_metadata_structure(at, &expected_size), shift == 0 ? c.result : shifted_result);
        }
    }
    EXPECT_EQ(validate_camera_metadata_structure(nullptr, nullptr), kError);
    set_camera_metadata_vendor_ops(nullptr);
}

// Validation bounds the entries and the data by data_start and size only, so
// an empty buffer may place either inside its header: valid (and shifted when
// misaligned), but the first write there would overwrite the header.
TEST(ValidateDeathTest, RegionsInsideTheHeaderAreValidButNotWritable) {
    MetadataPtr entries(clone_camera_metadata(reinterpret_cast<camera_metadata_t*>(ValidBuffer().data())));
    MetadataPtr values_only(allocate_camera_metadata(0, 8));
    SetHeaderWord(values_only.get(), kDataCount, 8);
    MetadataPtr nothing(allocate_camera_metadata(1, 8));
    const int32_t region[] = {0, 0, 100, 100, 1};
    using Write = std::function<int(camera_metadata_t*)>;
    const Write add = [&](camera_metadata_t* m) {
        return add_camera_metadata_entry(m, ANDROID_CONTROL_AF_REGIONS, region, 5);
    };
    const auto append = [](const camera_metadata_t* src) {
        return Write([=](camera_metadata_t* m) { return append_camera_metadata(m, src); });
    };
    struct Case {
        const char* what;
        uint32_t entries_start, entry_capacity, data_start;
        Write write;
        const char* rule;  // nullptr: the write is harmless and succeeds
    };
    const Case cases[] = {
        {"entries at byte 0", 0, 4, 112, add, "add_camera_metadata_entry: new entry at byte 0 inside the 48-byte"},
        {"entries at byte 32", 32, 4, 112, add, "add_camera_metadata_entry: new entry at byte 32 inside the 48-byte"},
        {"appended entries", 16, 4, 112, append(entries.get()),
         "append_camera_metadata: appended entries at byte 16 inside the 48-byte"},
        {"appended values", 40, 0, 40, append(values_only.get()),
         "append_camera_metadata: appended values at byte 40 inside the 48-byte"},
        {"appending nothing", 16, 4, 112, append(nothing.get()), nullptr},
    };
    const size_t size = 176;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<uint64_t> block(size / 8 + 1);
        camera_metadata_t* metadata = place_camera_metadata(block.data(), size, 4, 64);
        ASSERT_NE(metadata, nullptr);
        SetHeaderWord(metadata, kEntriesStart, c.entries_start);
        SetHeaderWord(metadata, kEntryCapacity, c.entry_capacity);
        SetHeaderWord(metadata, kDataStart, c.data_start);
        EXPECT_EQ(validate_camera_metadata_structure(metadata, &size), kOk);
        std::vector<uint64_t> copy(block.size());
        auto* shifted = reinterpret_cast<camera_metadata_t*>(reinterpret_cast<uint8_t*>(copy.data()) + 4);
        std::memcpy(shifted, metadata, size);
        EXPECT_EQ(validate_camera_metadata_structure(shifted, &size), CAMERA_METADATA_VALIDATION_SHIFTED);
        if (c.rule == nullptr) {
            EXPECT_EQ(c.write(metadata), kOk);
        } else {
            EXPECT_DEATH(c.write(metadata), c.rule);
        }
    }
}

// A shifted buffer is read through copies: clone and the checked copy give
// sound aligned buffers with its entries (UBSan reports any misaligned read).
TEST(ValidateTest, ShiftedBufferIsClonedAndCopiedIntoAlignedOnes) {
    const std::vector<uint64_t> pristine = ValidBuffer();
    const size_t bytes = pristine.size() * 8;
    std::vector<uint64_t> block(pristine.size() + 1);
    auto* shifted = reinterpret_cast<camera_metadata_t*>(reinterpret_cast<uint8_t*>(block.data()) + 4);
    std::memcpy(shifted, pristine.data(), bytes);

    MetadataPtr clone(clone_camera_metadata(shifted));
    MetadataPtr copy(allocate_copy_camera_metadata_checked(shifted, bytes));
    for (camera_metadata_t* aligned : {clone.get(), copy.get()}) {
        ASSERT_NE(aligned, nullptr);
        EXPECT_EQ(validate_camera_metadata_structure(aligned, nullptr), kOk);
        camera_metadata_ro_entry_t entry;
        ASSERT_EQ(find_camera_metadata_ro_entry(aligned, ANDROID_SENSOR_EXPOSURE_TIME, &entry), kOk);
        EXPECT_EQ(entry.data.i64[0], 1000000);
    }
    EXPECT_EQ(allocate_copy_camera_metadata_checked(shifted, bytes - 8), nullptr);
    EXPECT_EQ(get_camera_metadata_alignment(), 8u);
}

}  // namespace

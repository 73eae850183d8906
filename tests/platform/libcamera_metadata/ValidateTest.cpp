// validate_camera_metadata_structure rejects malformed buffers without reading
// outside them. Buffers here live in heap blocks of exactly their size, so
// under AddressSanitizer a read past the end fails the test.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "MetadataTestSupport.h"

using namespace zelkov_test;

namespace {

constexpr int kOk = 0;
constexpr int kError = 1;

// A valid sorted buffer with inline and data-area values, copied into an
// exactly sized, 8-byte aligned block that a case may then damage.
class ValidateTest : public testing::Test {
protected:
    void SetUp() override {
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
        m_size = get_camera_metadata_size(source.get());
        m_block.reset(new uint64_t[m_size / 8]);
        std::memcpy(m_block.get(), source.get(), m_size);
    }

    camera_metadata_t* Buffer() { return reinterpret_cast<camera_metadata_t*>(m_block.get()); }
    int Validate() { return validate_camera_metadata_structure(Buffer(), &m_size); }

    size_t m_size = 0;
    std::unique_ptr<uint64_t[]> m_block;
};

TEST_F(ValidateTest, AcceptsAWellFormedBuffer) {
    EXPECT_EQ(Validate(), kOk);
    EXPECT_EQ(validate_camera_metadata_structure(Buffer(), nullptr), kOk);
}

TEST_F(ValidateTest, RejectsBadSizesAndArguments) {
    EXPECT_EQ(validate_camera_metadata_structure(nullptr, &m_size), kError);
    size_t smaller = m_size - 8;
    EXPECT_EQ(validate_camera_metadata_structure(Buffer(), &smaller), kError);
    size_t below_header = kHeaderBytes - 1;
    EXPECT_EQ(validate_camera_metadata_structure(Buffer(), &below_header), kError);
}

TEST_F(ValidateTest, ReportsAShiftedBuffer) {
    std::vector<uint64_t> shifted(m_size / 8 + 1);
    uint8_t* at = reinterpret_cast<uint8_t*>(shifted.data()) + 4;
    std::memcpy(at, Buffer(), m_size);
    EXPECT_EQ(validate_camera_metadata_structure(reinterpret_cast<camera_metadata_t*>(at), &m_size),
              CAMERA_METADATA_VALIDATION_SHIFTED);
}

TEST_F(ValidateTest, RejectsDamagedHeaders) {
    struct Case {
        const char* what;
        HeaderWord word;
        std::function<uint32_t(uint32_t)> change;
    };
    const Case cases[] = {
        {"size beyond the block", kSize, [](uint32_t v) { return v + 8; }},
        {"size below the header", kSize, [](uint32_t) { return 16u; }},
        {"more entries than capacity", kEntryCount, [](uint32_t) { return 5u; }},
        {"more data than capacity", kDataCount, [](uint32_t v) { return v + 200; }},
        {"entries inside the header", kEntriesStart, [](uint32_t) { return 8u; }},
        {"entries misaligned", kEntriesStart, [](uint32_t v) { return v + 2; }},
        {"entries overlapping data", kEntryCapacity, [](uint32_t v) { return v + 1; }},
        {"entry capacity wrapping", kEntryCapacity, [](uint32_t) { return 0x10000001u; }},
        {"data misaligned", kDataStart, [](uint32_t v) { return v + 4; }},
        {"data past the end", kDataCapacity, [](uint32_t v) { return v + 8; }},
        {"data start wrapping", kDataStart, [](uint32_t) { return 0xfffffff8u; }},
        {"data capacity wrapping", kDataCapacity, [](uint32_t) { return 0xfffffff0u; }},
    };
    const std::vector<uint64_t> pristine(m_block.get(), m_block.get() + m_size / 8);
    for (const Case& c : cases) {
        std::memcpy(m_block.get(), pristine.data(), m_size);
        SetHeaderWord(Buffer(), c.word, c.change(HeaderWordOf(Buffer(), c.word)));
        EXPECT_EQ(Validate(), kError) << c.what;
    }
}

TEST_F(ValidateTest, RejectsDamagedEntries) {
    // Sorted order: colorCorrection.transform (data), control.afRegions (data),
    // control.mode (inline), sensor.exposureTime (data).
    struct Case {
        const char* what;
        size_t index;
        std::function<void(RawEntry&)> change;
    };
    const Case cases[] = {
        {"unknown type", 2, [](RawEntry& e) { e.type = NUM_TYPES; }},
        {"type other than the tag's", 2, [](RawEntry& e) { e.type = TYPE_INT32; }},
        {"unknown standard tag", 2, [](RawEntry& e) { e.tag = ANDROID_CONTROL_END; }},
        {"offset past the data", 1, [](RawEntry& e) { uint32_t o = 40; std::memcpy(e.data, &o, 4); }},
        {"offset wrapping", 3, [](RawEntry& e) { uint32_t o = 0xfffffff8u; std::memcpy(e.data, &o, 4); }},
        {"count past the data", 1, [](RawEntry& e) { e.count = 100; }},
        {"count overflowing 32 bits", 3, [](RawEntry& e) { e.count = 0x20000001u; }},
        {"int64 at a misaligned offset", 3, [](RawEntry& e) { uint32_t o = 4; std::memcpy(e.data, &o, 4); }},
        {"empty entry with an offset", 2, [](RawEntry& e) { e.count = 0; e.data[0] = 8; }},
    };
    const std::vector<uint64_t> pristine(m_block.get(), m_block.get() + m_size / 8);
    for (const Case& c : cases) {
        std::memcpy(m_block.get(), pristine.data(), m_size);
        RawEntry entry = RawEntryOf(Buffer(), c.index);
        c.change(entry);
        WriteRawEntry(Buffer(), c.index, entry);
        EXPECT_EQ(Validate(), kError) << c.what;
    }
}

// Every single-bit flip of the header and entries either is rejected or
// leaves a buffer whose every entry lies inside it.
TEST_F(ValidateTest, EveryBitFlipIsRejectedOrHarmless) {
    const std::vector<uint64_t> pristine(m_block.get(), m_block.get() + m_size / 8);
    const size_t checked_bytes = HeaderWordOf(Buffer(), kDataStart);
    int rejected = 0;
    for (size_t byte = 0; byte < checked_bytes; ++byte) {
        for (int bit = 0; bit < 8; ++bit) {
            std::memcpy(m_block.get(), pristine.data(), m_size);
            reinterpret_cast<uint8_t*>(m_block.get())[byte] ^= uint8_t(1u << bit);
            if (Validate() != kOk) {
                ++rejected;
                continue;
            }
            const uint8_t* begin = reinterpret_cast<const uint8_t*>(m_block.get());
            for (size_t i = 0; i < get_camera_metadata_entry_count(Buffer()); ++i) {
                camera_metadata_ro_entry_t entry;
                ASSERT_EQ(get_camera_metadata_ro_entry(Buffer(), i, &entry), kOk);
                const uint8_t* end = entry.data.u8 + entry.count * camera_metadata_type_size[entry.type];
                ASSERT_TRUE(entry.data.u8 >= begin && end <= begin + m_size) << "byte " << byte << " bit " << bit;
            }
        }
    }
    EXPECT_GT(rejected, 0);
}

}  // namespace

// The standard sections and tags, and vendor tags through the vendor ops.
#include <gtest/gtest.h>

#include <string>

#include "MetadataTestSupport.h"

using namespace zelkov_test;

namespace {

TEST(TagTableTest, StandardTagsHaveThePlatformNamesAndTypes) {
    struct Case {
        uint32_t tag;
        const char* section;
        const char* name;
        int type;
    };
    const Case cases[] = {
        {0x00000, "android.colorCorrection", "mode", TYPE_BYTE},
        {0x00001, "android.colorCorrection", "transform", TYPE_RATIONAL},
        {0x10003, "android.control", "aeMode", TYPE_BYTE},
        {0x10005, "android.control", "aeTargetFpsRange", TYPE_INT32},
        {0x10016, "android.control", "aeCompensationStep", TYPE_RATIONAL},
        {0x50001, "android.flash.info", "chargeDuration", TYPE_INT64},
        {0x70000, "android.jpeg", "gpsCoordinates", TYPE_DOUBLE},
        {0x80000, "android.lens", "aperture", TYPE_FLOAT},
        {0xD0000, "android.scaler", "cropRegion", TYPE_INT32},
        {0xE0000, "android.sensor", "exposureTime", TYPE_INT64},
        {0xE0010, "android.sensor", "timestamp", TYPE_INT64},
        {0xF0000, "android.sensor.info", "activeArraySize", TYPE_INT32},
        {0x150000, "android.info", "supportedHardwareLevel", TYPE_BYTE},
        {0x170000, "android.sync", "frameNumber", TYPE_INT64},
        {0x1003E, "android.control", "aeAvailablePriorityModes", TYPE_BYTE},
        {0xD001B, "android.scaler", "rawCropRegion", TYPE_INT32},
        {0x220001, "android.sharedSession", "outputConfigurations", TYPE_INT64},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_NE(get_camera_metadata_tag_name(c.tag), nullptr);
        EXPECT_STREQ(get_camera_metadata_section_name(c.tag), c.section);
        EXPECT_STREQ(get_camera_metadata_tag_name(c.tag), c.name);
        EXPECT_EQ(get_camera_metadata_tag_type(c.tag), c.type);
    }
    EXPECT_EQ(uint32_t(ANDROID_CONTROL_AE_MODE), 0x10003u);
    EXPECT_EQ(uint32_t(ANDROID_SENSOR_TIMESTAMP), 0xE0010u);
}

TEST(TagTableTest, EverySectionStartsAtItsIndexAndNamesEachTagUpToItsEnd) {
    EXPECT_EQ(int(ANDROID_SECTION_COUNT), 35);
    for (unsigned section = 0; section < ANDROID_SECTION_COUNT; ++section) {
        SCOPED_TRACE(camera_metadata_section_names[section]);
        const uint32_t start = camera_metadata_section_bounds[section][0];
        const uint32_t end = camera_metadata_section_bounds[section][1];
        EXPECT_EQ(start, section << 16);
        EXPECT_GT(end, start);
        EXPECT_EQ(std::string(camera_metadata_section_names[section]).rfind("android.", 0), 0u);
        for (uint32_t tag = start; tag < end; ++tag) {
            EXPECT_NE(get_camera_metadata_tag_name(tag), nullptr) << tag;
            EXPECT_GE(get_camera_metadata_tag_type(tag), TYPE_BYTE);
            EXPECT_LT(get_camera_metadata_tag_type(tag), NUM_TYPES);
        }
        EXPECT_EQ(get_camera_metadata_tag_name(end), nullptr);
        EXPECT_EQ(get_camera_metadata_tag_type(end), -1);
    }
    EXPECT_EQ(get_camera_metadata_section_name(ANDROID_SECTION_COUNT << 16), nullptr);
}

// Vendor tags answered by a table of two tags, as a camera module would.
constexpr uint32_t kVendorStart = VENDOR_SECTION_START;
const char* VendorSection(const vendor_tag_ops_t*, uint32_t tag) {
    return tag - kVendorStart < 2 ? "com.example.test" : nullptr;
}
const char* VendorName(const vendor_tag_ops_t*, uint32_t tag) {
    return tag == kVendorStart ? "level" : tag == kVendorStart + 1 ? "weights" : nullptr;
}
int VendorType(const vendor_tag_ops_t*, uint32_t tag) {
    return tag == kVendorStart ? TYPE_INT32 : tag == kVendorStart + 1 ? TYPE_DOUBLE : -1;
}

// The cache ops answer per vendor id: only id 7 knows the tag, as a byte.
const char* CacheSection(uint32_t, metadata_vendor_id_t id) { return id == 7 ? "com.example.cache" : nullptr; }
const char* CacheName(uint32_t, metadata_vendor_id_t id) { return id == 7 ? "flag" : nullptr; }
int CacheType(uint32_t, metadata_vendor_id_t id) { return id == 7 ? TYPE_BYTE : -1; }

TEST(TagTableTest, VendorTagsGoThroughTheVendorOps) {
    vendor_tag_ops_t ops{};
    ops.get_section_name = VendorSection;
    ops.get_tag_name = VendorName;
    ops.get_tag_type = VendorType;
    MetadataPtr metadata(allocate_camera_metadata(2, 16));
    const double weights[] = {0.25, 0.75};

    EXPECT_EQ(get_camera_metadata_tag_name(VENDOR_SECTION_START), nullptr);
    ASSERT_EQ(set_camera_metadata_vendor_ops(&ops), 0);
    EXPECT_STREQ(get_camera_metadata_section_name(VENDOR_SECTION_START + 1), "com.example.test");
    EXPECT_STREQ(get_camera_metadata_tag_name(VENDOR_SECTION_START + 1), "weights");
    EXPECT_EQ(get_camera_metadata_tag_type(VENDOR_SECTION_START), TYPE_INT32);
    ASSERT_EQ(add_camera_metadata_entry(metadata.get(), VENDOR_SECTION_START + 1, weights, 2), 0);
    EXPECT_EQ(add_camera_metadata_entry(metadata.get(), VENDOR_SECTION_START + 2, weights, 1), 1);
    camera_metadata_ro_entry_t entry;
    ASSERT_EQ(find_camera_metadata_ro_entry(metadata.get(), VENDOR_SECTION_START + 1, &entry), 0);
    EXPECT_EQ(entry.type, TYPE_DOUBLE);
    EXPECT_DOUBLE_EQ(entry.data.d[1], 0.75);
    EXPECT_EQ(validate_camera_metadata_structure(metadata.get(), nullptr), 0);
    set_camera_metadata_vendor_ops(nullptr);

    // With cache ops, a buffer's vendor id picks the answer.
    vendor_tag_cache_ops cache{};
    cache.get_section_name = CacheSection;
    cache.get_tag_name = CacheName;
    cache.get_tag_type = CacheType;
    ASSERT_EQ(set_camera_metadata_vendor_cache_ops(&cache), 0);
    MetadataPtr other(allocate_camera_metadata(1, 0));
    const uint8_t flag = 1;
    EXPECT_EQ(add_camera_metadata_entry(other.get(), VENDOR_SECTION_START, &flag, 1), 1);  // no vendor id
    set_camera_metadata_vendor_id(other.get(), 7);
    EXPECT_EQ(get_camera_metadata_vendor_id(other.get()), 7u);
    EXPECT_STREQ(get_local_camera_metadata_tag_name(VENDOR_SECTION_START, other.get()), "flag");
    EXPECT_EQ(add_camera_metadata_entry(other.get(), VENDOR_SECTION_START, &flag, 1), 0);
    set_camera_metadata_vendor_cache_ops(nullptr);
}

}  // namespace

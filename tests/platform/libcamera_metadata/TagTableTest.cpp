// The standard sections and tags, and vendor tags through the vendor ops.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include <camera_metadata_hidden.h>

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
        {0x00001, "android.colorCorrection", "transform", TYPE_RATIONAL},
        {0x10003, "android.control", "aeMode", TYPE_BYTE},
        {0x10016, "android.control", "aeCompensationStep", TYPE_RATIONAL},
        {0x50001, "android.flash.info", "chargeDuration", TYPE_INT64},
        {0x70000, "android.jpeg", "gpsCoordinates", TYPE_DOUBLE},
        {0x80000, "android.lens", "aperture", TYPE_FLOAT},
        {0xD0000, "android.scaler", "cropRegion", TYPE_INT32},
        {0xE0000, "android.sensor", "exposureTime", TYPE_INT64},
        {0x1003E, "android.control", "aeAvailablePriorityModes", TYPE_BYTE},
        {0xD001B, "android.scaler", "rawCropRegion", TYPE_INT32},
        {0x220000, "android.sharedSession", "colorSpace", TYPE_INT32},
        {0x220001, "android.sharedSession", "outputConfigurations", TYPE_INT64},
        {0x230000, "android.desktopEffects", "capabilities", TYPE_BYTE},
        {0x230005, "android.desktopEffects", "portraitRelightMode", TYPE_BYTE},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_NE(get_camera_metadata_tag_name(c.tag), nullptr);
        EXPECT_STREQ(get_camera_metadata_section_name(c.tag), c.section);
        EXPECT_STREQ(get_camera_metadata_tag_name(c.tag), c.name);
        EXPECT_EQ(get_camera_metadata_tag_type(c.tag), c.type);
    }
}

TEST(TagTableTest, EverySectionStartsAtItsIndexAndNamesEachTagUpToItsEnd) {
    EXPECT_EQ(int(ANDROID_SECTION_COUNT), 36);
    EXPECT_EQ(uint32_t(ANDROID_DESKTOP_EFFECTS_END), 0x230006u);
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
    // The tables stay inside the library; the platform exports none of them.
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "tag_info"), nullptr);
    EXPECT_NE(dlsym(RTLD_DEFAULT, "camera_metadata_section_bounds"), nullptr);
}

// Value names as the platform prints them, and back (by the first `size`
// characters of the name, so a prefix finds the first value it starts).
TEST(TagTableTest, EnumValuesHaveThePlatformNames) {
    struct Case {
        uint32_t tag, value;
        const char* name;
        int result;
    };
    const Case cases[] = {
        {ANDROID_CONTROL_AE_MODE, ANDROID_CONTROL_AE_MODE_ON_AUTO_FLASH, "ON_AUTO_FLASH", 0},
        {ANDROID_CONTROL_SCENE_MODE, 100, "DEVICE_CUSTOM_START", 0},
        {ANDROID_SCALER_AVAILABLE_FORMATS, 0x11, "YCrCb_420_SP", 0},
        {ANDROID_SYNC_FRAME_NUMBER, uint32_t(-2), "UNKNOWN", 0},
        {ANDROID_SHARED_SESSION_COLOR_SPACE, 16, "BT2020_HLG", 0},
        {ANDROID_DESKTOP_EFFECTS_BACKGROUND_BLUR_MODE, 2, "FULL", 0},
        {ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL, 3, "3", 0},
        {ANDROID_CONTROL_AE_MODE, 99, "error: enum value out of range", -1},
        {ANDROID_SENSOR_EXPOSURE_TIME, 0, "error: not an enum", -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        char name[39];
        EXPECT_EQ(camera_metadata_enum_snprint(c.tag, c.value, name, sizeof(name)), c.result);
        EXPECT_STREQ(name, c.name);
        uint32_t value = 12345;
        EXPECT_EQ(camera_metadata_enum_value(c.tag, c.name, strlen(c.name), &value), c.result);
        EXPECT_EQ(value, c.result == 0 ? c.value : 12345u);
    }
    char shortName[4];
    EXPECT_EQ(camera_metadata_enum_snprint(ANDROID_CONTROL_AE_MODE, 2, shortName, sizeof(shortName)), 0);
    EXPECT_STREQ(shortName, "ON_");
    uint32_t value = 0;
    EXPECT_EQ(camera_metadata_enum_value(ANDROID_CONTROL_AE_MODE, "ON_AUTO", 2, &value), 0);
    EXPECT_EQ(value, uint32_t(ANDROID_CONTROL_AE_MODE_ON));

    uint32_t count = 0;
    const int32_t* tags = get_camera_metadata_permission_needed(&count);
    ASSERT_EQ(count, 18u);
    EXPECT_EQ(tags[0], ANDROID_LENS_POSE_ROTATION);
    EXPECT_EQ(tags[17], ANDROID_SENSOR_FORWARD_MATRIX2);
}

// The dump's lines as the platform writes them.
TEST(TagTableTest, DumpWritesThePlatformFormat) {
    MetadataPtr metadata(allocate_camera_metadata(4, 64));
    const uint8_t modes[] = {0, 1, 42};
    const int32_t configurations[] = {0x21, 640, 480, 0, 0x22, 320, 240, 1};
    const camera_metadata_rational_t step = {1, 3};
    const float zoom = 2.5f;
    add_camera_metadata_entry(metadata.get(), ANDROID_CONTROL_AE_AVAILABLE_MODES, modes, 3);
    add_camera_metadata_entry(metadata.get(), ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS, configurations, 8);
    add_camera_metadata_entry(metadata.get(), ANDROID_CONTROL_AE_COMPENSATION_STEP, &step, 1);
    add_camera_metadata_entry(metadata.get(), ANDROID_CONTROL_ZOOM_RATIO, &zoom, 1);

    FILE* file = tmpfile();
    ASSERT_NE(file, nullptr);
    dump_indented_camera_metadata(metadata.get(), fileno(file), 1, 2);
    dump_camera_metadata(nullptr, fileno(file), 0);
    std::string text(4096, '\0');
    text.resize(pread(fileno(file), &text[0], text.size(), 0));
    fclose(file);
    EXPECT_EQ(text,
              "  Dumping camera metadata array: 4 / 4 entries, 40 / 64 bytes of extra data.\n"
              "    Version: 1, Flags: 00000000\n"
              "    android.control.aeAvailableModes (10013): byte[3]\n"
              "      [0 1 42 ]\n"
              "    android.scaler.availableStreamConfigurations (d000a): int32[8]\n"
              "      [33 640 480 OUTPUT ]\n"
              "      [34 320 240 INPUT ]\n"
              "    android.control.aeCompensationStep (10016): rational[1]\n"
              "      [(1 / 3) ]\n"
              "    android.control.zoomRatio (1002f): float[1]\n"
              "      [2.50000000 ]\n"
              "Dumping camera metadata array: Not allocated\n");
}

// Vendor tags: the cache ops answer for a known vendor id, else the vendor ops.
const char* VendorName(const vendor_tag_ops_t*, uint32_t) { return "level"; }
int VendorType(const vendor_tag_ops_t*, uint32_t) { return TYPE_DOUBLE; }
const char* CacheName(uint32_t, metadata_vendor_id_t id) { return id == 7 ? "flag" : nullptr; }
int CacheType(uint32_t, metadata_vendor_id_t id) { return id == 7 ? TYPE_BYTE : -1; }

TEST(TagTableTest, VendorTagsGoThroughTheCacheOpsForAVendorIdElseTheVendorOps) {
    const uint32_t tag = VENDOR_SECTION_START + 1;
    EXPECT_EQ(get_camera_metadata_tag_name(tag), nullptr);
    vendor_tag_ops_t ops{};
    ops.get_tag_name = VendorName;
    ops.get_tag_type = VendorType;
    vendor_tag_cache_ops cache{};
    cache.get_tag_name = CacheName;
    cache.get_tag_type = CacheType;
    ASSERT_EQ(set_camera_metadata_vendor_ops(&ops), 0);
    ASSERT_EQ(set_camera_metadata_vendor_cache_ops(&cache), 0);

    MetadataPtr metadata(allocate_camera_metadata(2, 16));
    const double weight = 0.75;
    ASSERT_EQ(add_camera_metadata_entry(metadata.get(), tag, &weight, 1), 0);
    EXPECT_STREQ(get_local_camera_metadata_tag_name(tag, metadata.get()), "level");
    set_camera_metadata_vendor_id(metadata.get(), 7);
    EXPECT_STREQ(get_local_camera_metadata_tag_name(tag, metadata.get()), "flag");
    EXPECT_EQ(get_local_camera_metadata_tag_type_vendor_id(tag, 7), TYPE_BYTE);
    EXPECT_EQ(get_local_camera_metadata_tag_type_vendor_id(tag, 8), -1);
    EXPECT_EQ(get_camera_metadata_tag_type(tag), TYPE_DOUBLE);
    EXPECT_STREQ(get_local_camera_metadata_section_name_vendor_id(ANDROID_LENS_APERTURE, 7), "android.lens");
    set_camera_metadata_vendor_cache_ops(nullptr);
    set_camera_metadata_vendor_ops(nullptr);
}

}  // namespace

// The metadata handler forwards to the platform library: a buffer built,
// edited and checked entirely through the handler, with vendor tags from the
// sample camera module.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <set>
#include <thread>
#include <vector>

#include <android/misc/IZelCameraMetadataHandler.h>
#include <android/misc/IZelHardwareHandler.h>
#include <android/wrappers/internal/ModuleRecords.h>
#include <camera_metadata_hidden.h>
#include <system/camera_metadata.h>

#include "common/ByteProbe.h"

using namespace zelkov;

namespace {

constexpr int kOk = 0;
constexpr int kError = 1;

TEST(MetadataHandlerTest, OneHandlerAcrossThreads) {
    std::vector<IZelCameraMetadataHandler*> seen(8);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < seen.size(); ++i) {
        threads.emplace_back([&seen, i] { seen[i] = GetCameraMetadataHandler(); });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::set<IZelCameraMetadataHandler*>(seen.begin(), seen.end()).size(), 1u);
    EXPECT_NE(seen[0], nullptr);
    EXPECT_EQ(seen[0], GetCameraMetadataHandler());
}

TEST(MetadataHandlerTest, EntryRecordsHaveThePlatformLayout) {
    // The handler hands these records to the platform to fill.
    EXPECT_EQ(offsetof(zel_camera_metadata_entry, tag), offsetof(camera_metadata_entry_t, tag));
    EXPECT_EQ(offsetof(zel_camera_metadata_ro_entry, data), offsetof(camera_metadata_ro_entry_t, data));
    if (zelkov_test::kIs32BitArm) {
        EXPECT_EQ(sizeof(zel_camera_metadata_entry), 20u);
        EXPECT_EQ(offsetof(zel_camera_metadata_entry, tag), 4u);
        EXPECT_EQ(offsetof(zel_camera_metadata_entry, type), 8u);
        EXPECT_EQ(offsetof(zel_camera_metadata_entry, count), 12u);
        EXPECT_EQ(offsetof(zel_camera_metadata_entry, data), 16u);
        EXPECT_EQ(sizeof(zel_camera_metadata_ro_entry), 20u);
    }
}

TEST(MetadataHandlerTest, SectionBoundsAreThePlatformTable) {
    IZelCameraMetadataHandler* handler = GetCameraMetadataHandler();
    for (int section = 0; section < ANDROID_SECTION_COUNT; ++section) {
        EXPECT_EQ(handler->GetSectionBounds(section, 0), int(camera_metadata_section_bounds[section][0])) << section;
        EXPECT_EQ(handler->GetSectionBounds(section, 1), int(camera_metadata_section_bounds[section][1])) << section;
    }
}

TEST(MetadataHandlerTest, NamesTypesAndSizesAreThePlatformAnswers) {
    IZelCameraMetadataHandler* handler = GetCameraMetadataHandler();
    const unsigned int tags[] = {ANDROID_CONTROL_AE_MODE, ANDROID_SENSOR_EXPOSURE_TIME, ANDROID_JPEG_GPS_COORDINATES,
                                 ANDROID_SECTION_COUNT << 16, CAMERA_METADATA_VENDOR_TAG_BOUNDARY + 99};
    for (unsigned int tag : tags) {
        EXPECT_EQ(handler->GetTagName(tag), get_camera_metadata_tag_name(tag)) << tag;
        EXPECT_EQ(handler->GetSectionName(tag), get_camera_metadata_section_name(tag)) << tag;
        EXPECT_EQ(handler->GetTagType(tag), get_camera_metadata_tag_type(tag)) << tag;
    }
    EXPECT_STREQ(handler->GetTagName(ANDROID_CONTROL_AE_MODE), "aeMode");
    EXPECT_EQ(handler->CalculateEntryDataSize(TYPE_RATIONAL, 3), 24u);
    EXPECT_EQ(handler->CalculateEntryDataSize(TYPE_INT32, 1), 0u);
}

TEST(MetadataHandlerTest, NullArgumentsGetThePlatformResults) {
    IZelCameraMetadataHandler* handler = GetCameraMetadataHandler();
    handler->Free(nullptr);
    EXPECT_EQ(handler->Clone(nullptr), nullptr);
    EXPECT_EQ(handler->ValidateStructure(nullptr, nullptr), kError);
    EXPECT_EQ(handler->Sort(nullptr), kError);

    camera_metadata* metadata = handler->Allocate(1, 0);
    const int32_t value = 5;
    ASSERT_EQ(handler->AddEntry(metadata, ANDROID_CONTROL_AE_EXPOSURE_COMPENSATION, &value, 1), kOk);
    const int32_t updated = -2;
    EXPECT_EQ(handler->UpdateEntry(metadata, 0, &updated, 1, nullptr), kOk);
    zel_camera_metadata_entry entry;
    ASSERT_EQ(handler->GetEntry(metadata, 0, &entry), kOk);
    EXPECT_EQ(entry.data.i32[0], -2);
    handler->Free(metadata);
}

// The cache table answers for buffers that carry a vendor id; the handler
// installs it in the platform library, not as the plain vendor table.
struct VendorCache {
    static int TagCount(metadata_vendor_id_t) { return 1; }
    static void AllTags(uint32_t* tags, metadata_vendor_id_t) { tags[0] = kTag; }
    static const char* SectionName(uint32_t, metadata_vendor_id_t) { return "com.zelkov.cache"; }
    static const char* TagName(uint32_t, metadata_vendor_id_t) { return "cached"; }
    static int TagType(uint32_t tag, metadata_vendor_id_t) { return tag == kTag ? TYPE_INT32 : -1; }
    static constexpr uint32_t kTag = CAMERA_METADATA_VENDOR_TAG_BOUNDARY + 7;
};

TEST(MetadataHandlerTest, VendorCacheOpsAnswerForBuffersWithAVendorId) {
    vendor_tag_cache_ops cache{};
    cache.get_tag_count = VendorCache::TagCount;
    cache.get_all_tags = VendorCache::AllTags;
    cache.get_section_name = VendorCache::SectionName;
    cache.get_tag_name = VendorCache::TagName;
    cache.get_tag_type = VendorCache::TagType;

    IZelCameraMetadataHandler* handler = GetCameraMetadataHandler();
    camera_metadata* metadata = handler->Allocate(1, 0);
    ASSERT_NE(metadata, nullptr);
    set_camera_metadata_vendor_id(metadata, 42);
    const int32_t value = 3;
    EXPECT_NE(handler->AddEntry(metadata, VendorCache::kTag, &value, 1), kOk) << "no table knows the tag yet";
    ASSERT_EQ(handler->SetVendorCacheOps(&cache), kOk);
    EXPECT_EQ(handler->AddEntry(metadata, VendorCache::kTag, &value, 1), kOk);
    EXPECT_EQ(handler->GetTagType(VendorCache::kTag), -1) << "lookups without a buffer do not use the cache";
    ASSERT_EQ(handler->SetVendorCacheOps(nullptr), kOk);
    handler->Free(metadata);
}

// Vendor tags of the sample camera module, installed for one test.
class MetadataHandlerRoadTest : public testing::Test {
protected:
    void SetUp() override {
        const hw_module_t* module = nullptr;
        ASSERT_EQ(IZelHardwareHandler::GetInstance()->GetModule("camera", &module), 0);
        reinterpret_cast<const camera_module*>(module)->get_vendor_tag_ops(&m_vendor_ops);
        ASSERT_EQ(m_handler->SetVendorOps(&m_vendor_ops), kOk);
    }
    void TearDown() override { m_handler->SetVendorOps(nullptr); }

    IZelCameraMetadataHandler* m_handler = GetCameraMetadataHandler();
    vendor_tag_ops m_vendor_ops{};
};

constexpr unsigned int kExposureBias = CAMERA_METADATA_VENDOR_TAG_BOUNDARY;     // int32
constexpr unsigned int kChannelGains = CAMERA_METADATA_VENDOR_TAG_BOUNDARY + 2;  // float

TEST_F(MetadataHandlerRoadTest, BuildSortFindUpdateAppendCloneValidate) {
    camera_metadata* metadata = m_handler->Allocate(8, 96);
    ASSERT_NE(metadata, nullptr);
    const uint8_t intent = 1;
    const int32_t fps[] = {15, 30};
    const int64_t exposure = 10000000;
    const double gps[] = {48.1, 11.5, 520.0};
    const camera_metadata_rational_t step = {1, 6};
    const int32_t bias = -3;
    const float gains[] = {1.0f, 1.5f, 2.0f, 1.5f};
    ASSERT_EQ(m_handler->AddEntry(metadata, ANDROID_CONTROL_CAPTURE_INTENT, &intent, 1), kOk);
    ASSERT_EQ(m_handler->AddEntry(metadata, ANDROID_SENSOR_EXPOSURE_TIME, &exposure, 1), kOk);
    ASSERT_EQ(m_handler->AddEntry(metadata, kExposureBias, &bias, 1), kOk);
    ASSERT_EQ(m_handler->AddEntry(metadata, ANDROID_CONTROL_AE_TARGET_FPS_RANGE, fps, 2), kOk);
    ASSERT_EQ(m_handler->AddEntry(metadata, kChannelGains, gains, 4), kOk);
    ASSERT_EQ(m_handler->AddEntry(metadata, ANDROID_JPEG_GPS_COORDINATES, gps, 3), kOk);
    ASSERT_EQ(m_handler->AddEntry(metadata, ANDROID_CONTROL_AE_COMPENSATION_STEP, &step, 1), kOk);
    EXPECT_EQ(m_handler->GetEntryCount(metadata), 7u);
    EXPECT_EQ(m_handler->GetDataCount(metadata), 8u + 8u + 16u + 24u + 8u);
    EXPECT_EQ(m_handler->GetEntryCapacity(metadata), 8u);
    EXPECT_EQ(m_handler->GetDataCapacity(metadata), 96u);
    EXPECT_STREQ(m_handler->GetTagName(kChannelGains), "channelGains");
    EXPECT_STREQ(m_handler->GetSectionName(kChannelGains), "com.zelkov.sample");

    // Sorted: standard tags first by value, then the vendor tags.
    ASSERT_EQ(m_handler->Sort(metadata), kOk);
    zel_camera_metadata_ro_entry ro;
    ASSERT_EQ(m_handler->GetRoEntry(metadata, 0, &ro), kOk);
    EXPECT_EQ(ro.tag, (unsigned int)ANDROID_CONTROL_AE_TARGET_FPS_RANGE);
    ASSERT_EQ(m_handler->GetRoEntry(metadata, 6, &ro), kOk);
    EXPECT_EQ(ro.tag, kChannelGains);
    ASSERT_EQ(m_handler->FindRoEntry(metadata, ANDROID_JPEG_GPS_COORDINATES, &ro), kOk);
    EXPECT_EQ(ro.type, TYPE_DOUBLE);
    EXPECT_DOUBLE_EQ(ro.data.d[2], 520.0);
    zel_camera_metadata_entry entry;
    ASSERT_EQ(m_handler->FindEntry(metadata, kExposureBias, &entry), kOk);
    EXPECT_EQ(entry.data.i32[0], -3);
    EXPECT_EQ(m_handler->FindEntry(metadata, ANDROID_LENS_APERTURE, &entry), -ENOENT);

    // Grow the vendor bias to three values, then shrink the gains to one.
    const int32_t biases[] = {-3, 0, 3};
    ASSERT_EQ(m_handler->FindEntry(metadata, kExposureBias, &entry), kOk);
    ASSERT_EQ(m_handler->UpdateEntry(metadata, entry.index, biases, 3, &entry), kOk);
    EXPECT_EQ(entry.count, 3u);
    EXPECT_EQ(entry.data.i32[2], 3);
    ASSERT_EQ(m_handler->FindEntry(metadata, kChannelGains, &entry), kOk);
    ASSERT_EQ(m_handler->UpdateEntry(metadata, entry.index, gains + 1, 1, &entry), kOk);
    EXPECT_FLOAT_EQ(entry.data.f[0], 1.5f);
    ASSERT_EQ(m_handler->FindRoEntry(metadata, ANDROID_SENSOR_EXPOSURE_TIME, &ro), kOk);
    EXPECT_EQ(ro.data.i64[0], exposure);

    // Delete one, append everything to a bigger buffer, clone, validate.
    ASSERT_EQ(m_handler->FindEntry(metadata, ANDROID_CONTROL_CAPTURE_INTENT, &entry), kOk);
    ASSERT_EQ(m_handler->DeleteEntry(metadata, entry.index), kOk);
    camera_metadata* bigger = m_handler->Allocate(16, 256);
    const uint8_t ae_mode = 1;
    ASSERT_EQ(m_handler->AddEntry(bigger, ANDROID_CONTROL_AE_MODE, &ae_mode, 1), kOk);
    ASSERT_EQ(m_handler->Append(bigger, metadata), kOk);
    EXPECT_EQ(m_handler->GetEntryCount(bigger), 7u);
    camera_metadata* clone = m_handler->Clone(bigger);
    ASSERT_NE(clone, nullptr);
    ASSERT_EQ(m_handler->FindRoEntry(clone, kExposureBias, &ro), kOk);
    EXPECT_EQ(ro.data.i32[1], 0);
    ASSERT_EQ(m_handler->FindRoEntry(clone, ANDROID_JPEG_GPS_COORDINATES, &ro), kOk);
    EXPECT_DOUBLE_EQ(ro.data.d[0], 48.1);

    const unsigned int clone_size = (unsigned int)get_camera_metadata_size(clone);
    EXPECT_EQ(m_handler->ValidateStructure(clone, &clone_size), kOk);
    EXPECT_EQ(m_handler->ValidateStructure(bigger, nullptr), kOk);
    const unsigned int too_small = clone_size - 8;
    EXPECT_EQ(m_handler->ValidateStructure(clone, &too_small), kError);

    m_handler->Free(clone);
    m_handler->Free(bigger);
    m_handler->Free(metadata);
}

}  // namespace

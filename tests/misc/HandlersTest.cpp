// The metadata and hardware handlers: one process-wide object each that lives
// through exit, virtual slots in the order the camera core is compiled
// against, and every operation reaching its platform function with its own
// arguments in order.
#include <iterator>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <android/misc/IZelCameraMetadataHandler.h>
#include <android/misc/IZelHardwareHandler.h>
#include <android/wrappers/ZelHwModule.h>
#include <camera_metadata_hidden.h>
#include <hardware/hardware.h>
#include <system/camera_metadata.h>

#include "common/ByteProbe.h"

using namespace zelkov;
using zelkov_test::VtableOffset;

namespace {

TEST(Handlers, OneObjectEachAcrossThreads) {
    std::vector<std::pair<IZelCameraMetadataHandler*, IZelHardwareHandler*>> seen(8);
    std::vector<std::thread> threads;
    for (auto& slot : seen)
        threads.emplace_back([&slot] { slot = {GetCameraMetadataHandler(), IZelHardwareHandler::GetInstance()}; });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::set<decltype(seen)::value_type>(seen.begin(), seen.end()).size(), 1u);
    EXPECT_NE(seen[0].first, nullptr);
    EXPECT_NE(seen[0].second, nullptr);
}

TEST(Handlers, VirtualSlotsFollowTheDestructorsInOrder) {
    using H = IZelCameraMetadataHandler;
    const std::ptrdiff_t offsets[] = {
        VtableOffset(&H::SetVendorOps),
        VtableOffset(&H::SetVendorCacheOps),
        VtableOffset(&H::FindEntry),
        VtableOffset(&H::UpdateEntry),
        VtableOffset(&H::GetEntryCount),
        VtableOffset(&H::GetDataCount),
        VtableOffset(&H::Allocate),
        VtableOffset(&H::Append),
        VtableOffset(&H::Free),
        VtableOffset(&H::Clone),
        VtableOffset(&H::ValidateStructure),
        VtableOffset(&H::GetRoEntry),
        VtableOffset(&H::GetSectionName),
        VtableOffset(&H::GetTagName),
        VtableOffset(&H::FindRoEntry),
        VtableOffset(&H::GetEntryCapacity),
        VtableOffset(&H::GetDataCapacity),
        VtableOffset(&H::CalculateEntryDataSize),
        VtableOffset(&H::AddEntry),
        VtableOffset(&H::DeleteEntry),
        VtableOffset(&H::GetEntry),
        VtableOffset(&H::GetTagType),
        VtableOffset(&H::GetSectionBounds),
        VtableOffset(&H::Sort),
    };
    // Slots 0 and 1 are the two destructors.
    for (std::size_t i = 0; i < std::size(offsets); ++i)
        EXPECT_EQ(offsets[i], std::ptrdiff_t(i + 2) * sizeof(void*)) << i;
    EXPECT_EQ(VtableOffset(&IZelHardwareHandler::GetModule), 2 * std::ptrdiff_t(sizeof(void*)));
}

TEST(Handlers, HardwareModulesComeFromThePlatform) {
    const hw_module_t* module = nullptr;
    ASSERT_EQ(IZelHardwareHandler::GetInstance()->GetModule("camera", &module), 0);
    EXPECT_STREQ(ZelHwModule(module, false).GetId(), "camera");
    // An unknown id after a found one: the platform's error, the output as the platform leaves it.
    const hw_module_t* unknown = module;
    const hw_module_t* platformUnknown = module;
    EXPECT_EQ(IZelHardwareHandler::GetInstance()->GetModule("zelkov_unknown", &unknown),
              hw_get_module("zelkov_unknown", &platformUnknown));
    EXPECT_EQ(unknown, platformUnknown);
}

TEST(Handlers, MetadataOperationsForwardTheirArgumentsInOrder) {
    IZelCameraMetadataHandler* h = GetCameraMetadataHandler();
    camera_metadata* metadata = h->Allocate(3, 40);
    EXPECT_EQ(h->GetEntryCapacity(metadata), 3u);
    EXPECT_EQ(h->GetDataCapacity(metadata), 40u);
    const int64_t exposure = 1000;
    const int32_t fps[] = {15, 30};
    ASSERT_EQ(h->AddEntry(metadata, ANDROID_SENSOR_EXPOSURE_TIME, &exposure, 1), 0);
    ASSERT_EQ(h->AddEntry(metadata, ANDROID_CONTROL_AE_TARGET_FPS_RANGE, fps, 2), 0);
    EXPECT_EQ(h->GetEntryCount(metadata), 2u);
    EXPECT_EQ(h->GetDataCount(metadata), 16u);
    ASSERT_EQ(h->Sort(metadata), 0);
    zel_camera_metadata_ro_entry ro;
    ASSERT_EQ(h->GetRoEntry(metadata, 0, &ro), 0);
    EXPECT_EQ(ro.tag, unsigned(ANDROID_CONTROL_AE_TARGET_FPS_RANGE));
    zel_camera_metadata_entry entry;
    ASSERT_EQ(h->FindEntry(metadata, ANDROID_CONTROL_AE_TARGET_FPS_RANGE, &entry), 0);
    const int32_t faster[] = {30, 60, 90};
    ASSERT_EQ(h->UpdateEntry(metadata, entry.index, faster, 3, &entry), 0);
    EXPECT_EQ(entry.count, 3u);
    ASSERT_EQ(h->FindRoEntry(metadata, ANDROID_CONTROL_AE_TARGET_FPS_RANGE, &ro), 0);
    EXPECT_EQ(ro.data.i32[2], 90);
    ASSERT_EQ(h->GetEntry(metadata, 1, &entry), 0);
    EXPECT_EQ(entry.tag, unsigned(ANDROID_SENSOR_EXPOSURE_TIME));
    ASSERT_EQ(h->DeleteEntry(metadata, 0), 0);
    camera_metadata* clone = h->Clone(metadata);
    camera_metadata* bigger = h->Allocate(4, 64);
    ASSERT_EQ(h->Append(bigger, clone), 0);
    EXPECT_EQ(h->GetEntryCount(bigger), 1u);
    unsigned int size = unsigned(get_camera_metadata_size(clone));
    EXPECT_EQ(h->ValidateStructure(clone, &size), 0);
    size -= 8;
    EXPECT_NE(h->ValidateStructure(clone, &size), 0);
    for (camera_metadata* m : {metadata, clone, bigger}) h->Free(m);

    EXPECT_STREQ(h->GetTagName(ANDROID_CONTROL_AE_MODE), "aeMode");
    EXPECT_STREQ(h->GetSectionName(ANDROID_CONTROL_AE_MODE), "android.control");
    EXPECT_EQ(h->CalculateEntryDataSize(TYPE_RATIONAL, 3), 24u);
    for (int section = 0; section < ANDROID_SECTION_COUNT; ++section) {
        EXPECT_EQ(h->GetSectionBounds(section, 0), int(camera_metadata_section_bounds[section][0])) << section;
        EXPECT_EQ(h->GetSectionBounds(section, 1), int(camera_metadata_section_bounds[section][1])) << section;
    }
}

constexpr uint32_t kVendorTag = CAMERA_METADATA_VENDOR_TAG_BOUNDARY;

TEST(Handlers, VendorTablesReachThePlatform) {
    vendor_tag_ops ops{};
    ops.get_tag_count = [](const vendor_tag_ops*) { return 1; };
    ops.get_all_tags = [](const vendor_tag_ops*, uint32_t* tags) { tags[0] = kVendorTag; };
    ops.get_section_name = [](const vendor_tag_ops*, uint32_t) { return "com.zelkov.test"; };
    ops.get_tag_name = [](const vendor_tag_ops*, uint32_t) { return "plain"; };
    ops.get_tag_type = [](const vendor_tag_ops*, uint32_t) { return int(TYPE_INT32); };
    IZelCameraMetadataHandler* h = GetCameraMetadataHandler();
    ASSERT_EQ(h->SetVendorOps(&ops), 0);
    EXPECT_STREQ(h->GetTagName(kVendorTag), "plain");
    EXPECT_EQ(h->SetVendorOps(nullptr), 0);

    // The cache table answers only for buffers that carry a vendor id.
    vendor_tag_cache_ops cache{};
    cache.get_tag_count = [](metadata_vendor_id_t) { return 1; };
    cache.get_all_tags = [](uint32_t* tags, metadata_vendor_id_t) { tags[0] = kVendorTag; };
    cache.get_section_name = [](uint32_t, metadata_vendor_id_t) { return "com.zelkov.cache"; };
    cache.get_tag_name = [](uint32_t, metadata_vendor_id_t) { return "cached"; };
    cache.get_tag_type = [](uint32_t, metadata_vendor_id_t) { return int(TYPE_INT32); };
    camera_metadata* metadata = h->Allocate(1, 0);
    set_camera_metadata_vendor_id(metadata, 42);
    const int32_t value = 3;
    EXPECT_NE(h->AddEntry(metadata, kVendorTag, &value, 1), 0);
    ASSERT_EQ(h->SetVendorCacheOps(&cache), 0);
    EXPECT_EQ(h->AddEntry(metadata, kVendorTag, &value, 1), 0);
    ASSERT_EQ(h->SetVendorCacheOps(nullptr), 0);
    h->Free(metadata);
}

}  // namespace

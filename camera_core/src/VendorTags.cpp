#include "VendorTags.h"

#include <android/wrappers/ZelCameraModule.h>

#include "MetadataTags.h"

namespace camera_core {
namespace {

struct VendorTag {
    unsigned int tag;
    const char* name;
    int type;
};

constexpr VendorTag kTags[] = {
    {tag::kVendorGyroSample, "gyroSample", kTypeFloat},
    {tag::kVendorGyroTimestamp, "gyroTimestamp", kTypeInt64},
    {tag::kVendorFrameCounter, "frameCounter", kTypeInt64},
};
constexpr int kTagCount = sizeof(kTags) / sizeof(kTags[0]);

const VendorTag* Find(unsigned int tag) {
    for (const VendorTag& entry : kTags) {
        if (entry.tag == tag) return &entry;
    }
    return nullptr;
}

int TagCount(const vendor_tag_ops*) { return kTagCount; }

void AllTags(const vendor_tag_ops*, unsigned int* tags) {
    for (int i = 0; i < kTagCount; ++i) tags[i] = kTags[i].tag;
}

const char* SectionName(const vendor_tag_ops*, unsigned int tag) {
    return Find(tag) != nullptr ? "com.zelkov.sim" : nullptr;
}

const char* TagName(const vendor_tag_ops*, unsigned int tag) {
    const VendorTag* entry = Find(tag);
    return entry != nullptr ? entry->name : nullptr;
}

int TagType(const vendor_tag_ops*, unsigned int tag) {
    const VendorTag* entry = Find(tag);
    return entry != nullptr ? entry->type : -1;
}

}  // namespace

void FillVendorTagOps(vendor_tag_ops* record) {
    zelkov::ZelVendorTagOps ops(record, false);
    ops.SetFnGetTagCount(&TagCount);
    ops.SetFnGetAllTags(&AllTags);
    ops.SetFnGetSectionName(&SectionName);
    ops.SetFnGetTagName(&TagName);
    ops.SetFnGetTagType(&TagType);
}

}  // namespace camera_core

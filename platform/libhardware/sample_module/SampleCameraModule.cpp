// A sample camera module, "camera.default.so": two cameras and three vendor
// tags, for tests and the demo. Only a few of the module's slots are filled.
#include <cerrno>
#include <cstring>

#include <android/wrappers/internal/ModuleRecords.h>

namespace {

constexpr unsigned int kVendorSectionStart = CAMERA_METADATA_VENDOR_TAG_BOUNDARY;

struct VendorTag {
    const char* name;
    int type;  // TYPE_BYTE = 0, TYPE_INT32 = 1, TYPE_FLOAT = 2
};
constexpr VendorTag kVendorTags[] = {{"exposureBias", 1}, {"sceneName", 0}, {"channelGains", 2}};
constexpr int kVendorTagCount = sizeof(kVendorTags) / sizeof(kVendorTags[0]);

const VendorTag* FindVendorTag(uint32_t tag) {
    if (tag < kVendorSectionStart || tag >= kVendorSectionStart + kVendorTagCount) return nullptr;
    return &kVendorTags[tag - kVendorSectionStart];
}

int GetTagCount(const vendor_tag_ops*) {
    return kVendorTagCount;
}

void GetAllTags(const vendor_tag_ops*, uint32_t* tags) {
    for (int i = 0; i < kVendorTagCount; ++i) tags[i] = kVendorSectionStart + i;
}

const char* GetSectionName(const vendor_tag_ops*, uint32_t tag) {
    return FindVendorTag(tag) != nullptr ? "com.zelkov.sample" : nullptr;
}

const char* GetTagName(const vendor_tag_ops*, uint32_t tag) {
    const VendorTag* found = FindVendorTag(tag);
    return found != nullptr ? found->name : nullptr;
}

int GetTagType(const vendor_tag_ops*, uint32_t tag) {
    const VendorTag* found = FindVendorTag(tag);
    return found != nullptr ? found->type : -1;
}

int GetNumberOfCameras() {
    return 2;
}

int GetCameraInfo(int camera_id, camera_info* info) {
    if (camera_id < 0 || camera_id >= 2 || info == nullptr) return -EINVAL;
    memset(info, 0, sizeof(*info));
    info->facing = camera_id;  // 0 back, 1 front
    info->orientation = camera_id == 0 ? 90 : 270;
    info->device_version = HARDWARE_DEVICE_API_VERSION(3, 5);
    info->resource_cost = 50;
    return 0;
}

void GetVendorTagOps(vendor_tag_ops* ops) {
    ops->get_tag_count = GetTagCount;
    ops->get_all_tags = GetAllTags;
    ops->get_section_name = GetSectionName;
    ops->get_tag_name = GetTagName;
    ops->get_tag_type = GetTagType;
}

camera_module MakeModule() {
    camera_module module{};
    module.common.tag = HARDWARE_MODULE_TAG;
    module.common.module_api_version = HARDWARE_MODULE_API_VERSION(2, 5);
    module.common.hal_api_version = HARDWARE_HAL_API_VERSION;
    module.common.id = "camera";
    module.common.name = "Zelkov sample camera module";
    module.common.author = "Zelkov";
    module.get_number_of_cameras = GetNumberOfCameras;
    module.get_camera_info = GetCameraInfo;
    module.get_vendor_tag_ops = GetVendorTagOps;
    return module;
}

}  // namespace

// The platform finds the module through this one exported record.
extern "C" {
__attribute__((visibility("default"))) camera_module HAL_MODULE_INFO_SYM = MakeModule();
}

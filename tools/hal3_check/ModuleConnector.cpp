#include "ModuleConnector.h"

#include "Watchdog.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace hal3_check {

ModuleConnector& ModuleConnector::Get() {
    static ModuleConnector connector;
    return connector;
}

std::string ModuleConnector::Load(const std::string& path) {
    if (module_ != nullptr) return "";
    const hw_module_t* common = nullptr;
    CallMark mark(HalCall::kModuleLoad);  // the library's constructors run module code
    if (path.empty()) {
        int rc = hw_get_module(CAMERA_HARDWARE_MODULE_ID, &common);
        if (rc != 0) return "hw_get_module(\"camera\") failed: " + std::to_string(rc);
    } else {
        dso_ = dlopen(path.c_str(), RTLD_NOW);
        if (dso_ == nullptr) return std::string("dlopen: ") + dlerror();
        common = static_cast<const hw_module_t*>(dlsym(dso_, HAL_MODULE_INFO_SYM_AS_STR));
        if (common == nullptr) return path + " has no " HAL_MODULE_INFO_SYM_AS_STR;
    }
    if (common->tag != HARDWARE_MODULE_TAG || common->id == nullptr || strcmp(common->id, CAMERA_HARDWARE_MODULE_ID) != 0)
        return "[rule module-record] the module record is not a camera module";
    auto module = reinterpret_cast<const camera_module_t*>(common);
    if (common->methods == nullptr || common->methods->open == nullptr)
        return "[rule module-record] the module record has no open method";
    if (module->get_number_of_cameras == nullptr || module->get_camera_info == nullptr)
        return "[rule module-record] the module lacks get_number_of_cameras or get_camera_info";
    module_ = module;
    return "";
}

std::string ModuleConnector::Start() {
    if (started_) return "";
    started_ = true;
    if (module_->common.module_api_version >= CAMERA_MODULE_API_VERSION_2_4 && module_->init != nullptr) {
        CallMark mark(HalCall::kModuleInit);
        int rc = module_->init();
        if (rc != 0) return "[rule module-init] init returned " + std::to_string(rc);
    }
    if (module_->get_vendor_tag_ops != nullptr) {
        {
            CallMark mark(HalCall::kVendorTagOps);
            module_->get_vendor_tag_ops(&vendorOps_);
        }
        // The camera provider takes entries left empty as "no vendor tags" and goes on.
        if (vendorOps_.get_tag_count == nullptr || vendorOps_.get_all_tags == nullptr ||
            vendorOps_.get_section_name == nullptr || vendorOps_.get_tag_name == nullptr ||
            vendorOps_.get_tag_type == nullptr) {
            warnings_.push_back("[rule vendor-tags] get_vendor_tag_ops left an entry empty: taken as no vendor tags");
            vendorOps_ = vendor_tag_ops_t{};
        } else if (set_camera_metadata_vendor_ops(&vendorOps_) != 0) {
            return "[rule vendor-tags] vendor tags refused";
        }
    }
    CallMark mark(HalCall::kSetCallbacks);
    if (module_->set_callbacks == nullptr || module_->set_callbacks(&callbacks_) != 0)
        return "[rule module-callbacks] set_callbacks failed";
    return "";
}

int ModuleConnector::NumberOfCameras() const {
    if (module_ == nullptr) return cameras_;
    CallMark mark(HalCall::kNumberOfCameras);
    return module_->get_number_of_cameras();
}

int ModuleConnector::Info(int id, camera_info* info) const {
    if (module_ == nullptr) return -ENODEV;
    CallMark mark(HalCall::kCameraInfo);
    return module_->get_camera_info(id, info);
}

uint32_t ModuleConnector::FindVendorTag(const std::string& section, const std::string& name) const {
    if (vendorOps_.get_tag_count == nullptr) return 0;
    int count = vendorOps_.get_tag_count(&vendorOps_);
    if (count <= 0) return 0;
    std::vector<uint32_t> tags(static_cast<size_t>(count));
    vendorOps_.get_all_tags(&vendorOps_, tags.data());
    for (uint32_t tag : tags) {
        const char* s = vendorOps_.get_section_name(&vendorOps_, tag);
        const char* n = vendorOps_.get_tag_name(&vendorOps_, tag);
        if (s != nullptr && n != nullptr && section == s && name == n) return tag;
    }
    return 0;
}

void ModuleConnector::OnDeviceStatus(const camera_module_callbacks_t*, int, int) { Get().statusCalls_++; }
void ModuleConnector::OnTorchStatus(const camera_module_callbacks_t*, const char*, int) {}

}  // namespace hal3_check

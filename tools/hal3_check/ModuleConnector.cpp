#include "ModuleConnector.h"

#include "Finding.h"
#include "Watchdog.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace hal3_check {

ModuleConnector& ModuleConnector::Get() {
    static ModuleConnector connector;
    return connector;
}

std::string ModuleConnector::Load(const std::string& path) {
    if (m_module != nullptr) return "";
    const hw_module_t* common = nullptr;
    CallMark mark(HalCall::kModuleLoad);  // the library's constructors run module code
    if (path.empty()) {
        int rc = hw_get_module(CAMERA_HARDWARE_MODULE_ID, &common);
        if (rc != 0) return "hw_get_module(\"camera\") failed: " + std::to_string(rc);
    } else {
        m_dso = dlopen(path.c_str(), RTLD_NOW);
        if (m_dso == nullptr) return std::string("dlopen: ") + dlerror();
        common = static_cast<const hw_module_t*>(dlsym(m_dso, HAL_MODULE_INFO_SYM_AS_STR));
        if (common == nullptr) return path + " has no " HAL_MODULE_INFO_SYM_AS_STR;
    }
    if (common->tag != HARDWARE_MODULE_TAG || common->id == nullptr ||
        strcmp(common->id, CAMERA_HARDWARE_MODULE_ID) != 0)
        return Text({RuleId::kModuleRecord, kNoFrame, "the module record is not a camera module"});
    auto module = reinterpret_cast<const camera_module_t*>(common);
    if (common->methods == nullptr || common->methods->open == nullptr)
        return Text({RuleId::kModuleRecord, kNoFrame, "the module record has no open method"});
    if (module->get_number_of_cameras == nullptr || module->get_camera_info == nullptr)
        return Text({RuleId::kModuleRecord, kNoFrame, "the module lacks get_number_of_cameras or get_camera_info"});
    m_module = module;
    return "";
}

std::string ModuleConnector::Start() {
    if (m_started) return "";
    m_started = true;
    if (m_module->common.module_api_version >= CAMERA_MODULE_API_VERSION_2_4 && m_module->init != nullptr) {
        CallMark mark(HalCall::kModuleInit);
        int rc = m_module->init();
        if (rc != 0) return Text({RuleId::kModuleInit, kNoFrame, "init returned " + std::to_string(rc)});
    }
    if (m_module->get_vendor_tag_ops != nullptr) {
        {
            CallMark mark(HalCall::kVendorTagOps);
            m_module->get_vendor_tag_ops(&m_vendorOps);
        }
        // Ops left untouched mean no vendor tags (camera_common.h). The camera
        // provider takes ops partly filled as none too, and logs it.
        const int filled = (m_vendorOps.get_tag_count != nullptr) + (m_vendorOps.get_all_tags != nullptr) +
                           (m_vendorOps.get_section_name != nullptr) + (m_vendorOps.get_tag_name != nullptr) +
                           (m_vendorOps.get_tag_type != nullptr);
        if (filled > 0 && filled < 5)
            m_warnings.push_back(Text(
                {RuleId::kVendorTags, kNoFrame, "get_vendor_tag_ops left an entry empty: taken as no vendor tags"}));
        if (filled < 5) {
            m_vendorOps = vendor_tag_ops_t{};
        } else if (set_camera_metadata_vendor_ops(&m_vendorOps) != 0) {
            return Text({RuleId::kVendorTags, kNoFrame, "vendor tags refused"});
        }
    }
    CallMark mark(HalCall::kSetCallbacks);
    if (m_module->set_callbacks == nullptr || m_module->set_callbacks(&m_callbacks) != 0)
        return Text({RuleId::kModuleCallbacks, kNoFrame, "set_callbacks failed"});
    return "";
}

int ModuleConnector::NumberOfCameras() const {
    if (m_module == nullptr) return m_cameras;
    CallMark mark(HalCall::kNumberOfCameras);
    return m_module->get_number_of_cameras();
}

namespace {

// Copies `n` bytes the module handed over without touching them here: a
// pipe's write reports memory that is not readable as EFAULT, where a read
// would fault (and qemu-arm has no process_vm_readv).
bool CopyFromModule(const void* from, size_t n, void* to) {
    int p[2];
    if (pipe2(p, O_CLOEXEC) != 0) return false;
    bool ok = true;
    for (size_t done = 0; done < n && ok;) {
        ssize_t w = write(p[1], static_cast<const char*>(from) + done, std::min<size_t>(n - done, 4096));
        ok = w > 0 && read(p[0], static_cast<char*>(to) + done, size_t(w)) == w;
        if (ok) done += size_t(w);
    }
    close(p[0]);
    close(p[1]);
    return ok;
}

}  // namespace

int ModuleConnector::Info(int id, camera_info* info) {
    if (m_module == nullptr) return -ENODEV;
    int rc;
    {
        CallMark mark(HalCall::kCameraInfo);
        rc = m_module->get_camera_info(id, info);
    }
    const void* theirs = info->static_camera_characteristics;
    if (rc != 0 || theirs == nullptr) return rc;
    info->static_camera_characteristics = nullptr;
    char where[32];
    snprintf(where, sizeof where, "%p", theirs);
    const std::string what = "get_camera_info(" + std::to_string(id) + ") returned static metadata at " + where;
    const size_t header = calculate_camera_metadata_size(0, 0);
    std::vector<uint8_t> head(header);
    if (!CopyFromModule(theirs, header, head.data())) {
        Flag({RuleId::kCameraInfo, kNoFrame, what + " that is not readable memory"});
        return rc;
    }
    constexpr size_t kMaxBytes = 64 << 20;  // far beyond any camera's characteristics
    size_t size = get_camera_metadata_size(reinterpret_cast<const camera_metadata_t*>(head.data()));
    if (size < header || size > kMaxBytes) {
        Flag({RuleId::kStaticStructure, kNoFrame, what + " whose header gives its size as " + std::to_string(size)});
        return rc;
    }
    std::unique_ptr<void, void (*)(void*)> copy(malloc(size), free);
    if (!CopyFromModule(theirs, size, copy.get())) {
        Flag({RuleId::kStaticStructure, kNoFrame,
              what + " whose header gives its size as " + std::to_string(size) + ", beyond readable memory"});
        return rc;
    }
    info->static_camera_characteristics = static_cast<const camera_metadata_t*>(copy.get());
    m_static.insert_or_assign(id, std::move(copy));
    return rc;
}

int ModuleConnector::ProbeOpen(const std::string& id) const {
    if (m_module == nullptr) return -ENODEV;
    hw_device_t* device = nullptr;
    int rc;
    {
        CallMark mark(HalCall::kOpen);
        rc = m_module->common.methods->open(&m_module->common, id.c_str(), &device);
    }
    // A module that takes "x" for camera 0 (atoi) would otherwise hold it open.
    if (rc == 0 && device != nullptr) {
        CallMark mark(HalCall::kClose);
        if (device->close != nullptr) device->close(device);
    }
    return rc;
}

uint32_t ModuleConnector::FindVendorTag(const std::string& section, const std::string& name) const {
    if (m_vendorOps.get_tag_count == nullptr) return 0;
    CallMark mark(HalCall::kVendorTagOps);
    int count = m_vendorOps.get_tag_count(&m_vendorOps);
    if (count <= 0) return 0;
    std::vector<uint32_t> tags(static_cast<size_t>(count));
    m_vendorOps.get_all_tags(&m_vendorOps, tags.data());
    for (uint32_t tag : tags) {
        const char* s = m_vendorOps.get_section_name(&m_vendorOps, tag);
        const char* n = m_vendorOps.get_tag_name(&m_vendorOps, tag);
        if (s != nullptr && n != nullptr && section == s && name == n) return tag;
    }
    return 0;
}

void ModuleConnector::OnDeviceStatus(const camera_module_callbacks_t*, int, int) { Get().m_statusCalls++; }
void ModuleConnector::OnTorchStatus(const camera_module_callbacks_t*, const char*, int) {}

}  // namespace hal3_check

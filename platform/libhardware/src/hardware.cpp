// Host libhardware: hw_get_module loads "<id>.<variant>.so" from a search path,
// as the platform loads modules from its hardware library directories.
#include <dlfcn.h>
#include <errno.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include <hardware/hardware.h>
#include <zelkov_platform/hardware_control.h>

namespace {

std::mutex g_lock;
std::string g_search_path;  // empty: the default
std::string g_variant;      // empty: ZELKOV_HW_VARIANT, if set

std::string SearchPathLocked() {
    if (!g_search_path.empty()) return g_search_path;
    const char* env = getenv("ZELKOV_HW_MODULE_PATH");
    return env != nullptr && *env != '\0' ? env : ZELKOV_HW_DEFAULT_MODULE_PATH;
}

std::vector<std::string> VariantsLocked() {
    std::vector<std::string> variants;
    const char* env = getenv("ZELKOV_HW_VARIANT");
    if (!g_variant.empty()) {
        variants.push_back(g_variant);
    } else if (env != nullptr && *env != '\0') {
        variants.push_back(env);
    }
    variants.push_back("default");
    return variants;
}

std::vector<std::string> Split(const std::string& path) {
    std::vector<std::string> parts;
    size_t start = 0;
    while (start <= path.size()) {
        size_t end = path.find(':', start);
        if (end == std::string::npos) end = path.size();
        if (end > start) parts.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

// Loads one module file; its record must name `id` (the class, as on the
// platform). On any mismatch the library is closed again.
int Load(const char* id, const std::string& path, const hw_module_t** module) {
    void* handle = dlopen(path.c_str(), RTLD_NOW);
    if (handle == nullptr) return -EINVAL;
    auto* hmi = static_cast<hw_module_t*>(dlsym(handle, HAL_MODULE_INFO_SYM_AS_STR));
    if (hmi == nullptr || hmi->id == nullptr || strcmp(id, hmi->id) != 0) {
        dlclose(handle);
        return -EINVAL;
    }
    hmi->dso = handle;
    *module = hmi;
    return 0;
}

}  // namespace

extern "C" {

void zelkov_hardware_set_search_path(const char* path) {
    std::lock_guard<std::mutex> lock(g_lock);
    g_search_path = path != nullptr ? path : "";
}

const char* zelkov_hardware_search_path(void) {
    static thread_local std::string copy;
    std::lock_guard<std::mutex> lock(g_lock);
    copy = SearchPathLocked();
    return copy.c_str();
}

void zelkov_hardware_set_variant(const char* variant) {
    std::lock_guard<std::mutex> lock(g_lock);
    g_variant = variant != nullptr ? variant : "";
}

const char* zelkov_hardware_default_search_path(void) {
    return ZELKOV_HW_DEFAULT_MODULE_PATH;
}

int hw_get_module_by_class(const char* class_id, const char* inst, const hw_module_t** module) {
    if (class_id == nullptr || module == nullptr) return -EINVAL;
    std::string name = class_id;
    if (inst != nullptr) name += std::string(".") + inst;

    std::vector<std::string> dirs;
    std::vector<std::string> variants;
    {
        std::lock_guard<std::mutex> lock(g_lock);
        dirs = Split(SearchPathLocked());
        variants = VariantsLocked();
    }
    for (const std::string& variant : variants) {
        for (const std::string& dir : dirs) {
            std::string path = dir + "/" + name + "." + variant + ".so";
            if (access(path.c_str(), R_OK) == 0) return Load(class_id, path, module);
        }
    }
    return -ENOENT;
}

int hw_get_module(const char* id, const hw_module_t** module) {
    return hw_get_module_by_class(id, nullptr, module);
}

}  // extern "C"

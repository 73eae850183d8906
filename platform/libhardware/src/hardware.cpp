// Host libhardware: hw_get_module loads "<id>.<variant>.so" from a search path,
// as the platform loads modules from its hardware library directories, with
// the variant taken from simulated system properties.
#include <dlfcn.h>
#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <hardware/hardware.h>
#include <zelkov_platform/hardware_control.h>

namespace {

std::mutex g_lock;
std::string g_search_path;                        // empty: the default
std::map<std::string, std::string> g_properties;  // unset keys read as empty

[[noreturn]] void Abort(const char* call, const char* rule) {
    std::fprintf(stderr, "libhardware: %s: %s\n", call, rule);
    std::abort();
}

// A relative default (the installed copy's) is taken from this library's own
// directory: the install prefix is only known once installed.
const std::string& DefaultModuleDir() {
    static const std::string dir = [] {
        std::filesystem::path path(ZELKOV_HW_DEFAULT_MODULE_PATH);
        Dl_info self;
        if (path.is_relative() && dladdr(reinterpret_cast<void*>(&zelkov_hardware_default_search_path), &self) != 0 &&
            self.dli_fname != nullptr) {
            path = (std::filesystem::path(self.dli_fname).parent_path() / path).lexically_normal();
        }
        return path.string();
    }();
    return dir;
}

std::string SearchPathLocked() {
    if (!g_search_path.empty()) return g_search_path;
    const char* env = getenv("ZELKOV_HW_MODULE_PATH");
    return env != nullptr && *env != '\0' ? env : DefaultModuleDir();
}

std::string PropertyLocked(const std::string& key) {
    auto it = g_properties.find(key);
    return it == g_properties.end() ? std::string() : it->second;
}

// The variants in the platform's order: the property of the module's own
// name, then the device-wide ones, then "default". Unset ones are skipped.
std::vector<std::string> VariantsLocked(const std::string& name) {
    std::vector<std::string> variants;
    for (const std::string& key : {"ro.hardware." + name, std::string("ro.hardware"), std::string("ro.product.board"),
                                   std::string("ro.board.platform"), std::string("ro.arch")}) {
        std::string value = PropertyLocked(key);
        if (!value.empty()) variants.push_back(value);
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

// Whether `path` resolves to a file inside `dir`: a name such as "../x" or a
// link out of the directory does not count, as on the platform.
bool InDirectory(const std::string& path, const std::string& dir) {
    char realPath[PATH_MAX];
    char realDir[PATH_MAX];
    if (realpath(path.c_str(), realPath) == nullptr || realpath(dir.c_str(), realDir) == nullptr) return false;
    const size_t length = strlen(realDir);
    return strncmp(realPath, realDir, length) == 0 && realPath[length] == '/';
}

// Loads one module file; its record must name `id` (the class). On any
// failure the library is closed again and *module is nulled.
int Load(const char* call, const char* id, const std::string& path, const hw_module_t** module) {
    void* handle = dlopen(path.c_str(), RTLD_NOW);
    auto* hmi = handle != nullptr ? static_cast<hw_module_t*>(dlsym(handle, HAL_MODULE_INFO_SYM_AS_STR)) : nullptr;
    if (hmi != nullptr && hmi->id == nullptr) Abort(call, "module record with a null id (the platform compares it)");
    if (hmi == nullptr || strcmp(id, hmi->id) != 0) {
        if (handle != nullptr) dlclose(handle);
        *module = nullptr;
        return -EINVAL;
    }
    hmi->dso = handle;
    *module = hmi;
    return 0;
}

int GetModule(const char* call, const char* class_id, const char* inst, const hw_module_t** module) {
    if (class_id == nullptr) Abort(call, "null module id (the platform copies it)");
    if (module == nullptr) Abort(call, "null module pointer (the platform writes the module through it)");
    const std::string name = inst != nullptr ? std::string(class_id) + "." + inst : std::string(class_id);

    std::vector<std::string> dirs;
    std::vector<std::string> variants;
    {
        std::lock_guard<std::mutex> lock(g_lock);
        dirs = Split(SearchPathLocked());
        variants = VariantsLocked(name);
    }
    // The first file found is loaded; if it fails, no other variant is tried.
    for (const std::string& variant : variants) {
        for (const std::string& dir : dirs) {
            const std::string path = dir + "/" + name + "." + variant + ".so";
            if (InDirectory(path, dir) && access(path.c_str(), R_OK) == 0) return Load(call, class_id, path, module);
        }
    }
    return -ENOENT;  // *module is left as it was
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

void zelkov_hardware_set_property(const char* key, const char* value) {
    std::lock_guard<std::mutex> lock(g_lock);
    if (value == nullptr || *value == '\0') {
        g_properties.erase(key);
    } else {
        g_properties[key] = value;
    }
}

const char* zelkov_hardware_default_search_path(void) { return DefaultModuleDir().c_str(); }

int hw_get_module_by_class(const char* class_id, const char* inst, const hw_module_t** module) {
    return GetModule("hw_get_module_by_class", class_id, inst, module);
}

int hw_get_module(const char* id, const hw_module_t** module) {
    return GetModule("hw_get_module", id, nullptr, module);
}

}  // extern "C"

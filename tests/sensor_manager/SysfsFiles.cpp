// Defines fopen in the test executable: the two sysfs name files read by the
// listener are served from memory (or reported absent); every other path goes
// to the C library's fopen.
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <mutex>
#include <string>

#include "SensorTestSupport.h"

namespace {

struct NameFile {
    const char* path;
    bool present = false;
    std::string content;
};

std::mutex g_lock;
NameFile g_hrm{"/sys/class/sensors/hrm_sensor/name", false, {}};
NameFile g_rear{"/sys/class/sensors/als_rear/name", false, {}};

void SetNameFile(NameFile& file, const char* content) {
    std::lock_guard<std::mutex> guard(g_lock);
    file.present = content != nullptr;
    file.content = content != nullptr ? content : "";
}

}  // namespace

extern "C" FILE* fopen(const char* path, const char* mode) {
    std::lock_guard<std::mutex> guard(g_lock);
    for (NameFile* file : {&g_hrm, &g_rear}) {
        if (path == nullptr || strcmp(path, file->path) != 0) continue;
        if (!file->present) {
            errno = ENOENT;
            return nullptr;
        }
        // The name files are never written while a test reads them.
        return fmemopen(const_cast<char*>(file->content.data()), file->content.size(), mode);
    }
    static auto real = reinterpret_cast<FILE* (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "fopen"));
    return real(path, mode);
}

namespace zelkov_test {

void SetHrmNameFile(const char* content) { SetNameFile(g_hrm, content); }

void SetRearLightNameFile(const char* content) { SetNameFile(g_rear, content); }

}  // namespace zelkov_test

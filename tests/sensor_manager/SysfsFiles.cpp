// Defines fopen in the test executable: the two sysfs name files read by the
// listener are served from temporary files (or reported absent); every other
// path goes to the C library's fopen.
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <mutex>
#include <string>

#include "SensorTestSupport.h"

namespace {

struct NameFile {
    const char* path;
    bool present = false;
    std::string copy;  // temporary file holding the content
};

std::mutex g_lock;
NameFile g_hrm{"/sys/class/sensors/hrm_sensor/name", false, {}};
NameFile g_rear{"/sys/class/sensors/als_rear/name", false, {}};

using FopenFunction = FILE* (*)(const char*, const char*);

FopenFunction RealFopen() {
    static FopenFunction real = reinterpret_cast<FopenFunction>(dlsym(RTLD_NEXT, "fopen"));
    return real;
}

void SetNameFile(NameFile& file, const char* content) {
    std::lock_guard<std::mutex> guard(g_lock);
    if (!file.copy.empty()) unlink(file.copy.c_str());
    file.copy.clear();
    file.present = content != nullptr;
    if (content == nullptr) return;
    char path[] = "/tmp/zelkov_sysfs_XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, content, strlen(content)), static_cast<ssize_t>(strlen(content)));
    close(fd);
    file.copy = path;
}

}  // namespace

extern "C" FILE* fopen(const char* path, const char* mode) {
    std::string redirected;
    {
        std::lock_guard<std::mutex> guard(g_lock);
        for (NameFile* file : {&g_hrm, &g_rear}) {
            if (path == nullptr || strcmp(path, file->path) != 0) continue;
            if (!file->present) {
                errno = ENOENT;
                return nullptr;
            }
            redirected = file->copy;
        }
    }
    return RealFopen()(redirected.empty() ? path : redirected.c_str(), mode);
}

namespace zelkov_test {

void SetHrmNameFile(const char* content) {
    SetNameFile(g_hrm, content);
}

void SetRearLightNameFile(const char* content) {
    SetNameFile(g_rear, content);
}

}  // namespace zelkov_test

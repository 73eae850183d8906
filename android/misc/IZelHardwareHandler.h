#ifndef ZELKOV_ANDROID_MISC_IZEL_HARDWARE_HANDLER_H
#define ZELKOV_ANDROID_MISC_IZEL_HARDWARE_HANDLER_H

#include <android/ZelExport.h>
#include <android/wrappers/Records.h>

namespace zelkov {

// The platform's hardware-module lookup as an operation of one process-wide
// object. The slot order is part of the interface.
class ZEL_EXPORT IZelHardwareHandler {
public:
    virtual ~IZelHardwareHandler();
    // hw_get_module(id, module), result unchanged: 0 with *module set, or the
    // platform's negative error.
    virtual int GetModule(const char* id, const hw_module_t** module) = 0;

    // The process-wide handler, made on first use and never destroyed.
    static IZelHardwareHandler* GetInstance();
};

}  // namespace zelkov

#endif

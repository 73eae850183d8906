#ifndef ZELKOV_ANDROID_MISC_INTERNAL_ZEL_HARDWARE_HANDLER_H
#define ZELKOV_ANDROID_MISC_INTERNAL_ZEL_HARDWARE_HANDLER_H

#include <android/misc/IZelHardwareHandler.h>

namespace zelkov {

class ZelHardwareHandler : public IZelHardwareHandler {
public:
    int GetModule(const char* id, const hw_module_t** module) override;

private:
    // A module to answer with instead of asking the platform. Nothing sets it,
    // so every lookup reaches hw_get_module.
    const hw_module_t* m_module = nullptr;
};

}  // namespace zelkov

#endif

#include <android/misc/IZelHardwareHandler.h>

#include <hardware/hardware.h>

#include <android/misc/internal/ZelHardwareHandler.h>

namespace zelkov {

IZelHardwareHandler::~IZelHardwareHandler() = default;

IZelHardwareHandler* IZelHardwareHandler::GetInstance() {
    // Made once and never destroyed: camera threads may still call it while the process exits.
    static ZelHardwareHandler* const handler = new ZelHardwareHandler;
    return handler;
}

int ZelHardwareHandler::GetModule(const char* id, const hw_module_t** module) {
    if (m_module != nullptr) {
        *module = m_module;
        return 0;
    }
    return hw_get_module(id, module);
}

}  // namespace zelkov

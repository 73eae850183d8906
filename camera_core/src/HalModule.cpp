// The exported module record. The one source of the core that sees the
// platform's camera header: the record's layout and the version values.
#include <hardware/camera_common.h>

#include "CameraModule.h"
#include "ModuleIdentity.h"

namespace {

hw_module_methods_t g_methods = {camera_core::OpenDevice};

}  // namespace

extern "C" {
__attribute__((visibility("default"))) camera_module_t HAL_MODULE_INFO_SYM = [] {
    camera_module_t module{};
    module.common.tag = HARDWARE_MODULE_TAG;
    module.common.module_api_version = CAMERA_MODULE_API_VERSION_2_5;
    module.common.hal_api_version = HARDWARE_HAL_API_VERSION;
    module.common.id = CAMERA_HARDWARE_MODULE_ID;
    module.common.name = "Zelkov simulated camera core";
    module.common.author = "Zelkov";
    module.common.methods = &g_methods;
    module.get_number_of_cameras = camera_core::GetNumberOfCameras;
    module.get_camera_info = camera_core::GetCameraInfo;
    module.set_callbacks = camera_core::SetCallbacks;
    module.get_vendor_tag_ops = camera_core::GetVendorTagOps;
    module.init = camera_core::ModuleInit;
    return module;
}();
}

namespace camera_core {

const ModuleIdentity& ThisModule() {
    static const ModuleIdentity identity{&HAL_MODULE_INFO_SYM.common, HARDWARE_DEVICE_TAG,
                                         CAMERA_DEVICE_API_VERSION_3_5};
    return identity;
}

}  // namespace camera_core

// A minimal hardware module whose id and name come from the build.
#include <hardware/hardware.h>

#ifndef NO_HMI
__attribute__((visibility("default"))) struct hw_module_t HAL_MODULE_INFO_SYM = {
    .tag = HARDWARE_MODULE_TAG,
    .module_api_version = HARDWARE_MODULE_API_VERSION(1, 0),
    .hal_api_version = HARDWARE_HAL_API_VERSION,
    .id = MODULE_ID,
    .name = MODULE_NAME,
    .author = "Zelkov tests",
};
#else
__attribute__((visibility("default"))) int not_a_module = 1;
#endif

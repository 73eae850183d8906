// The module header's inline open compiled as C: TO_HW_DEVICE_T_OPEN's C cast.
#include "GrallocStyle.h"

int gralloc_style_open_from_c(const struct hw_module_t* module, struct alloc_style_device_t** device) {
    return gralloc_style_open(module, device);
}

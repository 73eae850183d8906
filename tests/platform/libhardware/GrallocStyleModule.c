// A module implemented against the gralloc-style header, as a vendor's
// gralloc is against the platform's: it opens a "gpu0" allocation device.
#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include "GrallocStyle.h"

static int close_device(struct hw_device_t* device) {
    free(device);
    return 0;
}

static int alloc_nothing(struct alloc_style_device_t* dev, int w, int h, int format, int usage, buffer_handle_t* handle,
                         int* stride) {
    (void)dev, (void)h, (void)format, (void)usage;
    *handle = NULL;
    *stride = w;
    return -ENOMEM;
}

static int open_device(const struct hw_module_t* module, const char* id, struct hw_device_t** device) {
    if (strcmp(id, GRALLOC_STYLE_GPU0) != 0) return -EINVAL;
    alloc_style_device_t* dev = calloc(1, sizeof(*dev));
    dev->alloc = alloc_nothing;
    struct hw_device_t* common = &dev->common;
    common->tag = HARDWARE_DEVICE_TAG;
    common->version = GRALLOC_STYLE_DEVICE_API_VERSION;
    common->module = (struct hw_module_t*)module;
    common->close = close_device;
    *device = common;
    return 0;
}

static struct hw_module_methods_t methods = {.open = open_device};

__attribute__((visibility("default"))) struct gralloc_style_module_t HAL_MODULE_INFO_SYM = {
    .common =
        {
            .tag = HARDWARE_MODULE_TAG,
            .version_major = GRALLOC_STYLE_MODULE_API_VERSION,
            .version_minor = HARDWARE_HAL_API_VERSION,
            .id = GRALLOC_STYLE_HARDWARE_MODULE_ID,
            .name = "gralloc-style module",
            .author = "Zelkov tests",
            .methods = &methods,
        },
};

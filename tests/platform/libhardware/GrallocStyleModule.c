// A module implemented against the gralloc-style header, as a vendor's
// gralloc is against the platform's: it opens a "gpu0" allocation device and
// an "fb0" framebuffer device, and fills a YCbCr layout.
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

static int post_nothing(struct framebuffer_style_device_t* dev, buffer_handle_t buffer) {
    (void)dev, (void)buffer;
    return 0;
}

static int open_device(const struct hw_module_t* module, const char* id, struct hw_device_t** device) {
    struct hw_device_t* common;
    if (strcmp(id, GRALLOC_STYLE_GPU0) == 0) {
        alloc_style_device_t* dev = calloc(1, sizeof(*dev));
        dev->alloc = alloc_nothing;
        common = &dev->common;
    } else if (strcmp(id, GRALLOC_STYLE_FB0) == 0) {
        // The framebuffer's fields are const to its users, written once here.
        const framebuffer_style_device_t initial = {
            .width = 1920, .format = HAL_PIXEL_FORMAT_RGBA_8888, .post = post_nothing};
        framebuffer_style_device_t* dev = malloc(sizeof(*dev));
        memcpy(dev, &initial, sizeof(*dev));
        common = &dev->common;
    } else {
        return -EINVAL;
    }
    common->tag = HARDWARE_DEVICE_TAG;
    common->version = GRALLOC_STYLE_DEVICE_API_VERSION;
    common->module = (struct hw_module_t*)module;
    common->close = close_device;
    *device = common;
    return 0;
}

static int lock_ycbcr(struct gralloc_style_module_t const* module, buffer_handle_t handle, int usage, int l, int t,
                      int w, int h, struct android_ycbcr* ycbcr) {
    (void)module, (void)handle, (void)usage, (void)l, (void)t, (void)h;
    memset(ycbcr, 0, sizeof(*ycbcr));
    ycbcr->ystride = (size_t)w;
    ycbcr->chroma_step = 2;
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
    .lock_ycbcr = lock_ycbcr,
};

// A module interface written the way the platform's <hardware/gralloc.h> and
// <hardware/fb.h> are: it includes <hardware/hardware.h> alone and takes from
// it the records, the version macros, TO_HW_DEVICE_T_OPEN, the native handle
// and the graphics types. Built as C (the module, the C caller) and C++ (the
// test), as the platform's headers are.
#ifndef ZELKOV_TEST_GRALLOC_STYLE_H
#define ZELKOV_TEST_GRALLOC_STYLE_H

#include <hardware/hardware.h>

__BEGIN_DECLS

#define GRALLOC_STYLE_MODULE_API_VERSION HARDWARE_MODULE_API_VERSION(0, 3)
#define GRALLOC_STYLE_DEVICE_API_VERSION HARDWARE_DEVICE_API_VERSION_2(1, 2, 7)
#define GRALLOC_STYLE_HARDWARE_MODULE_ID "gralloc"
#define GRALLOC_STYLE_GPU0 "gpu0"

typedef struct gralloc_style_module_t {
    struct hw_module_t common;
    int (*lock_ycbcr)(struct gralloc_style_module_t const* module, buffer_handle_t handle, int usage, int l, int t,
                      int w, int h, struct android_ycbcr* ycbcr);
} gralloc_style_module_t;

typedef struct alloc_style_device_t {
    struct hw_device_t common;
    int (*alloc)(struct alloc_style_device_t* dev, int w, int h, int format, int usage, buffer_handle_t* handle,
                 int* stride);
} alloc_style_device_t;

static inline int gralloc_style_open(const struct hw_module_t* module, struct alloc_style_device_t** device) {
    return module->methods->open(module, GRALLOC_STYLE_GPU0, TO_HW_DEVICE_T_OPEN(device));
}

static inline int gralloc_style_close(struct alloc_style_device_t* device) {
    return device->common.close(&device->common);
}

// The same open, compiled as C (GrallocStyleCaller.c).
int gralloc_style_open_from_c(const struct hw_module_t* module, struct alloc_style_device_t** device);

__END_DECLS

#endif

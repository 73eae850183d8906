#ifndef ZELKOV_PLATFORM_HARDWARE_CONTROL_H
#define ZELKOV_PLATFORM_HARDWARE_CONTROL_H

// Control of the host libhardware: where hw_get_module looks for modules.
//
// hw_get_module(id) tries "<dir>/<id>.<variant>.so" for each directory of the
// search path (colon-separated) and each variant: the one set here (or in
// ZELKOV_HW_VARIANT), then "default". The search path is the one set here,
// else the ZELKOV_HW_MODULE_PATH environment variable, else the build tree's
// module directory, where the camera module "camera.default.so" lives.

#ifdef __cplusplus
extern "C" {
#endif

// nullptr restores the default. The string is copied.
void zelkov_hardware_set_search_path(const char* path);
const char* zelkov_hardware_search_path(void);

void zelkov_hardware_set_variant(const char* variant);

// The directory the sample module was built into.
const char* zelkov_hardware_default_search_path(void);

#ifdef __cplusplus
}
#endif

#endif

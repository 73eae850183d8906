#ifndef ZELKOV_PLATFORM_HARDWARE_CONTROL_H
#define ZELKOV_PLATFORM_HARDWARE_CONTROL_H

// Control of the host libhardware: where hw_get_module looks for modules.
//
// hw_get_module_by_class(class, inst) looks for "<name>.<variant>.so", name
// being "<class>.<inst>" or "<class>", in each directory of the search path
// (colon-separated, in order) for each variant in turn: the values of the
// properties "ro.hardware.<name>", "ro.hardware", "ro.product.board",
// "ro.board.platform" and "ro.arch" that are set, then "default". The search
// path is the one set here, else the ZELKOV_HW_MODULE_PATH environment
// variable, else the default module directory.

#ifdef __cplusplus
extern "C" {
#endif

// nullptr restores the default. The string is copied.
void zelkov_hardware_set_search_path(const char* path);
const char* zelkov_hardware_search_path(void);

// Sets one of the system properties above; a null or empty value unsets it.
void zelkov_hardware_set_property(const char* key, const char* value);

// The default module directory: the build tree's hw/, or <libdir>/hw of the
// install prefix for an installed copy.
const char* zelkov_hardware_default_search_path(void);

#ifdef __cplusplus
}
#endif

#endif

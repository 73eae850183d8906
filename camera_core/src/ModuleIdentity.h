// What only the module record's source knows: the exported record and the
// platform's version and tag values that go into device records.
#ifndef ZELKOV_CAMERA_CORE_MODULE_IDENTITY_H
#define ZELKOV_CAMERA_CORE_MODULE_IDENTITY_H

#include <android/wrappers/Records.h>

namespace camera_core {

struct ModuleIdentity {
    const hw_module_t* module;
    unsigned int deviceTag;
    unsigned int deviceVersion;
};

const ModuleIdentity& ThisModule();

}  // namespace camera_core

#endif

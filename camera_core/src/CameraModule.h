// The module's operations: the cameras of the configuration, their static
// metadata, the vendor tags and the open devices.
#ifndef ZELKOV_CAMERA_CORE_CAMERA_MODULE_H
#define ZELKOV_CAMERA_CORE_CAMERA_MODULE_H

#include <android/wrappers/Records.h>

namespace camera_core {

// Module slots, in the platform's signatures.
int ModuleInit();
int GetNumberOfCameras();
int GetCameraInfo(int id, camera_info* info);
int SetCallbacks(const camera_module_callbacks* callbacks);
void GetVendorTagOps(vendor_tag_ops* ops);
int OpenDevice(const hw_module_t* module, const char* id, hw_device_t** device);

}  // namespace camera_core

#endif

// camera.hal3_record.so: a camera HAL module (module API 2.4) that loads the
// real module and forwards every module and device call to it, and every
// callback of its devices back to the camera service, recording each one
// (see tools/hal3_check/Recording.h). The real module is named by
// HAL3_RECORD_MODULE on the host and by the property
// vendor.camera.hal3_record.module on a device; the recording goes to
// HAL3_RECORD_OUT / vendor.camera.hal3_record.out.
//
// What is recorded must not change: no lock of this module is held while
// the real module runs or while a record is written, and the callbacks only
// encode their record and queue it for the writer thread.
#include "RecordingDevice.h"

#include <dlfcn.h>

#include <hardware/camera3.h>
#include <hardware/hardware.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#ifdef __ANDROID__
#include <cutils/properties.h>
#endif

extern "C" {
extern camera_module_t HAL_MODULE_INFO_SYM;
}

namespace {

using hal3_check::CallId;
using hal3_check::RecordingWriter;
using hal3_check::SessionCapture;

std::string Setting(const char* env, const char* property) {
#ifdef __ANDROID__
    (void)env;
    char value[PROPERTY_VALUE_MAX] = {};
    property_get(property, value, "");
    return value;
#else
    (void)property;
    const char* v = getenv(env);
    return v ? v : "";
#endif
}

// The real module and the recording, set up once on first use: the camera
// service loads this module before anything else runs in its process.
struct Real {
    const camera_module_t* module = nullptr;
    RecordingWriter writer;
};

Real& Get() {
    static Real* real = [] {
        auto* r = new Real();  // never freed: devices and callbacks may outlive any static destructor
        std::string path = Setting("HAL3_RECORD_MODULE", "vendor.camera.hal3_record.module");
        std::string out = Setting("HAL3_RECORD_OUT", "vendor.camera.hal3_record.out");
        void* dso = path.empty() ? nullptr : dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (dso != nullptr) r->module = static_cast<const camera_module_t*>(dlsym(dso, HAL_MODULE_INFO_SYM_AS_STR));
        if (r->module == nullptr)
            fprintf(stderr, "camera.hal3_record: no real module (HAL3_RECORD_MODULE=%s): %s\n", path.c_str(),
                    path.empty() ? "not set" : dlerror());
        std::string err = out.empty() ? "HAL3_RECORD_OUT not set" : r->writer.Open(out);
        if (!err.empty()) fprintf(stderr, "camera.hal3_record: not recording: %s\n", err.c_str());
        return r;
    }();
    return *real;
}

const camera_module_t* Module() { return Get().module; }
RecordingWriter* Writer() { return &Get().writer; }

// The real module's version, without which fields past it are not read.
bool Has(uint32_t version) { return Module() != nullptr && Module()->common.module_api_version >= version; }

int Open(const hw_module_t*, const char* id, hw_device_t** out) {
    if (Module() == nullptr || Module()->common.methods == nullptr || Module()->common.methods->open == nullptr)
        return -ENODEV;
    uint32_t session = hal3_check::RecordOpenCall(Writer(), id);
    hw_device_t* device = nullptr;
    int rc = Module()->common.methods->open(&Module()->common, id, &device);
    *out = hal3_check::RecordOpenReturn(Writer(), session, rc, device, &HAL_MODULE_INFO_SYM.common);
    return rc;
}

int GetNumberOfCameras() {
    if (Module() == nullptr) return 0;
    SessionCapture::ModuleCall(Writer(), CallId::kGetNumberOfCameras);
    int n = Module()->get_number_of_cameras();
    SessionCapture::ModuleReturn(Writer(), CallId::kGetNumberOfCameras, n);
    return n;
}

int GetCameraInfo(int id, camera_info* info) {
    if (Module() == nullptr) return -ENODEV;
    SessionCapture::ModuleCall(Writer(), CallId::kGetCameraInfo, id);
    int rc = Module()->get_camera_info(id, info);
    SessionCapture::ModuleReturn(Writer(), CallId::kGetCameraInfo, rc, id,
                                 info ? info->static_camera_characteristics : nullptr);
    return rc;
}

int SetCallbacks(const camera_module_callbacks_t* callbacks) {
    if (Module() == nullptr || Module()->set_callbacks == nullptr) return -ENODEV;
    SessionCapture::ModuleCall(Writer(), CallId::kSetCallbacks);
    int rc = Module()->set_callbacks(callbacks);
    SessionCapture::ModuleReturn(Writer(), CallId::kSetCallbacks, rc);
    return rc;
}

void GetVendorTagOps(vendor_tag_ops_t* ops) {
    if (Module() == nullptr || Module()->get_vendor_tag_ops == nullptr) return;
    SessionCapture::ModuleCall(Writer(), CallId::kGetVendorTagOps);
    Module()->get_vendor_tag_ops(ops);
    SessionCapture::ModuleReturn(Writer(), CallId::kGetVendorTagOps, 0);
}

int OpenLegacy(const hw_module_t*, const char* id, uint32_t version, hw_device_t** device) {
    if (Module() == nullptr || Module()->open_legacy == nullptr) return -ENOSYS;
    return Module()->open_legacy(&Module()->common, id, version, device);
}

int SetTorchMode(const char* id, bool enabled) {
    if (Module() == nullptr || Module()->set_torch_mode == nullptr) return -ENOSYS;
    return Module()->set_torch_mode(id, enabled);
}

int Init() {
    if (Module() == nullptr) return -ENODEV;
    if (!Has(CAMERA_MODULE_API_VERSION_2_4) || Module()->init == nullptr) return 0;
    SessionCapture::ModuleCall(Writer(), CallId::kInit);
    int rc = Module()->init();
    SessionCapture::ModuleReturn(Writer(), CallId::kInit, rc);
    return rc;
}

hw_module_methods_t g_methods = {Open};

}  // namespace

extern "C" {
__attribute__((visibility("default"))) camera_module_t HAL_MODULE_INFO_SYM = {
    .common =
        {
            .tag = HARDWARE_MODULE_TAG,
            .module_api_version = CAMERA_MODULE_API_VERSION_2_4,
            .hal_api_version = HARDWARE_HAL_API_VERSION,
            .id = CAMERA_HARDWARE_MODULE_ID,
            .name = "HAL3 recorder",
            .author = "zelkov",
            .methods = &g_methods,
            .dso = nullptr,
            .reserved = {},
        },
    .get_number_of_cameras = GetNumberOfCameras,
    .get_camera_info = GetCameraInfo,
    .set_callbacks = SetCallbacks,
    .get_vendor_tag_ops = GetVendorTagOps,
    .open_legacy = OpenLegacy,
    .set_torch_mode = SetTorchMode,
    .set_torch_mode_strength = nullptr,
    .init = Init,
    .get_physical_camera_info = nullptr,
    .is_stream_combination_supported = nullptr,
    .notify_device_state_change = nullptr,
    .get_camera_device_version = nullptr,
    .get_concurrent_streaming_camera_ids = nullptr,
    .is_concurrent_stream_combination_supported = nullptr,
    .reserved = {},
};
}

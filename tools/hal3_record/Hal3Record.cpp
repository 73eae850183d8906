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
#include "Recording.h"

#include <dlfcn.h>

#include <hardware/camera3.h>
#include <hardware/hardware.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>
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

// One open device: the record handed to the service in front of the real one.
struct Device {
    camera3_device_t wrapper{};
    camera3_device_ops_t ops{};
    camera3_device_t* real = nullptr;
    const camera3_callback_ops_t* framework = nullptr;
    struct Callbacks : camera3_callback_ops_t {
        Device* self;
    } callbacks{};
    SessionCapture capture;
    explicit Device(uint32_t session) : capture(Writer(), session) {}
};

Device* Self(const camera3_device_t* d) { return static_cast<Device*>(d->priv); }
Device* Self(const camera3_callback_ops_t* ops) { return static_cast<const Device::Callbacks*>(ops)->self; }

void OnResult(const camera3_callback_ops_t* ops, const camera3_capture_result_t* result) {
    Device* d = Self(ops);
    d->capture.Result(result);  // before forwarding: the service may free what it points to
    d->framework->process_capture_result(d->framework, result);
}

void OnNotify(const camera3_callback_ops_t* ops, const camera3_notify_msg_t* msg) {
    Device* d = Self(ops);
    d->capture.Notify(msg);
    d->framework->notify(d->framework, msg);
}

camera3_buffer_request_status_t OnRequestBuffers(const camera3_callback_ops_t* ops, uint32_t n,
                                                 const camera3_buffer_request_t* requests, uint32_t* returned,
                                                 camera3_stream_buffer_ret_t* buffers) {
    Device* d = Self(ops);
    d->capture.BufferCallback(CallId::kRequestStreamBuffers);
    return d->framework->request_stream_buffers(d->framework, n, requests, returned, buffers);
}

void OnReturnBuffers(const camera3_callback_ops_t* ops, uint32_t n, const camera3_stream_buffer_t* const* buffers) {
    Device* d = Self(ops);
    d->capture.BufferCallback(CallId::kReturnStreamBuffers);
    d->framework->return_stream_buffers(d->framework, n, buffers);
}

int Initialize(const camera3_device_t* dev, const camera3_callback_ops_t* framework) {
    Device* d = Self(dev);
    d->framework = framework;
    d->callbacks.process_capture_result = framework && framework->process_capture_result ? OnResult : nullptr;
    d->callbacks.notify = framework && framework->notify ? OnNotify : nullptr;
    d->callbacks.request_stream_buffers = framework && framework->request_stream_buffers ? OnRequestBuffers : nullptr;
    d->callbacks.return_stream_buffers = framework && framework->return_stream_buffers ? OnReturnBuffers : nullptr;
    d->capture.Call(CallId::kInitialize);
    int rc = d->real->ops->initialize(d->real, framework ? &d->callbacks : nullptr);
    d->capture.Return(CallId::kInitialize, rc);
    return rc;
}

int ConfigureStreams(const camera3_device_t* dev, camera3_stream_configuration_t* config) {
    Device* d = Self(dev);
    d->capture.Configure(config);
    int rc = d->real->ops->configure_streams(d->real, config);
    d->capture.ConfigureReturn(config, rc);
    return rc;
}

int RegisterStreamBuffers(const camera3_device_t* dev, const camera3_stream_buffer_set_t* set) {
    return Self(dev)->real->ops->register_stream_buffers(Self(dev)->real, set);
}

const camera_metadata_t* DefaultSettings(const camera3_device_t* dev, int type) {
    Device* d = Self(dev);
    d->capture.Call(CallId::kDefaultSettings, type);
    const camera_metadata_t* settings = d->real->ops->construct_default_request_settings(d->real, type);
    d->capture.DefaultSettingsReturn(type, settings);
    return settings;
}

int ProcessCaptureRequest(const camera3_device_t* dev, camera3_capture_request_t* request) {
    Device* d = Self(dev);
    d->capture.Request(request);
    int rc = d->real->ops->process_capture_request(d->real, request);
    d->capture.Return(CallId::kProcessCaptureRequest, rc);
    return rc;
}

void VendorTagOps(const camera3_device_t* dev, vendor_tag_query_ops_t* ops) {
    Self(dev)->real->ops->get_metadata_vendor_tag_ops(Self(dev)->real, ops);
}

void Dump(const camera3_device_t* dev, int fd) {
    Device* d = Self(dev);
    d->capture.Call(CallId::kDump, fd);
    d->real->ops->dump(d->real, fd);
    d->capture.Return(CallId::kDump, 0);
}

int Flush(const camera3_device_t* dev) {
    Device* d = Self(dev);
    d->capture.Call(CallId::kFlush);
    int rc = d->real->ops->flush(d->real);
    d->capture.Return(CallId::kFlush, rc);
    return rc;
}

void SignalStreamFlush(const camera3_device_t* dev, uint32_t n, const camera3_stream_t* const* streams) {
    Self(dev)->real->ops->signal_stream_flush(Self(dev)->real, n, streams);
}

int IsReconfigurationRequired(const camera3_device_t* dev, const camera_metadata_t* oldParams,
                              const camera_metadata_t* newParams) {
    return Self(dev)->real->ops->is_reconfiguration_required(Self(dev)->real, oldParams, newParams);
}

int Close(hw_device_t* common) {
    Device* d = Self(reinterpret_cast<camera3_device_t*>(common));
    d->capture.Call(CallId::kClose);
    int rc = d->real->common.close(&d->real->common);
    d->capture.Return(CallId::kClose, rc);
    // A clean close leaves the session complete on disk. The wrapper stays:
    // a device that calls back after close still finds its service.
    Writer()->Drain();
    return rc;
}

// Our ops table holds an entry exactly where the real device has one, so the
// service sees the same device.
template <typename F>
void Wrap(F& ours, F real, F wrapper) {
    ours = real ? wrapper : nullptr;
}

int Open(const hw_module_t*, const char* id, hw_device_t** out) {
    static std::atomic<uint32_t> sessions{0};
    if (Module() == nullptr || Module()->common.methods == nullptr || Module()->common.methods->open == nullptr)
        return -ENODEV;
    auto* d = new Device(++sessions);
    d->capture.Open(id);
    hw_device_t* common = nullptr;
    int rc = Module()->common.methods->open(&Module()->common, id, &common);
    d->capture.Return(CallId::kOpen, rc);
    if (rc != 0 || common == nullptr) {
        delete d;
        *out = common;
        return rc;
    }
    d->real = reinterpret_cast<camera3_device_t*>(common);
    d->wrapper.common = d->real->common;
    d->wrapper.common.module = const_cast<hw_module_t*>(&HAL_MODULE_INFO_SYM.common);
    d->wrapper.common.close = d->real->common.close ? Close : nullptr;
    d->wrapper.priv = d;
    d->callbacks.self = d;
    const camera3_device_ops_t* r = d->real->ops;
    if (r != nullptr) {
        Wrap(d->ops.initialize, r->initialize, Initialize);
        Wrap(d->ops.configure_streams, r->configure_streams, ConfigureStreams);
        Wrap(d->ops.register_stream_buffers, r->register_stream_buffers, RegisterStreamBuffers);
        Wrap(d->ops.construct_default_request_settings, r->construct_default_request_settings, DefaultSettings);
        Wrap(d->ops.process_capture_request, r->process_capture_request, ProcessCaptureRequest);
        Wrap(d->ops.get_metadata_vendor_tag_ops, r->get_metadata_vendor_tag_ops, VendorTagOps);
        Wrap(d->ops.dump, r->dump, Dump);
        Wrap(d->ops.flush, r->flush, Flush);
        if (d->real->common.version >= CAMERA_DEVICE_API_VERSION_3_5) {
            Wrap(d->ops.signal_stream_flush, r->signal_stream_flush, SignalStreamFlush);
            Wrap(d->ops.is_reconfiguration_required, r->is_reconfiguration_required, IsReconfigurationRequired);
        }
        d->wrapper.ops = &d->ops;
    }
    *out = &d->wrapper.common;
    return 0;
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

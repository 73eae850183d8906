// The recording device: what camera.hal3_record.so hands the camera service,
// and what hal3_check's device connector opens through when it records. It
// sits inside the connector's call path (each of its ops runs within the
// connector's own marked call) and forwards to the real device.
#include "RecordingDevice.h"

#include <unistd.h>

#include <atomic>

namespace hal3_check {

namespace {

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
    Device(RecordingWriter* writer, uint32_t session) : capture(writer, session), writer(writer) {}
    RecordingWriter* writer;
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
    d->writer->Drain();
    return rc;
}

// Our ops table holds an entry exactly where the real device has one, so the
// caller sees the same device.
template <typename F>
void Wrap(F& ours, F real, F wrapper) {
    ours = real ? wrapper : nullptr;
}

}  // namespace

uint32_t RecordOpenCall(RecordingWriter* writer, const char* cameraId) {
    static std::atomic<uint32_t> opened{0};
    // Unique within a file that several processes append to: the process id
    // in the high bits, its own count of opens in the low ten.
    uint32_t session = uint32_t(getpid()) << 10 | (++opened & 0x3ff);
    SessionCapture(writer, session).Open(cameraId);
    return session;
}

hw_device_t* RecordOpenReturn(RecordingWriter* writer, uint32_t session, int rc, hw_device_t* device,
                              const hw_module_t* module) {
    SessionCapture(writer, session).Return(CallId::kOpen, rc);
    if (rc != 0 || device == nullptr) return device;
    auto* d = new Device(writer, session);
    d->real = reinterpret_cast<camera3_device_t*>(device);
    d->wrapper.common = d->real->common;
    d->wrapper.common.module = const_cast<hw_module_t*>(module);
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
    return &d->wrapper.common;
}

RecordingWriter*& LiveWriter() {
    static RecordingWriter* writer = nullptr;
    return writer;
}

}  // namespace hal3_check

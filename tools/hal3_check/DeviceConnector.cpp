#include "DeviceConnector.h"

#include "ModuleConnector.h"

#include <cerrno>
#include <deque>
#include <memory>
#include <mutex>

namespace hal3_check {

DeviceConnector* DeviceConnector::Make() {
    static std::mutex mutex;
    static std::deque<std::unique_ptr<DeviceConnector>> all;
    std::lock_guard<std::mutex> lock(mutex);
    all.emplace_back(new DeviceConnector());
    all.back()->ops_.self = all.back().get();
    return all.back().get();
}

DeviceConnector::DeviceConnector() {
    ops_.process_capture_result = [](const camera3_callback_ops_t* ops, const camera3_capture_result_t* r) {
        DeviceConnector* self = Self(ops);
        if (ResultChecker* c = self->checker_.load(); c != nullptr && !self->Late()) c->OnResult(r);
    };
    ops_.notify = [](const camera3_callback_ops_t* ops, const camera3_notify_msg_t* m) {
        DeviceConnector* self = Self(ops);
        if (ResultChecker* c = self->checker_.load(); c != nullptr && !self->Late()) c->OnNotify(m);
    };
    // Buffer management stays with this side: the device has no reason to call these.
    ops_.request_stream_buffers = [](const camera3_callback_ops_t* ops, uint32_t, const camera3_buffer_request_t*,
                                     uint32_t* returned, camera3_stream_buffer_ret_t*) {
        if (ResultChecker* c = Self(ops)->checker_.load())
            c->Fail("[rule buffer-management] request_stream_buffers called without HAL buffer management");
        if (returned) *returned = 0;
        return CAMERA3_BUF_REQ_FAILED_UNKNOWN;
    };
    ops_.return_stream_buffers = [](const camera3_callback_ops_t* ops, uint32_t, const camera3_stream_buffer_t* const*) {
        if (ResultChecker* c = Self(ops)->checker_.load())
            c->Fail("[rule buffer-management] return_stream_buffers called without HAL buffer management");
    };
}

DeviceConnector* DeviceConnector::Self(const camera3_callback_ops_t* ops) {
    return static_cast<const Ops*>(ops)->self;
}

bool DeviceConnector::Late() {
    if (!closed_.load()) return false;
    late_++;
    return true;
}

int DeviceConnector::Open(const ModuleConnector& module, const std::string& id) {
    hw_device_t* common = nullptr;
    const hw_module_t* m = &module.module()->common;
    int rc = m->methods->open(m, id.c_str(), &common);
    if (rc == 0) device_ = reinterpret_cast<camera3_device_t*>(common);
    return rc;
}

int DeviceConnector::Initialize() { return device_->ops->initialize(device_, &ops_); }

const camera_metadata_t* DeviceConnector::DefaultSettings(int templateType) {
    return device_->ops->construct_default_request_settings(device_, templateType);
}

int DeviceConnector::Configure(camera3_stream_configuration_t* config) {
    return device_->ops->configure_streams(device_, config);
}

int DeviceConnector::Submit(camera3_capture_request_t* request) {
    return device_->ops->process_capture_request(device_, request);
}

int DeviceConnector::Flush() { return device_->ops->flush(device_); }

int DeviceConnector::Close() {
    if (device_ == nullptr) return -ENODEV;
    int rc = device_->common.close(&device_->common);
    closed_.store(true);
    device_ = nullptr;
    return rc;
}

}  // namespace hal3_check

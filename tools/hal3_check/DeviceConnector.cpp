#include "DeviceConnector.h"

#include "ModuleConnector.h"
#include "Watchdog.h"

#include <cerrno>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

namespace hal3_check {

namespace {

std::function<void(const std::string&)>& Sink() {
    static std::function<void(const std::string&)> sink;
    return sink;
}

}  // namespace

DeviceConnector* DeviceConnector::Make() {
    static std::mutex mutex;
    static std::deque<std::unique_ptr<DeviceConnector>> all;
    std::lock_guard<std::mutex> lock(mutex);
    all.emplace_back(new DeviceConnector());
    all.back()->ops_.self = all.back().get();
    return all.back().get();
}

void DeviceConnector::SetFindingSink(std::function<void(const std::string&)> sink) { Sink() = std::move(sink); }

void DeviceConnector::Finding(const std::string& finding) {
    if (Sink()) Sink()(finding);
    else fprintf(stderr, "hal3_check: %s\n", finding.c_str());
}

DeviceConnector::DeviceConnector() {
    ops_.process_capture_result = [](const camera3_callback_ops_t* ops, const camera3_capture_result_t* r) {
        Self(ops)->Deliver(true, [r](ResultChecker* c) { c->OnResult(r); });
    };
    ops_.notify = [](const camera3_callback_ops_t* ops, const camera3_notify_msg_t* m) {
        Self(ops)->Deliver(false, [m](ResultChecker* c) { c->OnNotify(m); });
    };
    // Buffer management stays with this side: the device has no reason to call these.
    ops_.request_stream_buffers = [](const camera3_callback_ops_t* ops, uint32_t, const camera3_buffer_request_t*,
                                     uint32_t* returned, camera3_stream_buffer_ret_t*) {
        Self(ops)->Deliver(false, [](ResultChecker* c) {
            c->Fail("[rule buffer-management] request_stream_buffers called without HAL buffer management");
        });
        if (returned) *returned = 0;
        return CAMERA3_BUF_REQ_FAILED_UNKNOWN;
    };
    ops_.return_stream_buffers = [](const camera3_callback_ops_t* ops, uint32_t, const camera3_stream_buffer_t* const*) {
        Self(ops)->Deliver(false, [](ResultChecker* c) {
            c->Fail("[rule buffer-management] return_stream_buffers called without HAL buffer management");
        });
    };
}

DeviceConnector* DeviceConnector::Self(const camera3_callback_ops_t* ops) {
    return static_cast<const Ops*>(ops)->self;
}

void DeviceConnector::Deliver(bool result, const std::function<void(ResultChecker*)>& deliver) {
    CallMark mark(result ? HalCall::kResultCallback : HalCall::kNotifyCallback);
    // active_ is raised before closed_ is read: Close() waits for it to fall
    // after setting closed_, so no callback holds the checker past Close().
    active_++;
    if (closed_.load()) {
        late_++;
    } else {
        if (closing_.load()) duringClose_++;
        if (ResultChecker* c = checker_.load()) deliver(c);
    }
    active_--;
}

std::string DeviceConnector::Refusal(const std::string& id) const {
    std::string camera = "camera " + id + ": ";
    if (device_ == nullptr) return "[rule open] " + camera + "open returned 0 and no device";
    if (device_->common.version < CAMERA_DEVICE_API_VERSION_3_2) {
        char version[16];
        snprintf(version, sizeof version, "0x%x", device_->common.version);
        return "[rule device-version] " + camera + "device API " + version +
               " is below 3.2, the oldest the camera service opens";
    }
    const camera3_device_ops_t* o = device_->ops;
    if (device_->common.close == nullptr) return "[rule open] " + camera + "the device has no close";
    if (o == nullptr) return "[rule open] " + camera + "the device has no camera3_device_ops";
    const struct {
        bool present;
        const char* name;
    } required[] = {{o->initialize != nullptr, "initialize"},
                    {o->configure_streams != nullptr, "configure_streams"},
                    {o->construct_default_request_settings != nullptr, "construct_default_request_settings"},
                    {o->process_capture_request != nullptr, "process_capture_request"},
                    {o->flush != nullptr, "flush"}};
    for (const auto& r : required)
        if (!r.present) return "[rule open] " + camera + "camera3_device_ops has no " + r.name;
    return "";
}

int DeviceConnector::Open(const ModuleConnector& module, const std::string& id) {
    hw_device_t* common = nullptr;
    const hw_module_t* m = &module.module()->common;
    int rc;
    {
        CallMark mark(HalCall::kOpen);
        rc = m->methods->open(m, id.c_str(), &common);
    }
    if (rc != 0) return rc;
    device_ = reinterpret_cast<camera3_device_t*>(common);
    std::string refusal = Refusal(id);
    if (refusal.empty()) return 0;
    Finding(refusal);
    if (device_ != nullptr && device_->common.close != nullptr) {
        CallMark mark(HalCall::kClose);
        device_->common.close(&device_->common);
    }
    device_ = nullptr;
    return -EINVAL;
}

int DeviceConnector::Initialize() {
    CallMark mark(HalCall::kInitialize);
    return device_->ops->initialize(device_, &ops_);
}

const camera_metadata_t* DeviceConnector::DefaultSettings(int templateType) {
    CallMark mark(HalCall::kDefaultSettings);
    return device_->ops->construct_default_request_settings(device_, templateType);
}

int DeviceConnector::Configure(camera3_stream_configuration_t* config) {
    SaveTable();
    CallMark mark(HalCall::kConfigure);
    return device_->ops->configure_streams(device_, config);
}

int DeviceConnector::Submit(camera3_capture_request_t* request) {
    SaveTable();
    CallMark mark(HalCall::kRequest);
    return device_->ops->process_capture_request(device_, request);
}

int DeviceConnector::Flush() {
    SaveTable();
    CallMark mark(HalCall::kFlush);
    return device_->ops->flush(device_);
}

int DeviceConnector::Close() {
    if (device_ == nullptr) return -ENODEV;
    SaveTable();
    int rc;
    {
        CallMark mark(HalCall::kClose);
        closing_.store(true);
        rc = device_->common.close(&device_->common);
        closed_.store(true);
        while (active_.load() != 0) std::this_thread::yield();
    }
    device_ = nullptr;
    if (int n = duringClose_.load())
        Finding("[rule no-callback-after-close] " + std::to_string(n) + " callback(s) while close was running");
    return rc;
}

void DeviceConnector::SaveTable() {
    if (watchPage() == nullptr) return;
    if (ResultChecker* c = checker_.load()) SaveInFlightTable(c->InFlightTable());
}

}  // namespace hal3_check

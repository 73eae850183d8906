#pragma once
// One open camera device, driven through camera3_device_ops as the camera
// service drives it. Its callbacks copy into the attached ResultChecker and
// return; a callback after close() is a failure of its own.

#include "ResultChecker.h"

#include <hardware/camera3.h>

#include <atomic>
#include <string>

namespace hal3_check {

class ModuleConnector;

class DeviceConnector {
public:
    // Connectors outlive their device (a late callback must find one), so
    // they are made here and never freed.
    static DeviceConnector* Make();

    int Open(const ModuleConnector& module, const std::string& id);
    int Initialize();
    const camera_metadata_t* DefaultSettings(int templateType);
    int Configure(camera3_stream_configuration_t* config);
    int Submit(camera3_capture_request_t* request);
    int Flush();
    // Closes the device; callbacks from then on are failures.
    int Close();
    void Attach(ResultChecker* checker) { checker_.store(checker); }
    camera3_device_t* device() const { return device_; }
    // Callbacks that came after close, and the first one's kind.
    int lateCallbacks() const { return late_.load(); }

private:
    DeviceConnector();
    static DeviceConnector* Self(const camera3_callback_ops_t* ops);
    bool Late();

    struct Ops : camera3_callback_ops_t {
        DeviceConnector* self;
    } ops_{};
    camera3_device_t* device_ = nullptr;
    std::atomic<ResultChecker*> checker_{nullptr};
    std::atomic<bool> closed_{false};
    std::atomic<int> late_{0};
};

}  // namespace hal3_check

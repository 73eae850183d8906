#pragma once
// Loads a camera module and talks to it as the camera service does at boot:
// init, vendor tags (registered before any camera info is read), callbacks,
// enumeration.

#include <hardware/camera_common.h>

#include <atomic>
#include <string>

namespace hal3_check {

class ModuleConnector {
public:
    // Loads `path` with dlopen and its HMI symbol, or hw_get_module("camera")
    // when `path` is empty. Returns "" or what went wrong.
    std::string Load(const std::string& path);
    // init, get_vendor_tag_ops + set_camera_metadata_vendor_ops, set_callbacks.
    // Returns "" or a failure naming its rule.
    std::string Start();

    const camera_module_t* module() const { return module_; }
    int NumberOfCameras() const { return module_->get_number_of_cameras(); }
    int Info(int id, camera_info* info) const { return module_->get_camera_info(id, info); }
    // The vendor tag `section`.`name`, or 0.
    uint32_t FindVendorTag(const std::string& section, const std::string& name) const;
    int device_status_calls() const { return statusCalls_.load(); }

    static ModuleConnector& Get();  // one module per process, as in the camera service

private:
    static void OnDeviceStatus(const camera_module_callbacks_t*, int, int);
    static void OnTorchStatus(const camera_module_callbacks_t*, const char*, int);

    const camera_module_t* module_ = nullptr;
    void* dso_ = nullptr;
    bool started_ = false;
    vendor_tag_ops_t vendorOps_{};
    camera_module_callbacks_t callbacks_{OnDeviceStatus, OnTorchStatus};
    std::atomic<int> statusCalls_{0};
};

}  // namespace hal3_check

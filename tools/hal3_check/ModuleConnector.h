#pragma once
// Loads a camera module and talks to it as the camera service does at boot:
// init, vendor tags (registered before any camera info is read), callbacks,
// enumeration. Every call into the module is marked for the watchdog.

#include <hardware/camera_common.h>

#include <atomic>
#include <string>
#include <vector>

namespace hal3_check {

class ModuleConnector {
public:
    // Loads `path` with dlopen and its HMI symbol, or hw_get_module("camera")
    // when `path` is empty. Returns "" or what went wrong.
    std::string Load(const std::string& path);
    // init, get_vendor_tag_ops + set_camera_metadata_vendor_ops, set_callbacks.
    // Returns "" or a failure naming its rule; what the camera service only
    // logs goes to warnings().
    std::string Start();
    const std::vector<std::string>& warnings() const { return warnings_; }

    const camera_module_t* module() const { return module_; }
    // The module's count; without a module here, the count it gave another
    // process (SetNumberOfCameras), as the parent of the scenarios knows it.
    int NumberOfCameras() const;
    void SetNumberOfCameras(int n) { cameras_ = n; }
    int Info(int id, camera_info* info) const;
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
    int cameras_ = 0;
    std::vector<std::string> warnings_;
    vendor_tag_ops_t vendorOps_{};
    camera_module_callbacks_t callbacks_{OnDeviceStatus, OnTorchStatus};
    std::atomic<int> statusCalls_{0};
};

}  // namespace hal3_check

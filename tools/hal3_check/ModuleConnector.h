#ifndef HAL3_CHECK_MODULE_CONNECTOR_H
#define HAL3_CHECK_MODULE_CONNECTOR_H
// Loads a camera module and talks to it as the camera service does at boot:
// init, vendor tags (registered before any camera info is read), callbacks,
// enumeration. Every call into the module is marked for the watchdog.

#include <hardware/camera_common.h>

#include <atomic>
#include <map>
#include <memory>
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
    const std::vector<std::string>& warnings() const { return m_warnings; }

    const camera_module_t* module() const { return m_module; }
    // The module's count; without a module here, the count it gave another
    // process (SetNumberOfCameras), as the parent of the scenarios knows it.
    int NumberOfCameras() const;
    void SetNumberOfCameras(int n) { m_cameras = n; }
    // get_camera_info; the static metadata it hands over is bounded and
    // copied before anything reads it, and `info` then points at the copy
    // (or at none, with a finding, when the module's is not readable).
    int Info(int id, camera_info* info);
    // open(`id`) as a robustness probe the camera service never sends; a
    // device it opens anyway is closed again at once. Returns open's result.
    int ProbeOpen(const std::string& id) const;
    // The vendor tag `section`.`name`, or 0.
    uint32_t FindVendorTag(const std::string& section, const std::string& name) const;
    int device_status_calls() const { return m_statusCalls.load(); }

    static ModuleConnector& Get();  // one module per process, as in the camera service

private:
    static void OnDeviceStatus(const camera_module_callbacks_t*, int, int);
    static void OnTorchStatus(const camera_module_callbacks_t*, const char*, int);

    const camera_module_t* m_module = nullptr;
    void* m_dso = nullptr;
    bool m_started = false;
    int m_cameras = 0;
    std::vector<std::string> m_warnings;
    vendor_tag_ops_t m_vendorOps{};
    camera_module_callbacks_t m_callbacks{OnDeviceStatus, OnTorchStatus};
    std::atomic<int> m_statusCalls{0};
    std::map<int, std::unique_ptr<void, void (*)(void*)>> m_static;  // per camera id
};

}  // namespace hal3_check

#endif  // HAL3_CHECK_MODULE_CONNECTOR_H

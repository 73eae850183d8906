#ifndef HAL3_CHECK_DEVICE_CONNECTOR_H
#define HAL3_CHECK_DEVICE_CONNECTOR_H
// One open camera device, driven through camera3_device_ops as the camera
// service drives it. Every call into the device is marked for the watchdog.
// Its callbacks copy into the attached ResultChecker and return; a callback
// while or after close() runs is a failure of its own, and never reaches the
// checker once close() has returned.

#include "ResultChecker.h"

#include <hardware/camera3.h>

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace hal3_check {

class ModuleConnector;

class DeviceConnector {
public:
    // Connectors outlive their device (a late callback must find one), so
    // they are made here and never freed.
    static DeviceConnector* Make();

    // Opens camera `id`. A device the camera service would refuse (a null
    // device or ops table, API below 3.2) is closed again with a finding,
    // and the call returns -EINVAL.
    int Open(const ModuleConnector& module, const std::string& id);
    int Open(const hw_module_t* module, const std::string& id);
    int Initialize();
    const camera_metadata_t* DefaultSettings(int templateType);
    int Configure(camera3_stream_configuration_t* config);
    int Submit(camera3_capture_request_t* request);
    int Flush();
    // Closes the device. Callbacks while it runs are tolerated with a
    // warning (in-flight work finishing); callbacks after it returned fail.
    int Close();
    void Attach(ResultChecker* checker) { m_checker.store(checker); }
    camera3_device_t* device() const { return m_device; }
    // The device API version the open device reports.
    uint32_t version() const;
    // Callbacks that came after close returned, watched for a while after
    // it (a late callback comes from a module thread that lags): the call
    // waits out the rest of that window.
    int lateCallbacks();
    // At the end of a scenario's process: late callbacks of any closed
    // device not yet counted by lateCallbacks(), after its window.
    static std::vector<Finding> UncountedLateCallbacks();

private:
    DeviceConnector();
    static DeviceConnector* Self(const camera3_callback_ops_t* ops);
    // Hands a callback to the checker unless the device is closed.
    void Deliver(bool result, const std::function<void(ResultChecker*)>& deliver);
    // The reason the camera service would refuse this device, if any.
    std::optional<Finding> Refusal(const std::string& id) const;
    // Keeps the checker's table for a report should the next call not return.
    void SaveTable();
    void WaitOutLateWindow() const;

    struct Ops : camera3_callback_ops_t {
        DeviceConnector* self;
    } m_ops{};
    camera3_device_t* m_device = nullptr;
    std::atomic<ResultChecker*> m_checker{nullptr};
    std::atomic<bool> m_closing{false}, m_closed{false};
    std::atomic<int> m_active{0};  // callbacks inside the checker now
    std::atomic<int> m_duringClose{0}, m_late{0};
    int m_lateCounted = 0;
    std::atomic<int64_t> m_closedNs{0}, m_lastLateNs{0};
    int64_t m_frameIntervalNs = 33333333;  // of the latest settings, for process_capture_request's limit
};

}  // namespace hal3_check

#endif  // HAL3_CHECK_DEVICE_CONNECTOR_H

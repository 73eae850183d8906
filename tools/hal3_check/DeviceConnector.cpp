#include "DeviceConnector.h"

#include "Metadata.h"
#include "ModuleConnector.h"
#include "RecordingDevice.h"
#include "Watchdog.h"

#include <cerrno>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

namespace hal3_check {

namespace {

std::mutex g_allMutex;
std::deque<std::unique_ptr<DeviceConnector>>& All() {
    static std::deque<std::unique_ptr<DeviceConnector>> all;
    return all;
}

// How long after close a callback is still watched for: a lagging module
// thread is caught, a scenario is not held up for long.
constexpr int64_t kLateWindowMinNs = 300000000;
constexpr int kLateWindowFrames = 8;

}  // namespace

DeviceConnector* DeviceConnector::Make() {
    std::lock_guard<std::mutex> lock(g_allMutex);
    All().emplace_back(new DeviceConnector());
    All().back()->m_ops.self = All().back().get();
    return All().back().get();
}

DeviceConnector::DeviceConnector() {
    m_ops.process_capture_result = [](const camera3_callback_ops_t* ops, const camera3_capture_result_t* r) {
        Self(ops)->Deliver(true, [r](ResultChecker* c) { c->OnResult(r); });
    };
    m_ops.notify = [](const camera3_callback_ops_t* ops, const camera3_notify_msg_t* m) {
        Self(ops)->Deliver(false, [m](ResultChecker* c) { c->OnNotify(m); });
    };
    // Buffer management stays with this side: the device has no reason to call these.
    m_ops.request_stream_buffers = [](const camera3_callback_ops_t* ops, uint32_t, const camera3_buffer_request_t*,
                                      uint32_t* returned, camera3_stream_buffer_ret_t*) {
        Self(ops)->Deliver(false, [](ResultChecker* c) {
            c->Fail(
                {RuleId::kBufferManagement, kNoFrame, "request_stream_buffers called without HAL buffer management"});
        });
        if (returned) *returned = 0;
        return CAMERA3_BUF_REQ_FAILED_UNKNOWN;
    };
    m_ops.return_stream_buffers = [](const camera3_callback_ops_t* ops, uint32_t,
                                     const camera3_stream_buffer_t* const*) {
        Self(ops)->Deliver(false, [](ResultChecker* c) {
            c->Fail(
                {RuleId::kBufferManagement, kNoFrame, "return_stream_buffers called without HAL buffer management"});
        });
    };
}

DeviceConnector* DeviceConnector::Self(const camera3_callback_ops_t* ops) { return static_cast<const Ops*>(ops)->self; }

void DeviceConnector::Deliver(bool result, const std::function<void(ResultChecker*)>& deliver) {
    CallMark mark(result ? HalCall::kResultCallback : HalCall::kNotifyCallback);
    // active_ is raised before closed_ is read: Close() waits for it to fall
    // after setting closed_, so no callback holds the checker past Close().
    m_active++;
    if (m_closed.load()) {
        m_late++;
        m_lastLateNs.store(MonotonicNs());
    } else {
        if (m_closing.load()) m_duringClose++;
        if (ResultChecker* c = m_checker.load()) deliver(c);
    }
    m_active--;
}

std::optional<Finding> DeviceConnector::Refusal(const std::string& id) const {
    std::string camera = "camera " + id + ": ";
    if (m_device == nullptr) return Finding{RuleId::kOpen, kNoFrame, camera + "open returned 0 and no device"};
    if (m_device->common.version < CAMERA_DEVICE_API_VERSION_3_2) {
        char version[16];
        snprintf(version, sizeof version, "0x%x", m_device->common.version);
        return Finding{RuleId::kDeviceVersion, kNoFrame,
                       camera + "device API " + version + " is below 3.2, the oldest the camera service opens"};
    }
    const camera3_device_ops_t* o = m_device->ops;
    if (m_device->common.close == nullptr) return Finding{RuleId::kOpen, kNoFrame, camera + "the device has no close"};
    if (o == nullptr) return Finding{RuleId::kOpen, kNoFrame, camera + "the device has no camera3_device_ops"};
    const struct {
        bool present;
        const char* name;
    } required[] = {{o->initialize != nullptr, "initialize"},
                    {o->configure_streams != nullptr, "configure_streams"},
                    {o->construct_default_request_settings != nullptr, "construct_default_request_settings"},
                    {o->process_capture_request != nullptr, "process_capture_request"},
                    {o->flush != nullptr, "flush"}};
    for (const auto& r : required)
        if (!r.present) return Finding{RuleId::kOpen, kNoFrame, camera + "camera3_device_ops has no " + r.name};
    return std::nullopt;
}

int DeviceConnector::Open(const ModuleConnector& module, const std::string& id) {
    return Open(&module.module()->common, id);
}

int DeviceConnector::Open(const hw_module_t* m, const std::string& id) {
    hw_device_t* common = nullptr;
    int rc;
    std::optional<Finding> refusal;
    {
        CallMark mark(HalCall::kOpen);  // reading the record it returned belongs to open
        RecordingWriter* recording = LiveWriter();
        uint32_t session = recording ? RecordOpenCall(recording, id.c_str()) : 0;
        rc = m->methods->open(m, id.c_str(), &common);
        if (recording) common = RecordOpenReturn(recording, session, rc, common, m);
        if (rc != 0) return rc;
        m_device = reinterpret_cast<camera3_device_t*>(common);
        refusal = Refusal(id);
    }
    if (!refusal) return 0;
    hal3_check::Flag(std::move(*refusal));
    if (m_device != nullptr && m_device->common.close != nullptr) {
        CallMark mark(HalCall::kClose);
        m_device->common.close(&m_device->common);
    }
    m_device = nullptr;
    return -EINVAL;
}

uint32_t DeviceConnector::version() const {
    CallMark mark(HalCall::kOpen);  // the record open returned: a bad pointer is open's fault
    return m_device->common.version;
}

int DeviceConnector::Initialize() {
    // The buffer-management callbacks came with device API 3.6: older devices get them NULL.
    if (m_device->common.version < CAMERA_DEVICE_API_VERSION_3_6) {
        m_ops.request_stream_buffers = nullptr;
        m_ops.return_stream_buffers = nullptr;
    }
    CallMark mark(HalCall::kInitialize);
    return m_device->ops->initialize(m_device, &m_ops);
}

const camera_metadata_t* DeviceConnector::DefaultSettings(int templateType) {
    CallMark mark(HalCall::kDefaultSettings);
    return m_device->ops->construct_default_request_settings(m_device, templateType);
}

int DeviceConnector::Configure(camera3_stream_configuration_t* config) {
    SaveTable();
    CallMark mark(HalCall::kConfigure);
    return m_device->ops->configure_streams(m_device, config);
}

int DeviceConnector::Submit(camera3_capture_request_t* request) {
    SaveTable();
    // Settings carry over from request to request: so does the interval.
    if (request != nullptr && request->settings != nullptr) {
        int64_t duration = GetI64(request->settings, ANDROID_SENSOR_FRAME_DURATION, 0);
        auto fps = Find(request->settings, ANDROID_CONTROL_AE_TARGET_FPS_RANGE);
        if (fps.count == 2 && fps.data.i32[0] > 0)
            duration = std::max<int64_t>(duration, 1000000000LL / fps.data.i32[0]);
        if (duration > 0) m_frameIntervalNs = duration;
    }
    CallMark mark(HalCall::kRequest, 4 * m_frameIntervalNs);
    return m_device->ops->process_capture_request(m_device, request);
}

int DeviceConnector::Flush() {
    SaveTable();
    CallMark mark(HalCall::kFlush);
    return m_device->ops->flush(m_device);
}

int DeviceConnector::Close() {
    if (m_device == nullptr) return -ENODEV;
    SaveTable();
    int rc;
    {
        CallMark mark(HalCall::kClose);
        m_closing.store(true);
        rc = m_device->common.close(&m_device->common);
        m_closedNs.store(MonotonicNs());
        m_closed.store(true);
        while (m_active.load() != 0) std::this_thread::yield();
    }
    m_device = nullptr;
    if (int n = m_duringClose.load())
        hal3_check::Flag(
            {RuleId::kCallbackDuringClose, kNoFrame, std::to_string(n) + " callback(s) while close was running"});
    return rc;
}

void DeviceConnector::WaitOutLateWindow() const {
    int64_t closed = m_closedNs.load();
    if (closed == 0) return;
    int64_t until = closed + std::max(kLateWindowMinNs, kLateWindowFrames * m_frameIntervalNs);
    for (int64_t now = MonotonicNs(); now < until; now = MonotonicNs())
        std::this_thread::sleep_for(std::chrono::nanoseconds(until - now));
}

int DeviceConnector::lateCallbacks() {
    WaitOutLateWindow();
    m_lateCounted = m_late.load();
    return m_lateCounted;
}

std::vector<Finding> DeviceConnector::UncountedLateCallbacks() {
    std::lock_guard<std::mutex> lock(g_allMutex);
    std::vector<Finding> out;
    for (const auto& d : All()) {
        d->WaitOutLateWindow();
        int late = d->m_late.load();
        if (late <= d->m_lateCounted) continue;
        int64_t after = (d->m_lastLateNs.load() - d->m_closedNs.load()) / 1000000;
        out.push_back({RuleId::kNoCallbackAfterClose, kNoFrame,
                       std::to_string(late - d->m_lateCounted) + " callback(s) after close returned, the last " +
                           std::to_string(after) + " ms after it"});
        d->m_lateCounted = late;
    }
    return out;
}

void DeviceConnector::SaveTable() {
    if (watchPage() == nullptr) return;
    if (ResultChecker* c = m_checker.load()) SaveInFlightTable(c->InFlightTable());
}

}  // namespace hal3_check

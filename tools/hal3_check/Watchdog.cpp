#include "Watchdog.h"

#include <algorithm>
#include <cstring>
#include <ctime>

namespace hal3_check {

namespace {
std::atomic<WatchPage*> g_page{nullptr};
}

const char* HalCallName(HalCall call) {
    switch (call) {
        case HalCall::kNone: return "no HAL call";
        case HalCall::kModuleLoad: return "loading the module";
        case HalCall::kModuleInit: return "camera_module_t::init";
        case HalCall::kVendorTagOps: return "get_vendor_tag_ops";
        case HalCall::kSetCallbacks: return "set_callbacks";
        case HalCall::kNumberOfCameras: return "get_number_of_cameras";
        case HalCall::kCameraInfo: return "get_camera_info";
        case HalCall::kOpen: return "open";
        case HalCall::kInitialize: return "initialize";
        case HalCall::kDefaultSettings: return "construct_default_request_settings";
        case HalCall::kConfigure: return "configure_streams";
        case HalCall::kRequest: return "process_capture_request";
        case HalCall::kFlush: return "flush";
        case HalCall::kClose: return "close";
        case HalCall::kResultCallback: return "the process_capture_result callback";
        case HalCall::kNotifyCallback: return "the notify callback";
    }
    return "an unknown call";
}

WatchPage* watchPage() { return g_page.load(); }
void SetWatchPage(WatchPage* page) { g_page.store(page); }

int64_t MonotonicNs() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);  // one clock for the watched and the watcher
    return int64_t(t.tv_sec) * 1000000000 + t.tv_nsec;
}

CallMark::CallMark(HalCall call) : m_call(call) {
    WatchPage* page = watchPage();
    if (page == nullptr) return;
    bool callback = call == HalCall::kResultCallback || call == HalCall::kNotifyCallback;
    if (callback) {
        page->callback.store(int32_t(call));
    } else {
        page->sinceNs.store(MonotonicNs());
        page->call.store(int32_t(call));
    }
}

CallMark::~CallMark() {
    WatchPage* page = watchPage();
    if (page == nullptr) return;
    if (m_call == HalCall::kResultCallback || m_call == HalCall::kNotifyCallback)
        page->callback.store(0);
    else
        page->call.store(int32_t(HalCall::kNone));
}

void SaveInFlightTable(const std::string& table) {
    WatchPage* page = watchPage();
    if (page == nullptr) return;
    size_t n = std::min(table.size(), sizeof page->table);
    page->tableBytes.store(0);  // a reader after a crash sees an old table or none, never a torn one
    memcpy(page->table, table.data(), n);
    page->tableBytes.store(uint32_t(n));
}

}  // namespace hal3_check

#include "Watchdog.h"

#include "FindingSink.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>

namespace hal3_check {

namespace {

std::atomic<WatchPage*> g_page{nullptr};

struct Watched {
    int fd;
    dev_t dev;
    ino_t ino;
    bool reported;
};
std::mutex g_mutex;  // guards the two below
std::vector<Watched> g_watched;
std::vector<Finding> g_unsunk;

// Reports each watched descriptor closed or replaced since it was watched,
// once; `when` says in which call or between which.
void CheckDescriptors(const std::string& when) {
    std::vector<Finding> broken;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        for (Watched& w : g_watched) {
            // Once reported, the number may belong to a descriptor of another
            // thread (a fence being closed): it is looked at no more.
            if (w.reported) continue;
            struct stat st {};
            bool open = fstat(w.fd, &st) == 0;
            if (open && st.st_dev == w.dev && st.st_ino == w.ino) continue;
            w.reported = true;
            broken.push_back({RuleId::kProcessFds, kNoFrame,
                              when + (open ? " replaced" : " closed") + " descriptor " + std::to_string(w.fd) +
                                  ", which the process held before the module was loaded"});
        }
    }
    for (auto& f : broken) Flag(std::move(f));
}

bool IsCallback(HalCall call) { return call == HalCall::kResultCallback || call == HalCall::kNotifyCallback; }

}  // namespace

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

int64_t CallLimitNs(HalCall call) {
    constexpr int64_t kMs = 1000000;
    switch (call) {
        case HalCall::kOpen:
        case HalCall::kClose: return 500 * kMs;
        case HalCall::kInitialize: return 10 * kMs;
        case HalCall::kDefaultSettings: return 5 * kMs;
        case HalCall::kConfigure: return 1000 * kMs;
        default: return 0;
    }
}

double TimeScale() {
    static const double scale = [] {
        const char* text = getenv("HAL3_CHECK_TIME_SCALE");
        double v = text ? atof(text) : 1.0;
        return v > 0 ? v : 1.0;
    }();
    return scale;
}

CallMark::CallMark(HalCall call, int64_t limitNs) : m_call(call), m_limitNs(limitNs), m_startNs(MonotonicNs()) {
    WatchPage* page = watchPage();
    if (page == nullptr) return;
    if (IsCallback(call)) {
        page->callback.store(int32_t(call));
        return;
    }
    CheckDescriptors("between HAL calls, a thread of the module");
    page->sinceNs.store(m_startNs);
    page->call.store(int32_t(call));
}

CallMark::~CallMark() {
    WatchPage* page = watchPage();
    if (page == nullptr) return;
    if (IsCallback(m_call)) {
        page->callback.store(0);
        return;
    }
    page->call.store(int32_t(HalCall::kNone));
    const char* name = HalCallName(m_call);
    CheckDescriptors(name);
    int64_t tookNs = MonotonicNs() - m_startNs, limitNs = int64_t(double(m_limitNs) * TimeScale());
    if (m_limitNs > 0 && tookNs > limitNs)
        Flag({RuleId::kCallTime, kNoFrame,
              std::string(name) + " took " + std::to_string(tookNs / 1000000) + " ms, over its limit of " +
                  std::to_string(m_limitNs / 1000000) + " ms" +
                  (TimeScale() != 1.0 ? " (" + std::to_string(limitNs / 1000000) + " ms with HAL3_CHECK_TIME_SCALE)"
                                      : "")});
}

void Flag(Finding f) {
    if (FindingSink* sink = FindingSink::Current()) return sink->Add(std::move(f));
    std::lock_guard<std::mutex> lock(g_mutex);
    g_unsunk.push_back(std::move(f));
}

void WatchDescriptors(const std::vector<int>& fds) {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_watched.clear();
    for (int fd : fds) {
        struct stat st {};
        if (fstat(fd, &st) == 0) g_watched.push_back({fd, st.st_dev, st.st_ino, false});
    }
}

std::vector<Finding> TakeUnsunkFindings() {
    std::lock_guard<std::mutex> lock(g_mutex);
    std::vector<Finding> out;
    out.swap(g_unsunk);
    return out;
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

#include "FindingSink.h"

#include <atomic>

namespace hal3_check {

namespace {

std::atomic<FindingSink*> g_current{nullptr};
std::function<void(const std::string&)> g_parentChannel;
thread_local bool g_reporting = false;

}  // namespace

FindingSink::FindingSink(Hooks hooks) : m_hooks(std::move(hooks)) {}

void FindingSink::Add(Finding f, bool ends) {
    bool must = LevelOf(f) == Level::kMust, shown;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        shown = must && m_failures < kShownFailures;
        (must ? m_failures : m_warnings)++;
        m_findings.push_back(f);
    }
    if (m_hooks.trace) m_hooks.trace((must ? "FAIL " : "WARN ") + Text(f));
    if (g_parentChannel) g_parentChannel(Encode(f));
    if ((shown || (must && ends)) && m_hooks.fail) {
        g_reporting = true;
        m_hooks.fail(f, ends);
        g_reporting = false;
    }
}

std::vector<Finding> FindingSink::findings() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_findings;
}

size_t FindingSink::failures() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_failures;
}

size_t FindingSink::warnings() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_warnings;
}

FindingSink* FindingSink::Current() { return g_current.load(); }

void FindingSink::SetCurrent(FindingSink* sink) { g_current.store(sink); }

void FindingSink::SetParentChannel(std::function<void(const std::string&)> channel) {
    g_parentChannel = std::move(channel);
}

bool FindingSink::Reporting() { return g_reporting; }

}  // namespace hal3_check

// The one path into the module: no source but the connectors calls the
// module's entry points, and what the path watches (callbacks around close,
// camera3.h's time limits, the process's descriptors) is flagged when broken
// and passes when legal. The devices here are fakes in this file.

#include "DeviceConnector.h"
#include "FindingSink.h"
#include "Watchdog.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <regex>
#include <sstream>
#include <thread>

namespace hal3_check {
namespace {

TEST(CallPath, OnlyTheConnectorsCallIntoTheModule) {
    static const std::regex call(R"((ops|methods)\s*->\s*[a-z_]+\s*\()");
    size_t connectorCalls = 0;
    for (const auto& entry : std::filesystem::directory_iterator(HAL3_CHECK_SOURCE_DIR)) {
        std::string ext = entry.path().extension().string(), name = entry.path().filename().string();
        if (ext != ".cpp" && ext != ".h") continue;
        std::ifstream in(entry.path());
        std::stringstream text;
        text << in.rdbuf();
        std::string s = text.str();
        auto calls = size_t(std::distance(std::sregex_iterator(s.begin(), s.end(), call), std::sregex_iterator()));
        if (name.rfind("ModuleConnector.", 0) == 0 || name.rfind("DeviceConnector.", 0) == 0)
            connectorCalls += calls;
        else
            EXPECT_EQ(calls, 0u) << name << " calls into the module past the connectors";
    }
    EXPECT_GE(connectorCalls, 6u);  // the scan sees the connectors' own calls
}

// A camera whose close() calls back as the test asks.
enum class AtClose { kNothing, kCallbackWhileClosing, kCallbackFromThreadAfter };
AtClose g_atClose = AtClose::kNothing;
const camera3_callback_ops_t* g_callbacks = nullptr;

void Shutter() {
    camera3_notify_msg_t m{};
    m.type = CAMERA3_MSG_SHUTTER;
    g_callbacks->notify(g_callbacks, &m);
}

camera3_device_ops_t g_ops = {
    [](const camera3_device*, const camera3_callback_ops_t* c) {
        g_callbacks = c;
        return 0;
    },
    [](const camera3_device*, camera3_stream_configuration_t*) { return 0; },
    nullptr,
    [](const camera3_device*, int) -> const camera_metadata_t* { return nullptr; },
    [](const camera3_device*, camera3_capture_request_t*) { return 0; },
    nullptr,
    [](const camera3_device*, int) {},
    [](const camera3_device*) { return 0; },
    nullptr,
    nullptr,
    nullptr,
    {},
};

camera3_device_t g_device{};

int CloseDevice(hw_device_t*) {
    if (g_atClose == AtClose::kCallbackWhileClosing) Shutter();
    if (g_atClose == AtClose::kCallbackFromThreadAfter)
        std::thread([] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            Shutter();
        }).detach();
    return 0;
}

int OpenDevice(const hw_module_t* module, const char*, hw_device_t** device) {
    g_device.common.tag = HARDWARE_DEVICE_TAG;
    g_device.common.version = CAMERA_DEVICE_API_VERSION_3_5;
    g_device.common.module = const_cast<hw_module_t*>(module);
    g_device.common.close = CloseDevice;
    g_device.ops = &g_ops;
    *device = &g_device.common;
    return 0;
}

hw_module_methods_t g_methods = {OpenDevice};
hw_module_t g_module = {HARDWARE_MODULE_TAG, 0, 0, CAMERA_HARDWARE_MODULE_ID, "fake", "test", &g_methods, nullptr, {}};

// The rules flagged while `run` runs, with a scenario's sink and a watch page.
std::vector<Finding> Flagged(const std::function<void()>& run) {
    FindingSink sink;
    auto page = std::make_unique<WatchPage>();
    FindingSink::SetCurrent(&sink);
    SetWatchPage(page.get());
    run();
    SetWatchPage(nullptr);
    FindingSink::SetCurrent(nullptr);
    return sink.findings();
}

std::vector<RuleId> RulesOf(const std::vector<Finding>& findings) {
    std::vector<RuleId> rules;
    for (const auto& f : findings) rules.push_back(f.rule);
    return rules;
}

TEST(CallPath, CallbacksAroundCloseAreJudgedByWhenTheyCome) {
    const struct {
        const char* what;
        AtClose atClose;
        std::vector<RuleId> flagged;
    } rows[] = {
        {"nothing after the last frame", AtClose::kNothing, {}},
        // Legal: in-flight work finishing with its callbacks while close runs.
        {"a callback while close runs", AtClose::kCallbackWhileClosing, {RuleId::kCallbackDuringClose}},
        {"a module thread calling back after close returned",
         AtClose::kCallbackFromThreadAfter,
         {RuleId::kNoCallbackAfterClose}},
    };
    for (const auto& row : rows) {
        g_atClose = row.atClose;
        std::vector<Finding> findings = Flagged([] {
            DeviceConnector* device = DeviceConnector::Make();
            ASSERT_EQ(device->Open(&g_module, "0"), 0);
            ASSERT_EQ(device->Initialize(), 0);
            EXPECT_EQ(device->Close(), 0);
        });
        // Only the end of the scenario's process counts what came after close.
        for (auto& f : DeviceConnector::UncountedLateCallbacks()) findings.push_back(f);
        EXPECT_EQ(RulesOf(findings), row.flagged) << row.what;
    }
    EXPECT_EQ(RuleOf(RuleId::kCallbackDuringClose).level, Level::kShould) << "the legal case must pass";
}

TEST(CallPath, CallsAreHeldToTheirTimeAndLeaveTheProcessDescriptorsAlone) {
    int mine[2], spare[2];
    ASSERT_EQ(pipe(mine), 0);
    ASSERT_EQ(pipe(spare), 0);
    const int64_t kMs = 1000000;
    const struct {
        const char* what;
        int64_t limitNs;
        std::function<void()> call;
        std::vector<RuleId> flagged;
    } rows[] = {
        {"a quick call", 1000 * kMs, [] {}, {}},
        {"a call over its limit",
         kMs,
         [] { std::this_thread::sleep_for(std::chrono::milliseconds(20)); },
         {RuleId::kCallTime}},
        // Legal: the module's own descriptors come and go.
        {"a call that opens and closes its own descriptor",
         1000 * kMs,
         [] {
             int own[2];
             if (pipe(own) == 0) close(own[0]), close(own[1]);
         },
         {}},
        {"a call that replaces a descriptor of the process",
         1000 * kMs,
         [&] { dup2(spare[0], mine[0]); },
         {RuleId::kProcessFds}},
        {"a call that closes a descriptor of the process", 1000 * kMs, [&] { close(mine[1]); }, {RuleId::kProcessFds}},
    };
    for (const auto& row : rows) {
        WatchDescriptors({mine[0], mine[1]});
        std::vector<Finding> findings = Flagged([&] {
            CallMark mark(HalCall::kRequest, row.limitNs);
            row.call();
        });
        EXPECT_EQ(RulesOf(findings), row.flagged) << row.what;
        for (const auto& f : findings) EXPECT_NE(f.detail.find("process_capture_request"), std::string::npos);
    }
    WatchDescriptors({});
    for (int fd : {mine[0], spare[0], spare[1]}) close(fd);
}

}  // namespace
}  // namespace hal3_check

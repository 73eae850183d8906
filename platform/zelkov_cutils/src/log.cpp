#include <zelkov_cutils/log.h>
#include <zelkov_platform/log_control.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace {

constexpr int kDefaultMask = ZEL_DEBUG_LEVEL_ERROR;

// An integer as C reads one with base 0 (decimal, 0x hex, leading-0 octal,
// a sign; -1 enables every level). Text after the number, or a value outside
// int, is unreadable: long is 32 bits on the device and 64 on the host, so a
// wider value would mean different masks on each.
int MaskFromEnvironment() {
    const char* text = std::getenv("ZELKOV_LOG_MASK");
    if (text == nullptr || *text == '\0') return kDefaultMask;
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text, &end, 0);
    if (*end != '\0' || errno == ERANGE || value < INT_MIN || value > INT_MAX) return kDefaultMask;
    return static_cast<int>(value);
}

std::atomic<int> g_maskOverride{-1};
std::mutex g_sinkLock;
zelkov_platform::LogSink g_sink = nullptr;
void* g_sinkContext = nullptr;

const char* LevelName(int level) {
    switch (level) {
        case ZEL_DEBUG_LEVEL_ERROR: return "E";
        case ZEL_DEBUG_LEVEL_WARN: return "W";
        case ZEL_DEBUG_LEVEL_INFO: return "I";
        case ZEL_DEBUG_LEVEL_DEBUG: return "D";
        case ZEL_DEBUG_LEVEL_TRACE: return "T";
        case ZEL_DEBUG_LEVEL_VERBOSE: return "V";
        case ZEL_DEBUG_LEVEL_FATAL: return "F";
        default: return "?";
    }
}

}  // namespace

extern "C" int __zelkov_log_status(void) {
    static const int environmentMask = MaskFromEnvironment();
    int mask = g_maskOverride.load(std::memory_order_relaxed);
    return mask >= 0 ? mask : environmentMask;
}

extern "C" int __zelkov_log_print(_zel_debug_level level, const char* tag, const char* format, ...) {
    // glibc formats a null format as an error; the device's C library reads it.
    if (format == nullptr) {
        std::fputs("zelkov_cutils: __zelkov_log_print: null format (the device's vsnprintf dereferences it)\n", stderr);
        std::abort();
    }
    char message[1024];
    va_list args;
    va_start(args, format);
    int length = std::vsnprintf(message, sizeof(message), format, args);
    va_end(args);

    std::lock_guard<std::mutex> guard(g_sinkLock);
    if (g_sink != nullptr) {
        g_sink(level, tag, message, g_sinkContext);
    } else {
        std::fprintf(stderr, "%s/%s: %s\n", LevelName(level), tag != nullptr ? tag : "", message);
    }
    return length;
}

namespace zelkov_platform {

void SetLogSink(LogSink sink, void* context) {
    std::lock_guard<std::mutex> guard(g_sinkLock);
    g_sink = sink;
    g_sinkContext = context;
}

void SetLogMask(int mask) { g_maskOverride.store(mask, std::memory_order_relaxed); }

}  // namespace zelkov_platform

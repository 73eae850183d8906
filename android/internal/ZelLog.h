#ifndef ZELKOV_ANDROID_INTERNAL_ZEL_LOG_H
#define ZELKOV_ANDROID_INTERNAL_ZEL_LOG_H

#include <string.h>

#include <zelkov_cutils/log.h>

// Every diagnostic of the library: the enabled mask is asked first and the
// message is formatted only when `bit` is set in it. Each format starts with
// "%s: %s: %d: " for the source file's base name, the function and the line.

#if defined(__BIONIC__)
#define ZEL_LOG_BASENAME(path) __gnu_basename(path)
#else
// glibc's <string.h> basename is the GNU one: it never modifies its argument.
#define ZEL_LOG_BASENAME(path) basename(path)
#endif

#define ZEL_LOG_IF(bit, level, format, ...)                                                                    \
    do {                                                                                                       \
        if (__zelkov_log_status() & (bit)) {                                                                   \
            __zelkov_log_print((level), "Zelkov", "%s: %s: %d: " format, ZEL_LOG_BASENAME(__FILE__), __func__, \
                               __LINE__, ##__VA_ARGS__);                                                       \
        }                                                                                                      \
    } while (0)

#define ZEL_LOGE(format, ...) ZEL_LOG_IF(1, ZEL_DEBUG_LEVEL_ERROR, format, ##__VA_ARGS__)
#define ZEL_LOGD(format, ...) ZEL_LOG_IF(8, ZEL_DEBUG_LEVEL_DEBUG, format, ##__VA_ARGS__)
#define ZEL_LOGT(format, ...) ZEL_LOG_IF(16, ZEL_DEBUG_LEVEL_TRACE, format, ##__VA_ARGS__)
// The fatal message is printed when errors are enabled.
#define ZEL_LOGF(format, ...) ZEL_LOG_IF(1, ZEL_DEBUG_LEVEL_FATAL, format, ##__VA_ARGS__)

#endif

#ifndef ZELKOV_CUTILS_LOG_H
#define ZELKOV_CUTILS_LOG_H

/* The companion logging library of the camera stack. A caller asks
 * __zelkov_log_status() for the mask of enabled levels, tests one bit and
 * only then formats a message with __zelkov_log_print(). */

#ifdef __cplusplus
extern "C" {
#endif

typedef enum _zel_debug_level {
    ZEL_DEBUG_LEVEL_ERROR = 1,
    ZEL_DEBUG_LEVEL_WARN = 2,
    ZEL_DEBUG_LEVEL_INFO = 4,
    ZEL_DEBUG_LEVEL_DEBUG = 8,
    ZEL_DEBUG_LEVEL_TRACE = 16,
    ZEL_DEBUG_LEVEL_VERBOSE = 32,
    ZEL_DEBUG_LEVEL_FATAL = 64,
} _zel_debug_level;

int __zelkov_log_status(void);
int __zelkov_log_print(_zel_debug_level level, const char* tag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

#ifdef __cplusplus
}
#endif

#endif

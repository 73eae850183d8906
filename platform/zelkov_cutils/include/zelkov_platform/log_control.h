#ifndef ZELKOV_PLATFORM_LOG_CONTROL_H
#define ZELKOV_PLATFORM_LOG_CONTROL_H

// Test control of the host logging stand-in. Without a mask override the
// enabled mask comes from ZELKOV_LOG_MASK (an integer read with base 0: decimal,
// 0x hex or leading-0 octal, optionally signed), errors only when unset or
// unreadable; without a sink, messages go to stderr, one line each.

namespace zelkov_platform {

using LogSink = void (*)(int level, const char* tag, const char* message, void* context);

// Routes every printed message to `sink` (null restores stderr).
void SetLogSink(LogSink sink, void* context);
// Overrides the enabled mask; a negative value returns to the environment's.
void SetLogMask(int mask);

}  // namespace zelkov_platform

#endif

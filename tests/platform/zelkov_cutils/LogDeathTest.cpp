// The logging stand-in stops where the device's C library would crash.
#include <gtest/gtest.h>

#include <zelkov_cutils/log.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

TEST(LogDeathTest, MisuseTheDeviceCrashesOnAborts) {
    const char* format = nullptr;
    EXPECT_DEATH(__zelkov_log_print(ZEL_DEBUG_LEVEL_ERROR, "Zelkov", format),
                 "^zelkov_cutils: __zelkov_log_print: null format");
}

// The mask is read once per process, at its first use: each value is read in
// a child forked by a death test from this process, which never reads it.
TEST(LogDeathTest, MaskFromTheEnvironmentIsAnIntegerReadWithBaseZero) {
    const struct {
        const char* text;
        int mask;
    } cases[] = {
        {"25", 25}, {"0x19", 25}, {"031", 25},                                     // octal: C's reading of a leading 0
        {"-1", -1}, {"", 1},      {"0x19 ", 1}, {"twelve", 1}, {"4294967298", 1},  // past int: unreadable on every ABI
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EXIT(
            {
                setenv("ZELKOV_LOG_MASK", c.text, 1);
                std::fprintf(stderr, "mask=%d;\n", __zelkov_log_status());
                std::exit(0);
            },
            testing::ExitedWithCode(0), "mask=" + std::to_string(c.mask) + ";");
    }
}

}  // namespace

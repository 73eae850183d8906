// The logging stand-in stops where the device's C library would crash.
#include <gtest/gtest.h>

#include <zelkov_cutils/log.h>

namespace {

TEST(LogDeathTest, MisuseTheDeviceCrashesOnAborts) {
    const char* format = nullptr;
    EXPECT_DEATH(__zelkov_log_print(ZEL_DEBUG_LEVEL_ERROR, "Zelkov", format),
                 "^zelkov_cutils: __zelkov_log_print: null format");
}

}  // namespace

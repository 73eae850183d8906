#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

#include <android/misc/IZelCameraMetadataHandler.h>
#include <zelkov_platform/log_control.h>

// Stands in for the library's internal accessor: no handler.
extern "C" zelkov::IZelCameraMetadataHandler* _GetCameraMetadataHandler() { return nullptr; }

namespace {

// Printed at the fatal level (F) under the library's tag.
TEST(MetadataHandlerFatalTest, AMissingHandlerIsLoggedThenAborts) {
    zelkov_platform::SetLogMask(1);  // errors: the bit the fatal message tests
    EXPECT_EXIT(zelkov::GetCameraMetadataHandler(), testing::KilledBySignal(SIGABRT),
                "F/Zelkov: IZelCameraMetadataHandler\\.cpp: GetCameraMetadataHandler: [0-9]+: "
                "CameraMetadataHandler can not be NULL\\.");
}

// Any message ends the child with 1, the abort with 0.
TEST(MetadataHandlerFatalTest, AbortsSilentlyWithErrorsOff) {
    EXPECT_EXIT(
        {
            zelkov_platform::SetLogMask(0x40);  // the fatal level's own bit does not enable it
            zelkov_platform::SetLogSink([](int, const char*, const char*, void*) { std::_Exit(1); }, nullptr);
            std::signal(SIGABRT, [](int) { std::_Exit(0); });
            zelkov::GetCameraMetadataHandler();
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace

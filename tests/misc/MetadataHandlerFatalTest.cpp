#include <gtest/gtest.h>

#include <csignal>

#include <android/misc/IZelCameraMetadataHandler.h>
#include <zelkov_platform/log_control.h>

// Stands in for the library's internal accessor: no handler.
extern "C" zelkov::IZelCameraMetadataHandler* _GetCameraMetadataHandler() {
    return nullptr;
}

namespace {

// Printed at the fatal level (F) under the library's tag.
TEST(MetadataHandlerFatalTest, AMissingHandlerIsLoggedThenAborts) {
    zelkov_platform::SetLogMask(1);  // errors: the bit the fatal message tests
    EXPECT_EXIT(zelkov::GetCameraMetadataHandler(), testing::KilledBySignal(SIGABRT),
                "F/Zelkov: IZelCameraMetadataHandler\\.cpp: GetCameraMetadataHandler: [0-9]+: "
                "CameraMetadataHandler can not be NULL\\.");
}

TEST(MetadataHandlerFatalTest, AbortsSilentlyWithErrorsOff) {
    zelkov_platform::SetLogMask(0x40);  // the fatal level's own bit does not enable it
    EXPECT_EXIT(zelkov::GetCameraMetadataHandler(), testing::KilledBySignal(SIGABRT), "^$");
    zelkov_platform::SetLogMask(-1);
}

}  // namespace

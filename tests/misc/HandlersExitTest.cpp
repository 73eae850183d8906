// Alone in its program: the handlers are first made in the death test's
// child, after the exit handler below is registered, so a handler that the
// exit destroyed would be destroyed before that handler runs.
#include <cstdlib>

#include <gtest/gtest.h>

#include <android/misc/IZelCameraMetadataHandler.h>
#include <android/misc/IZelHardwareHandler.h>
#include <hardware/hardware.h>
#include <system/camera_metadata.h>

using namespace zelkov;

namespace {

void UseHandlersAtExit() {
    const hw_module_t* module = nullptr;
    const bool ok = GetCameraMetadataHandler()->GetTagType(ANDROID_CONTROL_AE_MODE) == TYPE_BYTE &&
                    IZelHardwareHandler::GetInstance()->GetModule("zelkov_unknown", &module) != 0;
    std::_Exit(ok ? 0 : 1);
}

TEST(HandlersAtExit, StillServeWhileTheProcessExits) {
    EXPECT_EXIT(
        {
            std::atexit(UseHandlersAtExit);
            GetCameraMetadataHandler();
            IZelHardwareHandler::GetInstance();
            std::exit(3);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace

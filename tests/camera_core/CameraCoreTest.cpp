// Built as a camera core is, against the public headers alone: one use of
// each header proves it compiles without any platform header and links
// against the library's exported symbols.
#include <memory>

#include <gtest/gtest.h>

#include <android/buffer/IZelBufferHandler.h>
#include <android/buffer/ZelNativeHandleRo.h>
#include <android/constants/CameraConstants.h>
#include <android/constants/DataspaceConstants.h>
#include <android/constants/DisplayConstants.h>
#include <android/constants/GrallocUsageConstants.h>
#include <android/constants/PixelFormatConstants.h>
#include <android/misc/IZelCameraMetadataHandler.h>
#include <android/misc/IZelHardwareHandler.h>
#include <android/sensor_manager/ISensorListener.h>
#include <android/wrappers/ZelCamera3Device.h>
#include <android/wrappers/ZelCamera3Notify.h>
#include <android/wrappers/ZelCamera3Request.h>
#include <android/wrappers/ZelCamera3Stream.h>
#include <android/wrappers/ZelCameraModule.h>
#include <android/wrappers/ZelCameraStreamCombination.h>
#include <android/wrappers/ZelHwModule.h>

using namespace zelkov;

namespace {

TEST(CameraCore, EveryPublicHeaderCompilesAndLinksAlone) {
    EXPECT_EQ(IZelBufferHandler::FindYuvFormat(nullptr, nullptr, 1), 3);
    EXPECT_EQ(ZelNativeHandleRo(nullptr).GetNumFds(), 0);
    EXPECT_EQ(GET_CAMERA3_TEMPLATE_PREVIEW(), 1);
    EXPECT_EQ(GET_HAL_DATASPACE_STANDARD_SHIFT(), 16);
    EXPECT_EQ(GET_HAL_TRANSFORM_FLIP_H(), 1);
    EXPECT_EQ(GET_GRALLOC_USAGE_SW_READ_OFTEN(), 3);
    EXPECT_EQ(GET_HAL_PIXEL_FORMAT_BLOB(), 33);
    EXPECT_NE(GetCameraMetadataHandler(), nullptr);
    EXPECT_NE(IZelHardwareHandler::GetInstance(), nullptr);
    ISensorListener* listener = LoadSensorListener();
    ASSERT_NE(listener, nullptr);
    EXPECT_EQ(UnloadSensorListener(&listener), 0);
    EXPECT_EQ(ZelCamera3Device().GetPriv(), nullptr);
    EXPECT_EQ(ZelCamera3NotifyMsg().GetType(), 0);
    EXPECT_EQ(ZelCamera3CaptureRequest().GetFrameNumber(), 0u);
    EXPECT_EQ(ZelCamera3Stream().GetStreamId(), 0);
    EXPECT_EQ(ZelCameraInfo().GetFacing(), 0);
    EXPECT_EQ(ZelCameraStream().GetWidth(), 0u);
    EXPECT_EQ(ZelHwModule().GetName(), nullptr);
}

}  // namespace

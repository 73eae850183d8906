// The metadata and hardware handlers as a camera core sees them: public
// headers only, so tags are plain numbers and buffers are opaque.
#include <cerrno>
#include <cstdint>

#include <gtest/gtest.h>

#include <android/misc/IZelCameraMetadataHandler.h>
#include <android/misc/IZelHardwareHandler.h>

using namespace zelkov;

namespace {

constexpr unsigned int kControlAeMode = 0x10003;       // byte
constexpr unsigned int kSensorExposureTime = 0xE0000;  // int64

TEST(CameraCore, MetadataThroughTheHandler) {
    IZelCameraMetadataHandler* handler = GetCameraMetadataHandler();
    ASSERT_NE(handler, nullptr);
    camera_metadata* metadata = handler->Allocate(4, 32);
    ASSERT_NE(metadata, nullptr);

    const uint8_t ae_mode = 1;
    const int64_t exposure = 20000000;
    ASSERT_EQ(handler->AddEntry(metadata, kSensorExposureTime, &exposure, 1), 0);
    ASSERT_EQ(handler->AddEntry(metadata, kControlAeMode, &ae_mode, 1), 0);
    EXPECT_EQ(handler->AddEntry(metadata, 0x7fff0000, &ae_mode, 1), 1);  // no such section
    ASSERT_EQ(handler->Sort(metadata), 0);

    zel_camera_metadata_ro_entry entry;
    ASSERT_EQ(handler->GetRoEntry(metadata, 0, &entry), 0);
    EXPECT_EQ(entry.tag, kControlAeMode);
    ASSERT_EQ(handler->FindRoEntry(metadata, kSensorExposureTime, &entry), 0);
    EXPECT_EQ(entry.count, 1u);
    EXPECT_EQ(entry.data.i64[0], exposure);
    EXPECT_STREQ(handler->GetTagName(kSensorExposureTime), "exposureTime");
    EXPECT_STREQ(handler->GetSectionName(kControlAeMode), "android.control");
    EXPECT_EQ(handler->GetSectionBounds(1, 0), 0x10000);
    EXPECT_EQ(handler->ValidateStructure(metadata, nullptr), 0);
    handler->Free(metadata);
}

TEST(CameraCore, HardwareModuleThroughTheHandler) {
    IZelHardwareHandler* handler = IZelHardwareHandler::GetInstance();
    ASSERT_EQ(handler, IZelHardwareHandler::GetInstance());
    const hw_module_t* module = nullptr;
    EXPECT_EQ(handler->GetModule("camera", &module), 0);
    EXPECT_NE(module, nullptr);
    EXPECT_EQ(handler->GetModule("no_such_module", &module), -ENOENT);
}

}  // namespace

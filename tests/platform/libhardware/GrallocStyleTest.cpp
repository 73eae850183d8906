// Code written for the platform's module headers builds against the stand-in's
// <hardware/hardware.h> unchanged: a gralloc-style module is found, opened
// through TO_HW_DEVICE_T_OPEN from C++ and from C, and its versions read back.
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>

#include <zelkov_platform/hardware_control.h>

#include "GrallocStyle.h"

namespace {

const gralloc_style_module_t* LoadGrallocStyleModule() {
    zelkov_hardware_set_search_path(TEST_MODULE_DIR);
    const hw_module_t* module = nullptr;
    if (hw_get_module(GRALLOC_STYLE_HARDWARE_MODULE_ID, &module) != 0) return nullptr;
    return reinterpret_cast<const gralloc_style_module_t*>(module);
}

TEST(GrallocStyleHeaderTest, VersionMacrosPackAsThePlatformDocuments) {
    EXPECT_EQ(HARDWARE_MAKE_API_VERSION(1, 0), 0x0100);
    EXPECT_EQ(HARDWARE_HAL_API_VERSION, 0x0100);
    EXPECT_EQ(HARDWARE_MODULE_API_VERSION(0x12, 0x34), 0x1234);
    EXPECT_EQ(HARDWARE_MAKE_API_VERSION(0x123, 0x456), 0x2356);  // each part to 8 bits
    EXPECT_EQ(static_cast<uint32_t>(HARDWARE_MAKE_API_VERSION_2(1, 2, 7)), 0x01020007u);
    EXPECT_EQ(static_cast<uint32_t>(HARDWARE_DEVICE_API_VERSION_2(0x1ff, 0x2ff, 0x12345)), 0xffff2345u);
    EXPECT_EQ(static_cast<uint32_t>(HARDWARE_MODULE_API_VERSION_2(3, 4, 5)) & HARDWARE_API_VERSION_2_MAJ_MIN_MASK,
              0x03040000u);
    EXPECT_EQ(static_cast<uint32_t>(HARDWARE_MODULE_API_VERSION_2(3, 4, 5)) & HARDWARE_API_VERSION_2_HEADER_MASK, 5u);
    EXPECT_EQ(MAKE_TAG_CONSTANT('H', 'W', 'M', 'T'), 0x48574d54);
    EXPECT_STREQ(HAL_MODULE_INFO_SYM_AS_STR, "HMI");
}

TEST(GrallocStyleHeaderTest, ModuleIsFoundAndOpensItsDevicesFromCAndCxx) {
    const gralloc_style_module_t* gralloc = LoadGrallocStyleModule();
    ASSERT_NE(gralloc, nullptr);
    EXPECT_EQ(gralloc->common.tag, static_cast<uint32_t>(HARDWARE_MODULE_TAG));
    EXPECT_EQ(gralloc->common.module_api_version, 0x0003);  // written through version_major
    EXPECT_EQ(gralloc->common.hal_api_version, 0x0100);     // through version_minor

    using OpenAlloc = std::function<int(const hw_module_t*, alloc_style_device_t**)>;
    const struct {
        const char* language;
        OpenAlloc open;
    } openers[] = {
        {"C++", gralloc_style_open},
        {"C", gralloc_style_open_from_c},
    };
    for (const auto& opener : openers) {
        SCOPED_TRACE(opener.language);
        alloc_style_device_t* device = nullptr;
        ASSERT_EQ(opener.open(&gralloc->common, &device), 0);
        ASSERT_NE(device, nullptr);
        EXPECT_EQ(device->common.tag, static_cast<uint32_t>(HARDWARE_DEVICE_TAG));
        EXPECT_EQ(device->common.version & HARDWARE_API_VERSION_2_MAJ_MIN_MASK, 0x01020000u);
        EXPECT_EQ(device->common.version & HARDWARE_API_VERSION_2_HEADER_MASK, 7u);
        EXPECT_EQ(device->common.module, &gralloc->common);
        buffer_handle_t handle = reinterpret_cast<buffer_handle_t>(&device);
        int stride = 0;
        EXPECT_EQ(device->alloc(device, 64, 8, HAL_PIXEL_FORMAT_RGBA_8888, 0, &handle, &stride), -ENOMEM);
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(stride, 64);
        EXPECT_EQ(gralloc_style_close(device), 0);
    }
}

}  // namespace

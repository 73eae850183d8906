// hw_get_module: search path, variants, id check and unloading of rejected
// libraries, with the simulated camera core from the build tree.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include <android/wrappers/internal/ModuleRecords.h>
#include <hardware/hardware.h>
#include <zelkov_platform/hardware_control.h>

namespace {

// Restores the default search path and variant after each test.
class HwGetModuleTest : public testing::Test {
protected:
    void TearDown() override {
        zelkov_hardware_set_search_path(nullptr);
        zelkov_hardware_set_variant(nullptr);
        unsetenv("ZELKOV_HW_MODULE_PATH");
    }
    static std::string Both() { return std::string(TEST_MODULE_DIR) + ":" + zelkov_hardware_default_search_path(); }
    static bool IsLoaded(const std::string& path) {
        void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (handle != nullptr) dlclose(handle);
        return handle != nullptr;
    }
};

TEST_F(HwGetModuleTest, FindsTheCameraModuleInTheBuildTree) {
    const hw_module_t* module = nullptr;
    ASSERT_EQ(hw_get_module("camera", &module), 0);
    ASSERT_NE(module, nullptr);
    EXPECT_STREQ(module->id, "camera");
    EXPECT_STREQ(module->name, "Zelkov simulated camera core");
    EXPECT_EQ(module->tag, uint32_t(HARDWARE_MODULE_TAG));
    EXPECT_NE(module->dso, nullptr);
    EXPECT_EQ(dlsym(module->dso, HAL_MODULE_INFO_SYM_AS_STR), module);
    // The camera table, the unknown-id result and the untouched output are
    // checked through IZelHardwareHandler in tests/misc.
    camera_info info{};
    ASSERT_EQ(reinterpret_cast<const camera_module*>(module)->get_camera_info(1, &info), 0);
    EXPECT_EQ(info.facing, 1);
}

TEST_F(HwGetModuleTest, MismatchedOrMissingRecordGivesEINVALAndUnloads) {
    zelkov_hardware_set_search_path(TEST_MODULE_DIR);
    const hw_module_t* module = nullptr;
    EXPECT_EQ(hw_get_module("radio", &module), -EINVAL);
    EXPECT_EQ(hw_get_module("nohmi", &module), -EINVAL);
    EXPECT_EQ(module, nullptr);
    EXPECT_FALSE(IsLoaded(std::string(TEST_MODULE_DIR) + "/radio.default.so"));
    EXPECT_FALSE(IsLoaded(std::string(TEST_MODULE_DIR) + "/nohmi.default.so"));
}

TEST_F(HwGetModuleTest, SearchPathAndVariantChooseTheFile) {
    const hw_module_t* module = nullptr;
    // Not in the test directory alone (it has no camera.default.so).
    zelkov_hardware_set_search_path(TEST_MODULE_DIR);
    EXPECT_EQ(hw_get_module("camera", &module), -ENOENT);

    // The variant is tried before "default", across every directory.
    zelkov_hardware_set_search_path(Both().c_str());
    zelkov_hardware_set_variant("zelkov");
    ASSERT_EQ(hw_get_module("camera", &module), 0);
    EXPECT_STREQ(module->name, "zelkov variant");
    zelkov_hardware_set_variant("other");
    ASSERT_EQ(hw_get_module("camera", &module), 0);
    EXPECT_STREQ(module->name, "Zelkov simulated camera core");

    // The environment variable counts only while no path is set.
    zelkov_hardware_set_search_path(nullptr);
    zelkov_hardware_set_variant("zelkov");
    setenv("ZELKOV_HW_MODULE_PATH", TEST_MODULE_DIR, 1);
    EXPECT_STREQ(zelkov_hardware_search_path(), TEST_MODULE_DIR);
    ASSERT_EQ(hw_get_module("camera", &module), 0);
    EXPECT_STREQ(module->name, "zelkov variant");
}

TEST_F(HwGetModuleTest, ByClassAppendsTheInstance) {
    zelkov_hardware_set_search_path(Both().c_str());
    const hw_module_t* module = nullptr;
    // "camera" + "zelkov" is "camera.zelkov", of which there is no file.
    EXPECT_EQ(hw_get_module_by_class("camera", "zelkov", &module), -ENOENT);
    EXPECT_EQ(hw_get_module_by_class(nullptr, nullptr, &module), -EINVAL);
}

}  // namespace

// hw_get_module as the platform's hardware.c behaves: variant order, search
// path order, the record and id checks, *module on failure, and aborts on
// null input.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include <hardware/hardware.h>
#include <zelkov_platform/hardware_control.h>

namespace {

const std::string kDir = TEST_MODULE_DIR;
const std::string kDirB = kDir + "_b";

TEST(HwGetModuleTest, FindsLoadsOrRefusesAsThePlatform) {
    using Properties = std::vector<std::pair<const char*, const char*>>;
    struct Case {
        const char* what;
        std::string path;
        Properties properties;
        const char* id;
        const char* inst;
        int status;
        const char* name;  // of the module found
    };
    const std::string both = kDir + ":" + kDirB;
    const std::string reversed = kDirB + ":" + kDir;
    const char* board = "ro.product.board";
    const char* own = "ro.hardware.camera";
    const Case cases[] = {
        {"default variant", both, {}, "camera", nullptr, 0, "default"},
        {"directories in order", reversed, {}, "camera", nullptr, 0, "second directory"},
        {"a variant in any directory first", reversed, {{board, "board"}}, "camera", nullptr, 0, "board"},
        {"the module's own property first", both, {{board, "bad"}, {own, "board"}}, "camera", nullptr, 0, "board"},
        {"instance appended to the class", both, {}, "camera", "front", 0, "front"},
        {"record of another id", both, {}, "radio", nullptr, -EINVAL, nullptr},
        {"no record", both, {}, "nohmi", nullptr, -EINVAL, nullptr},
        {"failed variant: no fallback", both, {{board, "bad"}}, "camera", nullptr, -EINVAL, nullptr},
        {"no file", both, {}, "absent", nullptr, -ENOENT, nullptr},
        {"a file outside the directory", kDir, {}, "../modules_b/camera", nullptr, -ENOENT, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        zelkov_hardware_set_search_path(c.path.c_str());
        for (const auto& property : c.properties) zelkov_hardware_set_property(property.first, property.second);
        const hw_module_t* untouched = reinterpret_cast<const hw_module_t*>(0x5a5a);
        const hw_module_t* module = untouched;
        ASSERT_EQ(hw_get_module_by_class(c.id, c.inst, &module), c.status);
        if (c.status == 0) {
            EXPECT_STREQ(module->name, c.name);
            EXPECT_EQ(dlsym(module->dso, HAL_MODULE_INFO_SYM_AS_STR), module);
        } else {
            // A file found and refused nulls the output; no file leaves it.
            EXPECT_EQ(module, c.status == -ENOENT ? untouched : nullptr);
        }
        for (const auto& property : c.properties) zelkov_hardware_set_property(property.first, nullptr);
    }
    zelkov_hardware_set_search_path(nullptr);
    // A refused library is unloaded again.
    void* radio = dlopen((kDir + "/radio.default.so").c_str(), RTLD_NOW | RTLD_NOLOAD);
    EXPECT_EQ(radio, nullptr);
}

TEST(HwGetModuleDeathTest, MisuseTheDeviceCrashesOnAborts) {
    const hw_module_t* module = nullptr;
    EXPECT_DEATH(hw_get_module(nullptr, &module), "^libhardware: hw_get_module: null module id");
    EXPECT_DEATH(hw_get_module_by_class("camera", nullptr, nullptr),
                 "^libhardware: hw_get_module_by_class: null module pointer");
}

}  // namespace

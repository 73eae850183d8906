#include <gtest/gtest.h>

#include <cerrno>
#include <set>
#include <thread>
#include <vector>

#include <android/misc/IZelHardwareHandler.h>
#include <android/wrappers/ZelCameraModule.h>
#include <android/wrappers/ZelHwModule.h>
#include <android/wrappers/internal/ModuleRecords.h>
#include <hardware/hardware.h>

using zelkov::IZelHardwareHandler;

namespace {

TEST(HardwareHandlerTest, GetInstanceIsOneObjectAcrossThreads) {
    std::vector<IZelHardwareHandler*> seen(8);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < seen.size(); ++i) {
        threads.emplace_back([&seen, i] { seen[i] = IZelHardwareHandler::GetInstance(); });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::set<IZelHardwareHandler*>(seen.begin(), seen.end()).size(), 1u);
    EXPECT_EQ(seen[0], IZelHardwareHandler::GetInstance());
    EXPECT_NE(seen[0], nullptr);
}

TEST(HardwareHandlerTest, EachCallAsksThePlatformWithItsOwnId) {
    IZelHardwareHandler* handler = IZelHardwareHandler::GetInstance();
    const hw_module_t* module = nullptr;
    ASSERT_EQ(handler->GetModule("camera", &module), 0);
    ASSERT_NE(module, nullptr);
    // Read as a camera core does: through borrowing wrappers.
    zelkov::ZelCameraModule camera(reinterpret_cast<const camera_module*>(module), false);
    zelkov::ZelHwModule common(camera.GetHwModule(), false);
    EXPECT_STREQ(common.GetName(), "Zelkov simulated camera core");
    EXPECT_EQ(camera.GetFnGetNumberOfCameras()(), 2);
    EXPECT_EQ(camera.GetFnSetTorchMode(), nullptr);

    // An unknown id after a found one is not answered with the earlier module,
    // and the output is left as the platform leaves it.
    const hw_module_t* unknown = reinterpret_cast<const hw_module_t*>(0x5a5a);
    EXPECT_EQ(handler->GetModule("zelkov_unknown", &unknown), -ENOENT);
    EXPECT_EQ(unknown, reinterpret_cast<const hw_module_t*>(0x5a5a));
    const hw_module_t* again = nullptr;
    ASSERT_EQ(handler->GetModule("camera", &again), 0);
    EXPECT_EQ(again, module);
}

}  // namespace

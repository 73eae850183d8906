#include "CameraModule.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include <android/misc/IZelCameraMetadataHandler.h>
#include <android/misc/IZelHardwareHandler.h>
#include <android/wrappers/ZelCameraModule.h>

#include "Config.h"
#include "Device.h"
#include "ModuleIdentity.h"
#include "StaticMetadata.h"
#include "VendorTags.h"

namespace camera_core {
namespace {

constexpr int kResourceCost = 50;

// Everything the module knows, made on first use.
class Cameras {
public:
    static Cameras& Instance() {
        static Cameras* cameras = new Cameras();  // never destroyed: devices may outlive static destruction
        return *cameras;
    }

    int Count() const { return static_cast<int>(m_configs.size()); }
    const CameraConfig& Config(int id) const { return m_configs[id]; }
    const camera_metadata* Characteristics(int id) const { return m_characteristics[id].Get(); }

    // Marks a camera open; false when it already is.
    bool Claim(int id) {
        std::lock_guard<std::mutex> hold(m_lock);
        if (m_open[id]) return false;
        m_open[id] = true;
        return true;
    }
    void Unclaim(int id) {
        std::lock_guard<std::mutex> hold(m_lock);
        m_open[id] = false;
    }

private:
    Cameras() {
        // Our own result buffers carry the vendor tags: the metadata library must know their types.
        FillVendorTagOps(m_vendorOps.Ptr());
        zelkov::GetCameraMetadataHandler()->SetVendorOps(m_vendorOps.Ptr());
        std::string error;
        const std::string path = ConfigPath();
        if (!LoadCameraConfigs(path, &m_configs, &error)) {
            std::fprintf(stderr, "camera_core: %s; no camera offered\n", error.c_str());
            m_configs.clear();
        }
        for (const CameraConfig& camera : m_configs) m_characteristics.push_back(BuildCharacteristics(camera));
        m_open.assign(m_configs.size(), false);
    }

    std::vector<CameraConfig> m_configs;
    std::vector<Metadata> m_characteristics;
    zelkov::ZelVendorTagOps m_vendorOps;
    std::mutex m_lock;
    std::vector<bool> m_open;
};

bool ParseId(const char* text, int* id) {
    if (text == nullptr || *text == '\0') return false;
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (*end != '\0' || value < 0 || value >= Cameras::Instance().Count()) return false;
    *id = static_cast<int>(value);
    return true;
}

}  // namespace

int ModuleInit() {
    // The platform's module lookup must lead back to this very module.
    const hw_module_t* found = nullptr;
    const int status = zelkov::IZelHardwareHandler::GetInstance()->GetModule("camera", &found);
    if (status != 0 || found != ThisModule().module) {
        std::fprintf(stderr, "camera_core: hw_get_module(\"camera\") finds %s; serving as a module loaded by path\n",
                     status != 0 ? "no module" : "another module");
    }
    Cameras::Instance();
    return 0;
}

int GetNumberOfCameras() { return Cameras::Instance().Count(); }

int GetCameraInfo(int id, camera_info* record) {
    Cameras& cameras = Cameras::Instance();
    if (record == nullptr || id < 0 || id >= cameras.Count()) return -EINVAL;
    zelkov::ZelCameraInfo info(record, false);
    info.SetFacing(cameras.Config(id).facing);
    info.SetOrientation(cameras.Config(id).orientation);
    info.SetDeviceVersion(ThisModule().deviceVersion);
    info.SetStaticCameraCharact(cameras.Characteristics(id));
    info.SetResourceCost(kResourceCost);
    info.SetConflictingDevices(nullptr);
    info.SetConflictingDevicesLength(0);
    return 0;
}

int SetCallbacks(const camera_module_callbacks*) {
    // The simulated cameras never come or go, and there is no torch.
    return 0;
}

void GetVendorTagOps(vendor_tag_ops* ops) {
    if (ops != nullptr) FillVendorTagOps(ops);
}

int OpenDevice(const hw_module_t* module, const char* name, hw_device_t** device) {
    int id = 0;
    if (module == nullptr || device == nullptr) return -EINVAL;
    if (!ParseId(name, &id)) return -EINVAL;
    Cameras& cameras = Cameras::Instance();
    if (!cameras.Claim(id)) return -EBUSY;
    Device* opened = new Device(id, cameras.Config(id), [id] { Cameras::Instance().Unclaim(id); });
    *device = opened->HwDevice();
    return 0;
}

}  // namespace camera_core

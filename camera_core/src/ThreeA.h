// Auto-exposure, auto-focus and auto-white-balance state machines, with the
// transitions a framework sees on a device: a search or scan that lasts a few
// frames (the number drawn from a generator seeded per camera, so every run
// repeats), then a converged or focused state; triggers start precapture and
// focus locks; locks hold. AE chooses exposure time and gain for the simulated
// scene and, on a camera with a flash, asks for it when the scene is too dark
// and fires it for a still capture that needs it.
#ifndef ZELKOV_CAMERA_CORE_THREE_A_H
#define ZELKOV_CAMERA_CORE_THREE_A_H

#include <cstdint>
#include <random>

#include "Config.h"
#include "Metadata.h"

namespace camera_core {

struct ThreeAResult {
    uint8_t ae;
    uint8_t af;
    uint8_t awb;
    uint8_t lens;   // moving while AF scans
    uint8_t flash;  // android.flash.state
    int64_t exposureNs;
    int32_t sensitivity;
};

class ThreeA {
public:
    explicit ThreeA(const CameraConfig& camera);

    // Advances one frame under the frame's settings and returns the states.
    ThreeAResult Update(const Metadata& settings, int64_t frameDurationNs);

private:
    uint8_t UpdateAe(const Metadata& settings, bool dark);
    uint8_t UpdateAf(const Metadata& settings);
    uint8_t UpdateAwb(const Metadata& settings);
    uint8_t FlashState(const Metadata& settings, uint8_t ae) const;
    void Expose(const Metadata& settings, int64_t frameDurationNs, bool aeOn, ThreeAResult* result);
    int ScanFrames();

    std::mt19937 m_random;
    const bool m_hasFlash;
    const int64_t m_sceneExposureNs;  // what the scene needs at the lowest gain
    uint8_t m_aeMode = 0xff;          // none yet: the first frame starts a search
    uint8_t m_ae;
    int m_aeFramesLeft = 0;
    uint8_t m_afMode = 0xff;
    uint8_t m_af;
    int m_afFramesLeft = 0;
    bool m_afLockWhenScanned = false;  // a trigger came during a continuous-picture scan
    uint8_t m_awbMode = 0xff;
    uint8_t m_awb;
    int m_awbFramesLeft = 0;
    int64_t m_exposureNs;
    int32_t m_sensitivity;
};

}  // namespace camera_core

#endif

#include "ThreeA.h"

#include <algorithm>

#include "MetadataTags.h"
#include "SensorModel.h"

namespace camera_core {
namespace {

bool IsContinuous(uint8_t afMode) {
    return afMode == value::kAfModeContinuousPicture || afMode == value::kAfModeContinuousVideo;
}

bool IsAutoFlash(uint8_t aeMode) {
    return aeMode == value::kAeModeOnAutoFlash || aeMode == value::kAeModeOnAutoFlashRedeye;
}

}  // namespace

ThreeA::ThreeA(const CameraConfig& camera)
    : m_random(camera.seed),
      m_hasFlash(camera.flash),
      m_sceneExposureNs(camera.sceneExposureNs),
      m_ae(value::kAeStateInactive),
      m_af(value::kAfStateInactive),
      m_awb(value::kAwbStateInactive),
      m_exposureNs(camera.sceneExposureNs),
      m_sensitivity(sensor::kMinSensitivity) {}

int ThreeA::ScanFrames() { return std::uniform_int_distribution<int>(1, 4)(m_random); }

ThreeAResult ThreeA::Update(const Metadata& settings, int64_t frameDurationNs) {
    ThreeAResult result{};
    const bool automatic = settings.GetU8(tag::kControlMode, value::kControlModeAuto) != value::kControlModeOff;
    const bool aeOn = automatic && settings.GetU8(tag::kControlAeMode, value::kAeModeOn) != value::kAeModeOff;
    Expose(settings, frameDurationNs, aeOn, &result);
    result.flash = m_hasFlash ? value::kFlashStateReady : value::kFlashStateUnavailable;
    if (!automatic) {
        // 3A is off: every routine restarts when it is switched back on.
        m_aeMode = m_afMode = m_awbMode = 0xff;
        m_ae = value::kAeStateInactive;
        m_af = value::kAfStateInactive;
        m_awb = value::kAwbStateInactive;
        result.ae = m_ae;
        result.af = m_af;
        result.awb = m_awb;
        return result;
    }
    const bool dark =
        m_sceneExposureNs * sensor::kMinSensitivity > result.exposureNs * int64_t{sensor::kMaxSensitivity};
    result.ae = UpdateAe(settings, dark);
    result.af = UpdateAf(settings);
    result.awb = UpdateAwb(settings);
    result.flash = FlashState(settings, result.ae);
    result.lens = result.af == value::kAfStatePassiveScan || result.af == value::kAfStateActiveScan ? value::kLensMoving
                                                                                                    : value::kOff;
    return result;
}

void ThreeA::Expose(const Metadata& settings, int64_t frameDurationNs, bool aeOn, ThreeAResult* result) {
    zelkov::zel_camera_metadata_ro_entry entry;
    if (!aeOn) {
        // Manual exposure, within what the sensor and the frame allow.
        int64_t exposure =
            settings.Find(tag::kSensorExposureTime, &entry) && entry.count > 0 ? entry.data.i64[0] : m_exposureNs;
        result->exposureNs = std::clamp(exposure, sensor::kMinExposureNs, frameDurationNs);
        result->sensitivity = std::clamp(settings.GetI32(tag::kSensorSensitivity, 0, m_sensitivity),
                                         sensor::kMinSensitivity, sensor::kMaxSensitivity);
        return;
    }
    // A lock holds what AE last chose; otherwise the longest exposure the frame
    // allows, then gain for the rest.
    if (settings.GetU8(tag::kControlAeLock, value::kOff) == value::kOff || m_ae != value::kAeStateLocked) {
        m_exposureNs = std::clamp(m_sceneExposureNs, sensor::kMinExposureNs, frameDurationNs);
        const int64_t gain = m_sceneExposureNs * sensor::kMinSensitivity / m_exposureNs;
        m_sensitivity =
            static_cast<int32_t>(std::clamp<int64_t>(gain, sensor::kMinSensitivity, sensor::kMaxSensitivity));
    }
    result->exposureNs = m_exposureNs;
    result->sensitivity = m_sensitivity;
}

uint8_t ThreeA::UpdateAe(const Metadata& settings, bool dark) {
    const uint8_t mode = settings.GetU8(tag::kControlAeMode, value::kAeModeOn);
    if (mode == value::kAeModeOff) {
        m_aeMode = mode;
        m_aeFramesLeft = 0;
        return m_ae = value::kAeStateInactive;
    }
    const auto search = [this](uint8_t state) {
        m_ae = state;
        m_aeFramesLeft = ScanFrames();
    };
    const bool started = mode != m_aeMode;  // a search starts: this frame counts as its first
    if (started) {
        m_aeMode = mode;
        search(value::kAeStateSearching);
    }
    const bool lock = settings.GetU8(tag::kControlAeLock, value::kOff) != value::kOff;
    // A precapture trigger is ignored while the exposure is locked.
    if (lock && m_ae == value::kAeStateLocked) return m_ae;

    const uint8_t trigger = settings.GetU8(tag::kControlAePrecaptureTrigger, value::kTriggerIdle);
    const bool scanning = !started && (m_ae == value::kAeStateSearching || m_ae == value::kAeStatePrecapture);
    if (trigger == value::kTriggerStart) {
        search(value::kAeStatePrecapture);
    } else if (trigger == value::kTriggerCancel && m_ae == value::kAeStatePrecapture) {
        search(value::kAeStateSearching);
    } else if (!lock && m_ae == value::kAeStateLocked) {
        search(value::kAeStateSearching);
    } else if (scanning && --m_aeFramesLeft <= 0) {
        m_ae = dark && m_hasFlash && IsAutoFlash(mode) ? value::kAeStateFlashRequired : value::kAeStateConverged;
    }
    // A lock holds the exposure once any precapture sequence has ended.
    if (lock && m_ae != value::kAeStatePrecapture) m_ae = value::kAeStateLocked;
    return m_ae;
}

uint8_t ThreeA::UpdateAf(const Metadata& settings) {
    const uint8_t mode = settings.GetU8(tag::kControlAfMode, value::kAfModeOff);
    const bool continuous = IsContinuous(mode);
    if (mode != m_afMode) {
        m_afMode = mode;
        m_af = value::kAfStateInactive;
        m_afFramesLeft = 0;
        m_afLockWhenScanned = false;
    }
    if (mode == value::kAfModeOff || mode == value::kAfModeEdof) return m_af = value::kAfStateInactive;

    const uint8_t trigger = settings.GetU8(tag::kControlAfTrigger, value::kTriggerIdle);
    if (trigger == value::kTriggerCancel) {
        m_afFramesLeft = 0;
        m_afLockWhenScanned = false;
        return m_af = value::kAfStateInactive;
    }
    if (!continuous) {
        if (trigger == value::kTriggerStart) {
            m_af = value::kAfStateActiveScan;
            m_afFramesLeft = ScanFrames();
        } else if (m_af == value::kAfStateActiveScan && --m_afFramesLeft <= 0) {
            m_af = value::kAfStateFocusedLocked;
        }
        return m_af;
    }
    if (trigger == value::kTriggerStart) {
        // A continuous mode locks on what it holds; a picture scan finishes
        // first, a video scan locks unfocused at once.
        if (m_af == value::kAfStatePassiveFocused) {
            m_af = value::kAfStateFocusedLocked;
        } else if (m_af == value::kAfStatePassiveScan && mode == value::kAfModeContinuousPicture) {
            m_afLockWhenScanned = true;
        } else if (m_af != value::kAfStateFocusedLocked && m_af != value::kAfStateNotFocusedLocked) {
            m_af = value::kAfStateNotFocusedLocked;
        }
        return m_af;
    }
    if (m_af == value::kAfStateInactive) {
        m_af = value::kAfStatePassiveScan;
        m_afFramesLeft = ScanFrames();
    } else if (m_af == value::kAfStatePassiveScan && --m_afFramesLeft <= 0) {
        m_af = m_afLockWhenScanned ? value::kAfStateFocusedLocked : value::kAfStatePassiveFocused;
        m_afLockWhenScanned = false;
    }
    return m_af;
}

uint8_t ThreeA::FlashState(const Metadata& settings, uint8_t ae) const {
    if (!m_hasFlash) return value::kFlashStateUnavailable;
    const uint8_t mode = settings.GetU8(tag::kControlAeMode, value::kAeModeOn);
    const bool still = settings.GetU8(tag::kControlCaptureIntent, 0) == value::kCaptureIntentStillCapture;
    const bool needed =
        mode == value::kAeModeOnAlwaysFlash || (IsAutoFlash(mode) && ae == value::kAeStateFlashRequired);
    return still && needed ? value::kFlashStateFired : value::kFlashStateReady;
}

uint8_t ThreeA::UpdateAwb(const Metadata& settings) {
    const uint8_t mode = settings.GetU8(tag::kControlAwbMode, value::kAwbModeAuto);
    if (mode == value::kAwbModeOff) {
        m_awbMode = mode;
        return m_awb = value::kAwbStateInactive;
    }
    const bool lock = settings.GetU8(tag::kControlAwbLock, value::kOff) != value::kOff;
    if (mode != m_awbMode || (!lock && m_awb == value::kAwbStateLocked)) {
        // A new mode or a released lock searches again; this frame counts as the search's first.
        m_awbMode = mode;
        m_awb = value::kAwbStateSearching;
        m_awbFramesLeft = ScanFrames();
    } else if (m_awb == value::kAwbStateSearching && --m_awbFramesLeft <= 0) {
        m_awb = value::kAwbStateConverged;
    }
    if (lock) m_awb = value::kAwbStateLocked;
    return m_awb;
}

}  // namespace camera_core

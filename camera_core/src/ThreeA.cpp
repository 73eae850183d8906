#include "ThreeA.h"

#include "MetadataTags.h"

namespace camera_core {

ThreeA::ThreeA(uint32_t seed)
    : m_random(seed), m_ae(value::kAeStateConverged), m_af(value::kAfStateInactive), m_afMode(value::kAfModeOff) {}

int ThreeA::ScanFrames() { return std::uniform_int_distribution<int>(1, 4)(m_random); }

ThreeAState ThreeA::Update(const Metadata& settings) {
    if (settings.GetU8(tag::kControlMode, value::kControlModeAuto) == value::kControlModeOff) {
        m_ae = value::kAeStateInactive;
        m_af = value::kAfStateInactive;
        return {m_ae, m_af, value::kAwbStateInactive};
    }
    return {UpdateAe(settings), UpdateAf(settings), UpdateAwb(settings)};
}

uint8_t ThreeA::UpdateAe(const Metadata& settings) {
    if (settings.GetU8(tag::kControlAeMode, value::kAeModeOn) == value::kAeModeOff) {
        m_aeFramesLeft = 0;
        return m_ae = value::kAeStateInactive;
    }
    const uint8_t trigger = settings.GetU8(tag::kControlAePrecaptureTrigger, value::kTriggerIdle);
    if (trigger == value::kTriggerStart) {
        m_aeFramesLeft = ScanFrames();
        m_ae = value::kAeStatePrecapture;
    } else if (trigger == value::kTriggerCancel) {
        m_aeFramesLeft = 0;
        m_ae = value::kAeStateConverged;
    } else if (m_ae == value::kAeStatePrecapture && --m_aeFramesLeft <= 0) {
        m_ae = value::kAeStateConverged;
    } else if (m_ae != value::kAeStatePrecapture) {
        m_ae = value::kAeStateConverged;
    }
    // A lock holds the exposure once any precapture sequence has ended.
    if (settings.GetU8(tag::kControlAeLock, value::kOff) != value::kOff && m_ae != value::kAeStatePrecapture) {
        return value::kAeStateLocked;
    }
    return m_ae;
}

uint8_t ThreeA::UpdateAf(const Metadata& settings) {
    const uint8_t mode = settings.GetU8(tag::kControlAfMode, value::kAfModeOff);
    const bool continuous = mode == value::kAfModeContinuousPicture || mode == value::kAfModeContinuousVideo;
    if (mode != m_afMode) {
        m_afMode = mode;
        m_afFramesLeft = 0;
        m_af = continuous ? value::kAfStatePassiveFocused : value::kAfStateInactive;
    }
    if (mode == value::kAfModeOff) return m_af = value::kAfStateInactive;

    const uint8_t trigger = settings.GetU8(tag::kControlAfTrigger, value::kTriggerIdle);
    if (trigger == value::kTriggerStart) {
        // Continuous modes lock at once on what they hold; auto scans first.
        m_afFramesLeft = continuous ? 0 : ScanFrames();
        m_af = continuous ? value::kAfStateFocusedLocked : value::kAfStateActiveScan;
    } else if (trigger == value::kTriggerCancel) {
        m_afFramesLeft = 0;
        m_af = continuous ? value::kAfStatePassiveFocused : value::kAfStateInactive;
    } else if (m_af == value::kAfStateActiveScan && --m_afFramesLeft <= 0) {
        m_af = value::kAfStateFocusedLocked;
    }
    return m_af;
}

uint8_t ThreeA::UpdateAwb(const Metadata& settings) {
    if (settings.GetU8(tag::kControlAwbMode, value::kAwbModeAuto) == value::kAwbModeOff) return value::kAwbStateInactive;
    if (settings.GetU8(tag::kControlAwbLock, value::kOff) != value::kOff) return value::kAwbStateLocked;
    return value::kAwbStateConverged;
}

}  // namespace camera_core

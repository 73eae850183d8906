// Auto-exposure, auto-focus and auto-white-balance state machines. They start
// converged; a trigger starts a scan that lasts a few frames, the number drawn
// from a generator seeded per camera so every run repeats.
#ifndef ZELKOV_CAMERA_CORE_THREE_A_H
#define ZELKOV_CAMERA_CORE_THREE_A_H

#include <cstdint>
#include <random>

#include "Metadata.h"

namespace camera_core {

struct ThreeAState {
    uint8_t ae;
    uint8_t af;
    uint8_t awb;
};

class ThreeA {
public:
    explicit ThreeA(uint32_t seed);

    // Advances one frame under the frame's settings and returns the states.
    ThreeAState Update(const Metadata& settings);

private:
    uint8_t UpdateAe(const Metadata& settings);
    uint8_t UpdateAf(const Metadata& settings);
    uint8_t UpdateAwb(const Metadata& settings);
    int ScanFrames();

    std::mt19937 m_random;
    uint8_t m_ae;
    uint8_t m_af;
    uint8_t m_afMode;
    int m_aeFramesLeft = 0;
    int m_afFramesLeft = 0;
};

}  // namespace camera_core

#endif

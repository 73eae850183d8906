// Draws the test patterns into a 4:2:0 picture of any plane layout.
//
// Moving pattern (test pattern off), luma only carries the information:
// - the top StripHeight(height) rows hold the frame number as 32 blocks,
//   most significant bit first; block i spans columns [i*width/32,
//   (i+1)*width/32) and is 255 for a one bit, 0 for a zero bit;
// - below, a vertical grey gradient with a white bar at column
//   frame mod width (BarWidth(width) columns wide);
// - chroma is neutral (128).
// Colour bars: the standard eight bars (white, yellow, cyan, green, magenta,
// red, blue, black), each width/8 columns wide.
#ifndef ZELKOV_CAMERA_CORE_PATTERN_PAINTER_H
#define ZELKOV_CAMERA_CORE_PATTERN_PAINTER_H

#include <cstddef>
#include <cstdint>

namespace camera_core {

struct PlaneView {
    uint8_t* y;
    uint8_t* cb;
    uint8_t* cr;
    size_t yStride;
    size_t cStride;
    size_t chromaStep;
    uint32_t width;
    uint32_t height;
};

class PatternPainter {
public:
    static uint32_t StripHeight(uint32_t height) { return height / 16 > 4 ? height / 16 : 4; }
    static uint32_t BarWidth(uint32_t width) { return width / 64 > 2 ? width / 64 : 2; }

    static void PaintFrameNumber(const PlaneView& view, uint32_t frame);
    static void PaintColorBars(const PlaneView& view);
};

}  // namespace camera_core

#endif

#include "PatternPainter.h"

#include <algorithm>
#include <cstring>

namespace camera_core {
namespace {

struct Yuv {
    uint8_t y, u, v;
};

// BT.601 full range, as JPEG and the camera's YUV outputs use.
Yuv FromRgb(int r, int g, int b) {
    const auto clamp = [](int value) { return static_cast<uint8_t>(std::min(255, std::max(0, value))); };
    return {clamp((77 * r + 150 * g + 29 * b + 128) >> 8), clamp(((-43 * r - 85 * g + 128 * b + 128) >> 8) + 128),
            clamp(((128 * r - 107 * g - 21 * b + 128) >> 8) + 128)};
}

// Sets every chroma sample to one value, a whole row span at a time.
void FillChroma(const PlaneView& view, uint8_t value) {
    const uint32_t chromaWidth = (view.width + 1) / 2;
    const uint32_t chromaHeight = (view.height + 1) / 2;
    const bool interleaved = view.chromaStep == 2 && (view.cr == view.cb + 1 || view.cb == view.cr + 1);
    for (uint32_t row = 0; row < chromaHeight; ++row) {
        uint8_t* cb = view.cb + row * view.cStride;
        uint8_t* cr = view.cr + row * view.cStride;
        if (interleaved) {
            std::memset(std::min(cb, cr), value, size_t{chromaWidth} * 2);
        } else if (view.chromaStep == 1) {
            std::memset(cb, value, chromaWidth);
            std::memset(cr, value, chromaWidth);
        } else {
            for (uint32_t x = 0; x < chromaWidth; ++x) cb[x * view.chromaStep] = cr[x * view.chromaStep] = value;
        }
    }
}

// Copies the first row of a plane (`span` bytes from `first`) to the rows below.
void RepeatFirstRow(uint8_t* first, size_t stride, uint32_t rows, size_t span) {
    for (uint32_t row = 1; row < rows; ++row) std::memcpy(first + row * stride, first, span);
}

}  // namespace

// Row by row with memset and memcpy, each byte written once: the pictures
// are megabytes a frame, so their cost is the memory's, not the loop's.
void PatternPainter::PaintFrameNumber(const PlaneView& view, uint32_t frame) {
    if (view.width == 0 || view.height == 0) return;
    const uint32_t strip = std::min(StripHeight(view.height), view.height);
    for (uint32_t block = 0; block < 32; ++block) {
        const uint32_t begin = block * view.width / 32;
        const uint32_t end = (block + 1) * view.width / 32;
        std::memset(view.y + begin, ((frame >> (31 - block)) & 1) != 0 ? 255 : 0, end - begin);
    }
    RepeatFirstRow(view.y, view.yStride, strip, view.width);
    const uint32_t barBegin = frame % view.width;
    const uint32_t barEnd = std::min(view.width, barBegin + BarWidth(view.width));
    for (uint32_t row = strip; row < view.height; ++row) {
        uint8_t* line = view.y + row * view.yStride;
        const int grey = static_cast<int>(32 + row * 160 / view.height);
        std::memset(line, grey, barBegin);
        std::memset(line + barBegin, 255, barEnd - barBegin);
        std::memset(line + barEnd, grey, view.width - barEnd);
    }
    FillChroma(view, 128);
}

void PatternPainter::PaintColorBars(const PlaneView& view) {
    static const Yuv kBars[8] = {FromRgb(255, 255, 255), FromRgb(255, 255, 0), FromRgb(0, 255, 255), FromRgb(0, 255, 0),
                                 FromRgb(255, 0, 255),   FromRgb(255, 0, 0),   FromRgb(0, 0, 255),   FromRgb(0, 0, 0)};
    const auto barOf = [&view](uint32_t x) { return std::min<uint32_t>(7, x * 8 / view.width); };
    for (uint32_t bar = 0; bar < 8; ++bar) {
        const uint32_t begin = bar * view.width / 8;
        const uint32_t end = (bar + 1) * view.width / 8;
        std::memset(view.y + begin, kBars[bar].y, end - begin);
    }
    RepeatFirstRow(view.y, view.yStride, view.height, view.width);
    const uint32_t chromaWidth = (view.width + 1) / 2;
    for (uint32_t x = 0; x < chromaWidth; ++x) {
        const Yuv& colour = kBars[barOf(x * 2)];
        view.cb[x * view.chromaStep] = colour.u;
        view.cr[x * view.chromaStep] = colour.v;
    }
    const size_t span = (chromaWidth - 1) * view.chromaStep + 1;
    RepeatFirstRow(view.cb, view.cStride, (view.height + 1) / 2, span);
    RepeatFirstRow(view.cr, view.cStride, (view.height + 1) / 2, span);
}

}  // namespace camera_core

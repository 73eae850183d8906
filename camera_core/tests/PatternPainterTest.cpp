#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "PatternPainter.h"

namespace camera_core {
namespace {

constexpr uint8_t kPadding = 0x55;
constexpr uint32_t kPad = 16;  // bytes after each luma row

// The luma value the moving pattern puts at (x, row), from its description
// in PatternPainter.h.
uint8_t ExpectedLuma(uint32_t width, uint32_t height, uint32_t frame, uint32_t x, uint32_t row) {
    const uint32_t strip = height / 16 > 4 ? height / 16 : 4;
    if (row < strip) {
        uint32_t block = 0;  // x lies in [block*width/32, (block+1)*width/32)
        while (x >= (block + 1) * width / 32) ++block;
        return ((frame >> (31 - block)) & 1) != 0 ? 255 : 0;
    }
    const uint32_t barWidth = width / 64 > 2 ? width / 64 : 2;
    if (x >= frame % width && x < frame % width + barWidth) return 255;
    return static_cast<uint8_t>(32 + row * 160 / height);
}

// Every luma byte of a planar picture with padded rows, after one frame
// drawn over another: each byte is the pattern's, the padding is untouched.
TEST(PatternPainterTest, MovingPatternIsExactlyItsDescriptionAndLeavesThePadding) {
    const struct {
        uint32_t width, height, frame;
        const char* what;
    } kCases[] = {
        {320, 240, 0xa5a5a5a5u, "bar inside the picture"},
        {320, 240, 319, "bar cut at the right edge"},
        {100, 30, 0x80000001u, "blocks of uneven width, strip of the minimum height"},
        {3840, 2160, 3839 + 3840 * 5, "4K, bar at the last column"},
    };
    for (const auto& c : kCases) {
        const size_t yStride = c.width + kPad;
        const size_t cStride = (c.width + 1) / 2 + kPad;
        const size_t chromaRows = (c.height + 1) / 2;
        std::vector<uint8_t> data(yStride * c.height + 2 * cStride * chromaRows, kPadding);
        uint8_t* cb = data.data() + yStride * c.height;
        const PlaneView view{data.data(), cb, cb + cStride * chromaRows, yStride, cStride, 1, c.width, c.height};
        PatternPainter::PaintFrameNumber(view, c.frame + 7);  // a previous frame, overwritten whole
        PatternPainter::PaintFrameNumber(view, c.frame);
        int wrong = 0;
        for (uint32_t row = 0; row < c.height && wrong < 5; ++row) {
            for (uint32_t x = 0; x < c.width + kPad; ++x) {
                const uint8_t want = x < c.width ? ExpectedLuma(c.width, c.height, c.frame, x, row) : kPadding;
                const uint8_t got = view.y[row * yStride + x];
                if (got != want && ++wrong <= 5) {
                    ADD_FAILURE() << c.what << ": luma (" << x << ", " << row << ") is " << int(got) << ", not "
                                  << int(want);
                }
            }
        }
        for (uint32_t row = 0; row < chromaRows; ++row) {
            for (const uint8_t* plane : {view.cb, view.cr}) {
                EXPECT_EQ(plane[row * cStride], 128) << c.what << ": chroma row " << row;
                EXPECT_EQ(plane[row * cStride + (c.width + 1) / 2 - 1], 128) << c.what << ": chroma row " << row;
                EXPECT_EQ(plane[row * cStride + (c.width + 1) / 2], kPadding) << c.what << ": chroma row " << row;
            }
        }
        EXPECT_EQ(PatternPainter::DecodeFrameNumber(view), c.frame) << c.what;
    }
}

}  // namespace
}  // namespace camera_core

// The moving pattern, byte by byte against its description in
// PatternPainter.h, in each of the platform's 4:2:0 layouts; the frame number
// read back as a framework reads it (hal3_check's decoder).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Fixtures.h"
#include "PatternPainter.h"

namespace camera_core {
namespace {

constexpr uint8_t kPadding = 0x55;
constexpr uint32_t kPad = 16;  // bytes after each row

// A picture in one of the platform's 4:2:0 layouts, with padded rows.
struct Picture {
    Picture(uint32_t width, uint32_t height, size_t chromaStep, bool crFirst) {
        const size_t yStride = width + kPad;
        const size_t cStride = chromaStep == 2 ? yStride : (width + 1) / 2 + kPad;
        const size_t chromaRows = (height + 1) / 2;
        data.assign(yStride * height + (chromaStep == 2 ? 1 : 2) * cStride * chromaRows, kPadding);
        uint8_t* chroma = data.data() + yStride * height;
        uint8_t* first = chroma;
        uint8_t* second = chromaStep == 2 ? chroma + 1 : chroma + cStride * chromaRows;
        view = {data.data(), crFirst ? second : first, crFirst ? first : second, yStride, cStride, chromaStep, width,
                height};
    }
    std::vector<uint8_t> data;
    PlaneView view;
};

// The luma value the moving pattern puts at (x, row).
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

// Every luma byte, after one frame drawn over another: each byte is the
// pattern's, the padding is untouched; chroma is neutral up to its padding.
TEST(PatternPainterTest, MovingPatternIsExactlyItsDescriptionAndLeavesThePadding) {
    const struct {
        uint32_t width, height, frame;
        size_t chromaStep;
        bool crFirst;
        const char* what;
    } kCases[] = {
        {320, 240, 0xa5a5a5a5u, 1, true, "YV12, bar inside the picture"},
        {320, 240, 319, 2, false, "NV12, bar cut at the right edge"},
        {320, 240, 0xffffffffu, 2, true, "NV21"},
        {100, 30, 0x80000001u, 1, false, "blocks of uneven width, strip of the minimum height"},
        {3840, 2160, 3839 + 3840 * 5, 2, false, "4K, bar at the last column"},
    };
    for (const auto& c : kCases) {
        Picture picture(c.width, c.height, c.chromaStep, c.crFirst);
        const PlaneView& view = picture.view;
        PatternPainter::PaintFrameNumber(view, c.frame + 7);  // a previous frame, overwritten whole
        PatternPainter::PaintFrameNumber(view, c.frame);
        int wrong = 0;
        for (uint32_t row = 0; row < c.height && wrong < 5; ++row) {
            for (uint32_t x = 0; x < c.width + kPad; ++x) {
                const uint8_t want = x < c.width ? ExpectedLuma(c.width, c.height, c.frame, x, row) : kPadding;
                const uint8_t got = view.y[row * view.yStride + x];
                if (got != want && ++wrong <= 5) {
                    ADD_FAILURE() << c.what << ": luma (" << x << ", " << row << ") is " << int(got) << ", not "
                                  << int(want);
                }
            }
        }
        const uint32_t samples = (c.width + 1) / 2;
        for (uint32_t row = 0; row < (c.height + 1) / 2; ++row) {
            for (const uint8_t* plane : {view.cb, view.cr}) {
                const uint8_t* line = plane + row * view.cStride;
                EXPECT_EQ(line[0], 128) << c.what << ": chroma row " << row;
                EXPECT_EQ(line[(samples - 1) * c.chromaStep], 128) << c.what << ": chroma row " << row;
                EXPECT_EQ(line[samples * c.chromaStep], kPadding) << c.what << ": chroma row " << row;
            }
        }
        const std::vector<uint8_t> firstRow(view.y, view.y + c.width);
        EXPECT_EQ(hal3_check::DecodeFrameNumber(firstRow, c.width, c.height), int64_t{c.frame}) << c.what;
    }
}

}  // namespace
}  // namespace camera_core

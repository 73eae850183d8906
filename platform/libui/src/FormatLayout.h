#ifndef ZELKOV_PLATFORM_UI_FORMAT_LAYOUT_H
#define ZELKOV_PLATFORM_UI_FORMAT_LAYOUT_H

#include <stdint.h>

#include <system/graphics.h>
#include <ui/PixelFormat.h>

namespace zelkov_platform {
namespace ui {

// How the stand-in lays a pixel format out in memory.
enum class PlaneKind {
    kFlat,            // one plane of whole pixels (RGB, RAW16, BLOB, ...)
    kLumaOnly,        // one luma plane, no chroma (Y8, Y16)
    kSemiPlanarCbCr,  // luma plane, then Cb Cr pairs (NV12, NV16, P010)
    kSemiPlanarCrCb,  // luma plane, then Cr Cb pairs (NV21)
    kPlanarCrCb,      // luma plane, then a Cr plane, then a Cb plane (YV12)
    kPackedYuyv,      // Y Cb Y Cr in every 4 bytes (YCbCr 422 I)
};

struct FormatLayout {
    PlaneKind kind;
    uint32_t bytesPerSample;    // per pixel of a flat plane, per luma sample otherwise
    uint32_t strideAlign;       // stride alignment in pixels
    uint32_t chromaRowDivisor;  // 2 for 4:2:0 chroma, 1 for 4:2:2
};

// The layout of `format`, or null when the stand-in cannot allocate it.
const FormatLayout* FindFormatLayout(android::PixelFormat format);

// Bytes one layer of a `stride` by `height` buffer takes.
uint64_t LayerBytes(const FormatLayout& layout, uint64_t stride, uint64_t height);

// Fills the plane pointers and steps of a buffer mapped at `base`. Formats
// without luma and chroma planes (RGB, BLOB, RAW) get null planes and zero
// steps, as the platform's mapper skips planes of other components.
void FillPlanes(const FormatLayout& layout, uint8_t* base, uint32_t stride, uint32_t height, android_ycbcr* ycbcr);

// What lock reports per pixel and per row, by the platform's rule over the
// planes: a figure is -1 when the planes disagree on it.
void LockedSizes(const FormatLayout& layout, uint32_t stride, int32_t* bytesPerPixel, int32_t* bytesPerStride);

}  // namespace ui
}  // namespace zelkov_platform

#endif

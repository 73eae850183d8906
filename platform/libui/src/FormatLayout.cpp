#include "FormatLayout.h"

#include <cstring>

namespace zelkov_platform {
namespace ui {
namespace {

struct FormatEntry {
    android::PixelFormat format;
    FormatLayout layout;
};

// YUV strides are aligned to 16 pixels, as YV12 requires of its luma rows.
// The flexible and implementation-defined formats are given the NV12 layout.
const FormatEntry kFormats[] = {
    {HAL_PIXEL_FORMAT_RGBA_8888, {PlaneKind::kFlat, 4, 16, 1}},
    {HAL_PIXEL_FORMAT_RGBX_8888, {PlaneKind::kFlat, 4, 16, 1}},
    {HAL_PIXEL_FORMAT_RGB_888, {PlaneKind::kFlat, 3, 16, 1}},
    {HAL_PIXEL_FORMAT_RGB_565, {PlaneKind::kFlat, 2, 16, 1}},
    {HAL_PIXEL_FORMAT_BGRA_8888, {PlaneKind::kFlat, 4, 16, 1}},
    {HAL_PIXEL_FORMAT_RGBA_FP16, {PlaneKind::kFlat, 8, 16, 1}},
    {HAL_PIXEL_FORMAT_RGBA_1010102, {PlaneKind::kFlat, 4, 16, 1}},
    {HAL_PIXEL_FORMAT_RAW16, {PlaneKind::kFlat, 2, 16, 1}},
    {HAL_PIXEL_FORMAT_DEPTH_16, {PlaneKind::kFlat, 2, 16, 1}},
    {HAL_PIXEL_FORMAT_BLOB, {PlaneKind::kFlat, 1, 1, 1}},  // width is the byte count
    {HAL_PIXEL_FORMAT_Y8, {PlaneKind::kLumaOnly, 1, 16, 1}},
    {HAL_PIXEL_FORMAT_Y16, {PlaneKind::kLumaOnly, 2, 16, 1}},
    {HAL_PIXEL_FORMAT_YCRCB_420_SP, {PlaneKind::kSemiPlanarCrCb, 1, 16, 2}},
    {HAL_PIXEL_FORMAT_YCBCR_420_888, {PlaneKind::kSemiPlanarCbCr, 1, 16, 2}},
    {HAL_PIXEL_FORMAT_IMPLEMENTATION_DEFINED, {PlaneKind::kSemiPlanarCbCr, 1, 16, 2}},
    {HAL_PIXEL_FORMAT_YCBCR_422_SP, {PlaneKind::kSemiPlanarCbCr, 1, 16, 1}},
    {HAL_PIXEL_FORMAT_YCBCR_P010, {PlaneKind::kSemiPlanarCbCr, 2, 16, 2}},
    {HAL_PIXEL_FORMAT_YV12, {PlaneKind::kPlanarCrCb, 1, 16, 2}},
    {HAL_PIXEL_FORMAT_YCBCR_422_I, {PlaneKind::kPackedYuyv, 2, 16, 1}},
};

uint64_t AlignUp(uint64_t value, uint64_t align) { return (value + align - 1) / align * align; }

uint64_t ChromaRows(const FormatLayout& layout, uint64_t height) {
    return (height + layout.chromaRowDivisor - 1) / layout.chromaRowDivisor;
}

// YV12 chroma rows are half the luma stride, again aligned to 16 bytes.
uint64_t PlanarChromaStride(uint64_t stride) { return AlignUp(stride / 2, 16); }

}  // namespace

const FormatLayout* FindFormatLayout(android::PixelFormat format) {
    for (const FormatEntry& entry : kFormats) {
        if (entry.format == format) return &entry.layout;
    }
    return nullptr;
}

uint64_t LayerBytes(const FormatLayout& layout, uint64_t stride, uint64_t height) {
    const uint64_t lumaBytes = stride * layout.bytesPerSample * height;
    switch (layout.kind) {
        case PlaneKind::kSemiPlanarCbCr:
        case PlaneKind::kSemiPlanarCrCb: return lumaBytes + stride * layout.bytesPerSample * ChromaRows(layout, height);
        case PlaneKind::kPlanarCrCb: return lumaBytes + 2 * PlanarChromaStride(stride) * ChromaRows(layout, height);
        default: return lumaBytes;
    }
}

void FillPlanes(const FormatLayout& layout, uint8_t* base, uint32_t stride, uint32_t height, android_ycbcr* ycbcr) {
    const size_t ystride = static_cast<size_t>(stride) * layout.bytesPerSample;
    uint8_t* const chroma = base + ystride * height;
    std::memset(ycbcr, 0, sizeof(*ycbcr));
    if (layout.kind == PlaneKind::kFlat) return;
    ycbcr->y = base;
    ycbcr->ystride = ystride;
    switch (layout.kind) {
        case PlaneKind::kFlat:
        case PlaneKind::kLumaOnly: break;
        case PlaneKind::kSemiPlanarCbCr:
            ycbcr->cb = chroma;
            ycbcr->cr = chroma + layout.bytesPerSample;
            ycbcr->cstride = ystride;
            ycbcr->chroma_step = 2 * layout.bytesPerSample;
            break;
        case PlaneKind::kSemiPlanarCrCb:
            ycbcr->cr = chroma;
            ycbcr->cb = chroma + layout.bytesPerSample;
            ycbcr->cstride = ystride;
            ycbcr->chroma_step = 2 * layout.bytesPerSample;
            break;
        case PlaneKind::kPlanarCrCb:
            ycbcr->cstride = PlanarChromaStride(stride);
            ycbcr->cr = chroma;
            ycbcr->cb = chroma + ycbcr->cstride * ChromaRows(layout, height);
            ycbcr->chroma_step = 1;
            break;
        case PlaneKind::kPackedYuyv:
            ycbcr->cb = base + 1;
            ycbcr->cr = base + 3;
            ycbcr->cstride = ystride;
            ycbcr->chroma_step = 4;
            break;
    }
}

void LockedSizes(const FormatLayout& layout, uint32_t stride, int32_t* bytesPerPixel, int32_t* bytesPerStride) {
    const int32_t sample = static_cast<int32_t>(layout.bytesPerSample);
    const int32_t ystride = static_cast<int32_t>(stride) * sample;
    *bytesPerPixel = sample;
    *bytesPerStride = ystride;
    // Interleaved chroma samples are twice as wide as luma ones; planar chroma
    // rows are narrower than luma rows.
    if (layout.kind == PlaneKind::kSemiPlanarCbCr || layout.kind == PlaneKind::kSemiPlanarCrCb) *bytesPerPixel = -1;
    if (layout.kind == PlaneKind::kPlanarCrCb) *bytesPerStride = -1;
}

}  // namespace ui
}  // namespace zelkov_platform

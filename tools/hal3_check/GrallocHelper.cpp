#include "GrallocHelper.h"

#include <ui/GraphicBufferAllocator.h>
#include <ui/GraphicBufferMapper.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace hal3_check {

using android::GraphicBufferAllocator;
using android::GraphicBufferMapper;
using android::Rect;

std::string GrallocHelper::Allocate(uint32_t width, uint32_t height, int format, uint64_t usage, GrallocBuffer* out) {
    uint32_t stride = 0;
    *out = GrallocBuffer{nullptr, width, height, format, usage};
    int rc =
        GraphicBufferAllocator::get().allocate(width, height, format, 1, usage, &out->handle, &stride, "hal3_check");
    return rc == 0 ? ""
                   : "gralloc allocate " + std::to_string(width) + "x" + std::to_string(height) +
                         " failed: " + std::to_string(rc);
}

void GrallocHelper::Free(GrallocBuffer* buffer) {
    if (buffer->handle != nullptr) GraphicBufferAllocator::get().free(buffer->handle);
    buffer->handle = nullptr;
}

namespace {

// Locks a YUV buffer and hands its planes to `read`.
template <typename Read>
bool WithYCbCr(const GrallocBuffer& b, Read read) {
    android_ycbcr ycbcr{};
    Rect bounds(int(b.width), int(b.height));
    if (GraphicBufferMapper::get().lockYCbCr(b.handle, uint32_t(kUsageSwReadOften), bounds, &ycbcr) != 0) return false;
    bool ok = ycbcr.y != nullptr && ycbcr.cb != nullptr && ycbcr.cr != nullptr;
    if (ok) read(ycbcr);
    GraphicBufferMapper::get().unlock(b.handle);
    return ok;
}

uint8_t Clamp(int v) { return uint8_t(std::clamp(v, 0, 255)); }

// Y, Cb and Cr of pixel (x, y) of locked 4:2:0 planes.
std::array<uint8_t, 3> Sample(const android_ycbcr& p, uint32_t x, uint32_t y) {
    size_t c = (y / 2) * p.cstride + (x / 2) * p.chroma_step;
    return {static_cast<const uint8_t*>(p.y)[y * p.ystride + x], static_cast<const uint8_t*>(p.cb)[c],
            static_cast<const uint8_t*>(p.cr)[c]};
}

}  // namespace

bool GrallocHelper::ReadLuma(const GrallocBuffer& b, uint32_t rows, std::vector<uint8_t>* luma) {
    rows = std::min(rows, b.height);
    return WithYCbCr(b, [&](const android_ycbcr& p) {
        luma->resize(size_t(b.width) * rows);
        for (uint32_t y = 0; y < rows; ++y)
            memcpy(luma->data() + size_t(y) * b.width, static_cast<const uint8_t*>(p.y) + y * p.ystride, b.width);
    });
}

bool GrallocHelper::ReadRgb(const GrallocBuffer& b, std::vector<uint8_t>* rgb) {
    return WithYCbCr(b, [&](const android_ycbcr& p) {
        rgb->resize(size_t(b.width) * b.height * 3);
        for (uint32_t y = 0; y < b.height; ++y)
            for (uint32_t x = 0; x < b.width; ++x) {
                std::array<uint8_t, 3> s = Sample(p, x, y);
                int l = s[0], u = s[1] - 128, v = s[2] - 128;  // BT.601 full range
                uint8_t* out = rgb->data() + (size_t(y) * b.width + x) * 3;
                out[0] = Clamp(l + (1402 * v) / 1000);
                out[1] = Clamp(l - (344 * u + 714 * v) / 1000);
                out[2] = Clamp(l + (1772 * u) / 1000);
            }
    });
}

bool GrallocHelper::ReadYCbCrRow(const GrallocBuffer& b, uint32_t row, std::vector<uint8_t>* ycbcr) {
    if (row >= b.height) return false;
    return WithYCbCr(b, [&](const android_ycbcr& p) {
        ycbcr->clear();
        for (uint32_t x = 0; x < b.width; ++x) {
            std::array<uint8_t, 3> s = Sample(p, x, row);
            ycbcr->insert(ycbcr->end(), s.begin(), s.end());
        }
    });
}

bool GrallocHelper::ReadBytes(const GrallocBuffer& b, std::vector<uint8_t>* bytes) {
    void* data = nullptr;
    Rect bounds(int(b.width), int(b.height));
    if (GraphicBufferMapper::get().lock(b.handle, uint32_t(kUsageSwReadOften), bounds, &data) != 0) return false;
    bytes->assign(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + size_t(b.width) * b.height);
    GraphicBufferMapper::get().unlock(b.handle);
    return true;
}

}  // namespace hal3_check

#include "android/buffer/internal/ZelBufferHandler.h"

#include <cstddef>

#include <system/graphics.h>
#include <ui/GraphicBufferAllocator.h>
#include <ui/GraphicBufferMapper.h>
#include <ui/Rect.h>

#include <android/constants/PixelFormatConstants.h>

namespace zelkov {

// The camera core's records must match the platform's, field for field.
static_assert(sizeof(ZelRect) == sizeof(android::Rect), "ZelRect is laid out as android::Rect");
static_assert(offsetof(ZelRect, bottom) == offsetof(android::Rect, bottom), "ZelRect is laid out as android::Rect");
static_assert(offsetof(ZelYCbCrLayout, chroma_step) == offsetof(android_ycbcr, chroma_step),
              "the first six fields of ZelYCbCrLayout are those of android_ycbcr");

namespace {

android::Rect ToPlatformRect(const ZelRect& bounds) {
    return android::Rect(bounds.left, bounds.top, bounds.right, bounds.bottom);
}

int ToResult(android::status_t status) { return status == android::NO_ERROR ? 0 : 1; }

}  // namespace

ZelBufferHandler::ZelBufferHandler(android::GraphicBufferMapper* mapper, android::GraphicBufferAllocator* allocator)
    : m_mapper(mapper), m_allocator(allocator) {}

ZelBufferHandler::~ZelBufferHandler() = default;

int ZelBufferHandler::Lock(const native_handle* handle, unsigned int usage, const ZelRect& bounds, void** vaddr,
                           int* outBytesPerPixel, int* outBytesPerStride) {
    return ToResult(m_mapper->lock(handle, usage, ToPlatformRect(bounds), vaddr, outBytesPerPixel, outBytesPerStride));
}

int ZelBufferHandler::LockYCbCr(const native_handle* handle, unsigned int usage, const ZelRect& bounds,
                                ZelYCbCrLayout* layout) {
    android_ycbcr ycbcr{};
    if (m_mapper->lockYCbCr(handle, usage, ToPlatformRect(bounds), &ycbcr) != android::NO_ERROR) return 1;
    layout->y = ycbcr.y;
    layout->cb = ycbcr.cb;
    layout->cr = ycbcr.cr;
    layout->ystride = ycbcr.ystride;
    layout->cstride = ycbcr.cstride;
    layout->chroma_step = ycbcr.chroma_step;
    layout->yuvFormat = FindYuvFormat(ycbcr.cb, ycbcr.cr, static_cast<unsigned int>(ycbcr.chroma_step));
    // A lock without a single plane is of no use to the caller; the buffer
    // nevertheless stays locked.
    const bool noPlanes = ycbcr.y == nullptr && ycbcr.cb == nullptr && ycbcr.cr == nullptr;
    return noPlanes ? 1 : 0;
}

int ZelBufferHandler::Unlock(const native_handle* handle) { return ToResult(m_mapper->unlock(handle)); }

int ZelBufferHandler::Allocate(unsigned int width, unsigned int height, int format, unsigned int layerCount,
                               unsigned long long usage, const native_handle** outHandle, unsigned int* outStride,
                               const std::string& requestorName) {
    return ToResult(
        m_allocator->allocate(width, height, format, layerCount, usage, outHandle, outStride, requestorName));
}

int ZelBufferHandler::Free(const native_handle* handle) { return ToResult(m_allocator->free(handle)); }

ZelRect ZelBufferHandler::GetAccessRegion(const native_handle* handle, int format, int width, int height,
                                          int opaqueWidth, int opaqueHeight) {
    // A failed query leaves its answer at 0, which counts as unknown.
    uint64_t bufferWidth = 0;
    uint64_t bufferHeight = 0;
    m_mapper->getWidth(handle, &bufferWidth);
    m_mapper->getHeight(handle, &bufferHeight);
    if (bufferWidth != 0 && bufferHeight != 0) {
        return ZelRect{0, 0, static_cast<int32_t>(bufferWidth), static_cast<int32_t>(bufferHeight)};
    }
    if (format == GET_HAL_PIXEL_FORMAT_BLOB() || format == GET_HAL_PIXEL_FORMAT_RAW_OPAQUE()) {
        return ZelRect{0, 0, opaqueWidth, opaqueHeight};
    }
    return ZelRect{0, 0, width, height};
}

}  // namespace zelkov

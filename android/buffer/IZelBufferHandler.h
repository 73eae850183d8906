#ifndef ZELKOV_ANDROID_BUFFER_I_ZEL_BUFFER_HANDLER_H
#define ZELKOV_ANDROID_BUFFER_I_ZEL_BUFFER_HANDLER_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <android/ZelExport.h>
#include <android/wrappers/Records.h>

namespace zelkov {

// A rectangle in pixels, laid out as the platform's android::Rect; right and
// bottom are exclusive.
struct ZelRect {
    std::int32_t left;
    std::int32_t top;
    std::int32_t right;
    std::int32_t bottom;
};

// The planes of a buffer locked as YCbCr. The first six fields are the
// platform's; yuvFormat is FindYuvFormat(cb, cr, chroma_step).
struct ZelYCbCrLayout {
    void* y;
    void* cb;
    void* cr;
    std::size_t ystride;      // bytes from one luma row to the next
    std::size_t cstride;      // bytes from one chroma row to the next
    std::size_t chroma_step;  // bytes from one chroma sample to the next in a row
    std::int32_t yuvFormat;
};

// Graphics-buffer services over the platform's process-wide mapper and
// allocator. Every int result is 0 for success and 1 for any failure.
// The virtual slot order is part of the interface.
class ZEL_EXPORT IZelBufferHandler {
public:
    virtual ~IZelBufferHandler();

    virtual int Lock(const native_handle* handle, unsigned int usage, const ZelRect& bounds, void** vaddr,
                     int* outBytesPerPixel, int* outBytesPerStride) = 0;
    // Also 1 when the platform locks the buffer but reports no plane at all;
    // `layout` is then filled (its pointers null) and the buffer stays locked.
    // On a platform failure `layout` is left untouched.
    virtual int LockYCbCr(const native_handle* handle, unsigned int usage, const ZelRect& bounds,
                          ZelYCbCrLayout* layout) = 0;
    virtual int Unlock(const native_handle* handle) = 0;
    virtual int Allocate(unsigned int width, unsigned int height, int format, unsigned int layerCount,
                         unsigned long long usage, const native_handle** outHandle, unsigned int* outStride,
                         const std::string& requestorName) = 0;
    virtual int Free(const native_handle* handle) = 0;
    // The region CPU access should cover, anchored at (0, 0): the buffer's own
    // size when the platform knows it, else opaqueWidth x opaqueHeight for
    // BLOB and RAW_OPAQUE formats, else width x height.
    virtual ZelRect GetAccessRegion(const native_handle* handle, int format, int width, int height, int opaqueWidth,
                                    int opaqueHeight) = 0;

    // A new handler owned by the caller; never null.
    static IZelBufferHandler* Create();

    // Names the chroma arrangement of locked YCbCr planes:
    //   0    step 2, cr == cb + 1 (interleaved, Cb first)
    //   1    step 2, cb == cr + 1 (interleaved, Cr first)
    //   2    step 1, cr below cb (separate planes, Cr plane first)
    //   3    step 1, cr not below cb (separate planes, Cb plane first)
    //   5    step 4, cr == cb + 2 (a Cb and a Cr sample in every 4 bytes)
    //   1000 anything else
    static int FindYuvFormat(void* cb, void* cr, unsigned int chromaStep);
};

}  // namespace zelkov

#endif

#ifndef ZELKOV_ANDROID_BUFFER_INTERNAL_ZEL_BUFFER_HANDLER_H
#define ZELKOV_ANDROID_BUFFER_INTERNAL_ZEL_BUFFER_HANDLER_H

#include <android/buffer/IZelBufferHandler.h>

namespace android {
class GraphicBufferMapper;
class GraphicBufferAllocator;
}  // namespace android

namespace zelkov {

// Forwards each operation to the platform's mapper or allocator and reduces
// their status to 0 or 1. Neither platform object is owned.
class ZelBufferHandler : public IZelBufferHandler {
public:
    ZelBufferHandler(android::GraphicBufferMapper* mapper, android::GraphicBufferAllocator* allocator);
    ~ZelBufferHandler() override;

    int Lock(const native_handle* handle, unsigned int usage, const ZelRect& bounds, void** vaddr,
             int* outBytesPerPixel, int* outBytesPerStride) override;
    int LockYCbCr(const native_handle* handle, unsigned int usage, const ZelRect& bounds,
                  ZelYCbCrLayout* layout) override;
    int Unlock(const native_handle* handle) override;
    int Allocate(unsigned int width, unsigned int height, int format, unsigned int layerCount, unsigned long long usage,
                 const native_handle** outHandle, unsigned int* outStride, const std::string& requestorName) override;
    int Free(const native_handle* handle) override;
    ZelRect GetAccessRegion(const native_handle* handle, int format, int width, int height, int opaqueWidth,
                            int opaqueHeight) override;

private:
    android::GraphicBufferMapper* m_mapper;
    android::GraphicBufferAllocator* m_allocator;
};

}  // namespace zelkov

#endif

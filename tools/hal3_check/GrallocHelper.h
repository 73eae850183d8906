#ifndef HAL3_CHECK_GRALLOC_HELPER_H
#define HAL3_CHECK_GRALLOC_HELPER_H
// Buffers for the HAL's output streams, allocated and read through the
// platform's gralloc (libui), as the camera service's buffer queues do.

#include <hardware/camera3.h>
#include <system/graphics.h>

#include <cstdint>
#include <string>
#include <vector>

namespace hal3_check {

// gralloc usage bits (GRALLOC_USAGE_*, the same in BufferUsage).
constexpr uint64_t kUsageSwReadOften = 0x3;
constexpr uint64_t kUsageSwWriteOften = 0x30;
constexpr uint64_t kUsageHwTexture = 0x100;
constexpr uint64_t kUsageHwComposer = 0x800;
constexpr uint64_t kUsageHwVideoEncoder = 0x10000;
constexpr uint64_t kUsageCameraWrite = 0x20000;

struct GrallocBuffer {
    buffer_handle_t handle = nullptr;
    uint32_t width = 0, height = 0;  // a BLOB buffer is width x height bytes
    int format = 0;
    uint64_t usage = 0;
};

class GrallocHelper {
public:
    // Allocates; "" on success, else the reason.
    static std::string Allocate(uint32_t width, uint32_t height, int format, uint64_t usage, GrallocBuffer* out);
    static void Free(GrallocBuffer* buffer);
    // The first `rows` rows of the luma plane, `width` bytes per row.
    static bool ReadLuma(const GrallocBuffer& b, uint32_t rows, std::vector<uint8_t>* luma);
    // Row `row` as Y, Cb, Cr bytes per pixel.
    static bool ReadYCbCrRow(const GrallocBuffer& b, uint32_t row, std::vector<uint8_t>* ycbcr);
    // The picture as 8-bit RGB, for dumps.
    static bool ReadRgb(const GrallocBuffer& b, std::vector<uint8_t>* rgb);
    static bool ReadBytes(const GrallocBuffer& b, std::vector<uint8_t>* bytes);
};

}  // namespace hal3_check

#endif  // HAL3_CHECK_GRALLOC_HELPER_H

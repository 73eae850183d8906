#include <ui/PixelFormat.h>

namespace android {

uint32_t bytesPerPixel(PixelFormat format) {
    switch (format) {
        case PIXEL_FORMAT_RGBA_FP16: return 8;
        case PIXEL_FORMAT_RGBA_8888:
        case PIXEL_FORMAT_RGBX_8888:
        case PIXEL_FORMAT_BGRA_8888:
        case PIXEL_FORMAT_RGBA_1010102: return 4;
        case PIXEL_FORMAT_RGB_888: return 3;
        case PIXEL_FORMAT_RGB_565:
        case PIXEL_FORMAT_RGBA_5551:
        case PIXEL_FORMAT_RGBA_4444: return 2;
        case PIXEL_FORMAT_R_8: return 1;
    }
    return 0;
}

}  // namespace android

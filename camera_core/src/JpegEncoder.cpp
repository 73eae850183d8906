#include "JpegEncoder.h"

#include <cstdio>  // jpeglib.h needs FILE
#include <cstdlib>
#include <cstring>
#include <vector>

#include <jpeglib.h>

#include <android/constants/CameraConstants.h>
#include <android/wrappers/ZelCamera3Request.h>

namespace camera_core {

bool JpegEncoder::EncodeToBlob(const PlaneView& picture, int quality, uint8_t* blob, size_t blobSize) {
    const size_t trailerSize = zelkov::ZelCamera3JpegBlob::Size();
    if (blobSize <= trailerSize) return false;

    jpeg_compress_struct cinfo{};
    jpeg_error_mgr errors{};
    cinfo.err = jpeg_std_error(&errors);
    jpeg_create_compress(&cinfo);
    unsigned char* encoded = nullptr;
    unsigned long encodedSize = 0;
    jpeg_mem_dest(&cinfo, &encoded, &encodedSize);
    cinfo.image_width = picture.width;
    cinfo.image_height = picture.height;
    cinfo.input_components = 3;
    cinfo.in_color_space = JCS_YCbCr;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, quality, TRUE);
    jpeg_start_compress(&cinfo, TRUE);
    std::vector<uint8_t> line(size_t{picture.width} * 3);
    while (cinfo.next_scanline < cinfo.image_height) {
        const uint32_t row = cinfo.next_scanline;
        const uint8_t* y = picture.y + row * picture.yStride;
        const uint8_t* cb = picture.cb + (row / 2) * picture.cStride;
        const uint8_t* cr = picture.cr + (row / 2) * picture.cStride;
        for (uint32_t x = 0; x < picture.width; ++x) {
            line[x * 3] = y[x];
            line[x * 3 + 1] = cb[(x / 2) * picture.chromaStep];
            line[x * 3 + 2] = cr[(x / 2) * picture.chromaStep];
        }
        JSAMPROW rows[1] = {line.data()};
        jpeg_write_scanlines(&cinfo, rows, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);

    const bool fits = encodedSize <= blobSize - trailerSize;
    if (fits) {
        std::memcpy(blob, encoded, encodedSize);
        zelkov::ZelCamera3JpegBlob trailer;
        trailer.SetJpegBlobId(static_cast<unsigned short>(zelkov::GET_CAMERA3_JPEG_BLOB_ID()));
        trailer.SetJpegSize(static_cast<unsigned int>(encodedSize));
        // The record is copied byte for byte: the buffer's end need not be aligned.
        std::memcpy(blob + blobSize - trailerSize, trailer.Ptr(), trailerSize);
    }
    std::free(encoded);
    return fits;
}

}  // namespace camera_core

// JPEG output of a BLOB stream: libjpeg-turbo compresses the picture, with its
// EXIF block and thumbnail, into the start of the buffer, and the camera3 blob
// trailer at the buffer's very end tells the framework how many bytes are
// JPEG. A libjpeg error fails that picture only: it never ends the process.
#ifndef ZELKOV_CAMERA_CORE_JPEG_ENCODER_H
#define ZELKOV_CAMERA_CORE_JPEG_ENCODER_H

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <vector>

#include "PatternPainter.h"

namespace camera_core {

// What a request asks of its JPEG besides the quality.
struct JpegExif {
    int32_t orientationDegrees = 0;
    time_t captureTime = 0;
    uint32_t thumbnailWidth = 0;  // 0 x 0: no thumbnail
    uint32_t thumbnailHeight = 0;
    int thumbnailQuality = 85;
};

class JpegEncoder {
public:
    // False when libjpeg fails or the picture does not fit in front of the trailer.
    static bool EncodeToBlob(const PlaneView& picture, int quality, const JpegExif& exif, uint8_t* blob,
                             size_t blobSize);
    static bool EncodeToBlob(const PlaneView& picture, int quality, uint8_t* blob, size_t blobSize) {
        return EncodeToBlob(picture, quality, JpegExif{}, blob, blobSize);
    }

    // Compresses into out, with app1 (if any) as an APP1 marker; the JPEG's
    // size, or 0 on any libjpeg error or when it does not fit.
    static size_t Compress(const PlaneView& picture, int quality, const std::vector<uint8_t>& app1, uint8_t* out,
                           size_t capacity);

private:
    // The picture scaled to the thumbnail size (nearest sample), compressed.
    static std::vector<uint8_t> Thumbnail(const PlaneView& picture, const JpegExif& exif);
};

}  // namespace camera_core

#endif

// JPEG output of a BLOB stream: libjpeg-turbo compresses the picture into the
// start of the buffer, and the camera3 blob trailer at the buffer's very end
// tells the framework how many bytes are JPEG.
#ifndef ZELKOV_CAMERA_CORE_JPEG_ENCODER_H
#define ZELKOV_CAMERA_CORE_JPEG_ENCODER_H

#include <cstddef>
#include <cstdint>

#include "PatternPainter.h"

namespace camera_core {

class JpegEncoder {
public:
    // False when the picture does not fit in front of the trailer.
    static bool EncodeToBlob(const PlaneView& picture, int quality, uint8_t* blob, size_t blobSize);
};

}  // namespace camera_core

#endif

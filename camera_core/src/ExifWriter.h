// The EXIF block of a camera JPEG (an APP1 segment): orientation, the capture
// time and, when asked for, a JPEG thumbnail. Little-endian TIFF with IFD0,
// the Exif IFD and IFD1 for the thumbnail; only the tags written here.
#ifndef ZELKOV_CAMERA_CORE_EXIF_WRITER_H
#define ZELKOV_CAMERA_CORE_EXIF_WRITER_H

#include <cstdint>
#include <ctime>
#include <vector>

namespace camera_core {

struct ExifFields {
    int32_t orientationDegrees;  // android.jpeg.orientation: 0, 90, 180 or 270
    time_t captureTime;          // wall-clock seconds
};

class ExifWriter {
public:
    // The largest APP1 payload a JPEG marker holds.
    static constexpr size_t kMaxPayload = 65533;

    // The APP1 payload ("Exif\0\0" and the TIFF structure) as jpeg_write_marker
    // takes it; empty when the thumbnail makes it too large.
    static std::vector<uint8_t> Build(const ExifFields& fields, const std::vector<uint8_t>& thumbnailJpeg);

    // EXIF's orientation value (1, 6, 3, 8) for a clockwise rotation in degrees.
    static uint16_t Orientation(int32_t degrees);
};

}  // namespace camera_core

#endif

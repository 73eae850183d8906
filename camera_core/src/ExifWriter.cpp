#include "ExifWriter.h"

#include <cstring>

namespace camera_core {
namespace {

constexpr uint16_t kTypeShort = 3;
constexpr uint16_t kTypeAscii = 2;
constexpr uint16_t kTypeLong = 4;
constexpr uint16_t kTypeUndefined = 7;

constexpr uint16_t kTagCompression = 0x0103;
constexpr uint16_t kTagOrientation = 0x0112;
constexpr uint16_t kTagDateTime = 0x0132;
constexpr uint16_t kTagThumbnailOffset = 0x0201;
constexpr uint16_t kTagThumbnailLength = 0x0202;
constexpr uint16_t kTagExifIfd = 0x8769;
constexpr uint16_t kTagExifVersion = 0x9000;
constexpr uint16_t kTagDateTimeOriginal = 0x9003;
constexpr uint16_t kCompressionJpeg = 6;

constexpr uint8_t kHeader[] = {'E', 'x', 'i', 'f', 0, 0};

struct Field {
    uint16_t tag;
    uint16_t type;
    uint32_t count;
    std::vector<uint8_t> data;  // little-endian; up to 4 bytes sit in the entry itself
};

std::vector<uint8_t> Le16(uint16_t v) { return {uint8_t(v), uint8_t(v >> 8)}; }
std::vector<uint8_t> Le32(uint32_t v) { return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}; }

Field Short(uint16_t tag, uint16_t v) { return {tag, kTypeShort, 1, Le16(v)}; }
Field Long(uint16_t tag, uint32_t v) { return {tag, kTypeLong, 1, Le32(v)}; }
Field Ascii(uint16_t tag, const char* text) {
    std::vector<uint8_t> bytes(text, text + std::strlen(text) + 1);  // counted with its NUL
    return {tag, kTypeAscii, static_cast<uint32_t>(bytes.size()), bytes};
}

// Values longer than 4 bytes follow the entries, each at an even offset.
size_t OutOfLine(const Field& f) { return f.data.size() > 4 ? (f.data.size() + 1) & ~size_t{1} : 0; }

size_t IfdSize(const std::vector<Field>& fields) {
    size_t size = 2 + 12 * fields.size() + 4;
    for (const Field& f : fields) size += OutOfLine(f);
    return size;
}

// Writes an IFD at offset `at` of the TIFF block (offsets count from its start).
void WriteIfd(std::vector<uint8_t>& tiff, size_t at, const std::vector<Field>& fields, uint32_t next) {
    const auto put = [&tiff](size_t offset, const std::vector<uint8_t>& bytes) {
        std::memcpy(tiff.data() + offset, bytes.data(), bytes.size());
    };
    put(at, Le16(static_cast<uint16_t>(fields.size())));
    size_t data = at + 2 + 12 * fields.size() + 4;
    for (size_t i = 0; i < fields.size(); ++i) {
        const Field& f = fields[i];
        const size_t entry = at + 2 + 12 * i;
        put(entry, Le16(f.tag));
        put(entry + 2, Le16(f.type));
        put(entry + 4, Le32(f.count));
        if (OutOfLine(f) == 0) {
            put(entry + 8, f.data);
        } else {
            put(entry + 8, Le32(static_cast<uint32_t>(data)));
            put(data, f.data);
            data += OutOfLine(f);
        }
    }
    put(at + 2 + 12 * fields.size(), Le32(next));
}

}  // namespace

uint16_t ExifWriter::Orientation(int32_t degrees) {
    switch (((degrees % 360) + 360) % 360) {
        case 90: return 6;
        case 180: return 3;
        case 270: return 8;
        default: return 1;
    }
}

std::vector<uint8_t> ExifWriter::Build(const ExifFields& fields, const std::vector<uint8_t>& thumbnailJpeg) {
    char dateTime[20] = "0000:00:00 00:00:00";
    tm local{};
    if (localtime_r(&fields.captureTime, &local) != nullptr) {
        std::strftime(dateTime, sizeof dateTime, "%Y:%m:%d %H:%M:%S", &local);
    }
    const bool thumbnail = !thumbnailJpeg.empty();
    std::vector<Field> ifd0 = {Short(kTagOrientation, Orientation(fields.orientationDegrees)),
                               Ascii(kTagDateTime, dateTime), Long(kTagExifIfd, 0)};
    const std::vector<Field> exif = {{kTagExifVersion, kTypeUndefined, 4, {'0', '2', '2', '0'}},
                                     Ascii(kTagDateTimeOriginal, dateTime)};
    std::vector<Field> ifd1 = {Short(kTagCompression, kCompressionJpeg), Long(kTagThumbnailOffset, 0),
                               Long(kTagThumbnailLength, static_cast<uint32_t>(thumbnailJpeg.size()))};

    // Layout: header, IFD0, Exif IFD, then IFD1 and the thumbnail it points at.
    const size_t ifd0At = 8;
    const size_t exifAt = ifd0At + IfdSize(ifd0);
    const size_t ifd1At = exifAt + IfdSize(exif);
    const size_t thumbnailAt = ifd1At + IfdSize(ifd1);
    const size_t tiffSize = thumbnail ? thumbnailAt + thumbnailJpeg.size() : ifd1At;
    if (sizeof kHeader + tiffSize > kMaxPayload) return {};
    ifd0[2].data = Le32(static_cast<uint32_t>(exifAt));
    ifd1[1].data = Le32(static_cast<uint32_t>(thumbnailAt));

    std::vector<uint8_t> tiff(tiffSize, 0);
    const uint8_t tiffHeader[8] = {'I', 'I', 42, 0, uint8_t(ifd0At), 0, 0, 0};
    std::memcpy(tiff.data(), tiffHeader, sizeof tiffHeader);
    WriteIfd(tiff, ifd0At, ifd0, thumbnail ? static_cast<uint32_t>(ifd1At) : 0);
    WriteIfd(tiff, exifAt, exif, 0);
    if (thumbnail) {
        WriteIfd(tiff, ifd1At, ifd1, 0);
        std::memcpy(tiff.data() + thumbnailAt, thumbnailJpeg.data(), thumbnailJpeg.size());
    }
    std::vector<uint8_t> payload(kHeader, kHeader + sizeof kHeader);
    payload.insert(payload.end(), tiff.begin(), tiff.end());
    return payload;
}

}  // namespace camera_core

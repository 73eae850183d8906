#include "JpegEncoder.h"

#include <csetjmp>
#include <cstdio>  // jpeglib.h needs FILE
#include <cstring>
#include <memory>

#include <jpeglib.h>
#include <jerror.h>

#include <android/constants/CameraConstants.h>
#include <android/wrappers/ZelCamera3Request.h>

#include "ExifWriter.h"

namespace camera_core {
namespace {

// libjpeg's default error_exit calls exit(); this one jumps back to the encoder.
struct Session {
    jpeg_compress_struct cinfo{};
    jpeg_error_mgr errors{};
    jpeg_destination_mgr destination{};
    std::jmp_buf failed;
};

[[noreturn]] void JumpOut(j_common_ptr cinfo) {
    std::longjmp(reinterpret_cast<Session*>(cinfo->client_data)->failed, 1);
}

void Keep(j_compress_ptr) {}
// The output is one fixed buffer: running out of it is an error.
boolean Overflow(j_compress_ptr cinfo) {
    cinfo->err->msg_code = JERR_BUFFER_SIZE;
    cinfo->err->error_exit(reinterpret_cast<j_common_ptr>(cinfo));
    return FALSE;
}

}  // namespace

size_t JpegEncoder::Compress(const PlaneView& picture, int quality, const std::vector<uint8_t>& app1, uint8_t* out,
                             size_t capacity) {
    // Everything with a destructor lives outside the span setjmp may jump over.
    std::vector<uint8_t> line(size_t{picture.width} * 3);
    const auto session = std::make_unique<Session>();
    jpeg_compress_struct* cinfo = &session->cinfo;
    cinfo->err = jpeg_std_error(&session->errors);
    session->errors.error_exit = JumpOut;
    cinfo->client_data = session.get();
    if (setjmp(session->failed) != 0) {
        jpeg_destroy_compress(cinfo);
        return 0;
    }
    jpeg_create_compress(cinfo);
    session->destination.next_output_byte = out;
    session->destination.free_in_buffer = capacity;
    session->destination.init_destination = Keep;
    session->destination.empty_output_buffer = Overflow;
    session->destination.term_destination = Keep;
    cinfo->dest = &session->destination;
    cinfo->image_width = picture.width;
    cinfo->image_height = picture.height;
    cinfo->input_components = 3;
    cinfo->in_color_space = JCS_YCbCr;
    jpeg_set_defaults(cinfo);
    jpeg_set_quality(cinfo, quality, TRUE);
    cinfo->write_JFIF_header = app1.empty() ? TRUE : FALSE;  // an EXIF file opens with its APP1
    jpeg_start_compress(cinfo, TRUE);
    if (!app1.empty()) jpeg_write_marker(cinfo, JPEG_APP0 + 1, app1.data(), static_cast<unsigned int>(app1.size()));
    while (cinfo->next_scanline < cinfo->image_height) {
        const uint32_t row = cinfo->next_scanline;
        const uint8_t* y = picture.y + row * picture.yStride;
        const uint8_t* cb = picture.cb + (row / 2) * picture.cStride;
        const uint8_t* cr = picture.cr + (row / 2) * picture.cStride;
        for (uint32_t x = 0; x < picture.width; ++x) {
            line[x * 3] = y[x];
            line[x * 3 + 1] = cb[(x / 2) * picture.chromaStep];
            line[x * 3 + 2] = cr[(x / 2) * picture.chromaStep];
        }
        JSAMPROW rows[1] = {line.data()};
        jpeg_write_scanlines(cinfo, rows, 1);
    }
    jpeg_finish_compress(cinfo);
    const size_t size = capacity - session->destination.free_in_buffer;
    jpeg_destroy_compress(cinfo);
    return size;
}

std::vector<uint8_t> JpegEncoder::Thumbnail(const PlaneView& picture, const JpegExif& exif) {
    const uint32_t width = exif.thumbnailWidth;
    const uint32_t height = exif.thumbnailHeight;
    if (width == 0 || height == 0 || picture.width == 0 || picture.height == 0) return {};
    const size_t chromaWidth = (width + 1) / 2;
    const size_t chromaSize = chromaWidth * ((height + 1) / 2);
    std::vector<uint8_t> planes(size_t{width} * height + 2 * chromaSize);
    const PlaneView small{planes.data(),
                          planes.data() + size_t{width} * height,
                          planes.data() + size_t{width} * height + chromaSize,
                          width,
                          chromaWidth,
                          1,
                          width,
                          height};
    for (uint32_t row = 0; row < height; ++row) {
        const uint32_t from = row * picture.height / height;
        for (uint32_t x = 0; x < width; ++x) {
            small.y[row * small.yStride + x] = picture.y[from * picture.yStride + x * picture.width / width];
        }
        if (row % 2 != 0) continue;
        for (uint32_t x = 0; x < chromaWidth; ++x) {
            const size_t source =
                (from / 2) * picture.cStride + ((2 * x * picture.width / width) / 2) * picture.chromaStep;
            small.cb[(row / 2) * small.cStride + x] = picture.cb[source];
            small.cr[(row / 2) * small.cStride + x] = picture.cr[source];
        }
    }
    std::vector<uint8_t> jpeg(ExifWriter::kMaxPayload);
    jpeg.resize(Compress(small, exif.thumbnailQuality, {}, jpeg.data(), jpeg.size()));
    return jpeg;
}

bool JpegEncoder::EncodeToBlob(const PlaneView& picture, int quality, const JpegExif& exif, uint8_t* blob,
                               size_t blobSize) {
    const size_t trailerSize = zelkov::ZelCamera3JpegBlob::Size();
    if (blobSize <= trailerSize) return false;
    const ExifFields fields{exif.orientationDegrees, exif.captureTime};
    std::vector<uint8_t> app1 = ExifWriter::Build(fields, Thumbnail(picture, exif));
    if (app1.empty()) app1 = ExifWriter::Build(fields, {});  // a thumbnail too large for the block is left out
    const size_t encodedSize = Compress(picture, quality, app1, blob, blobSize - trailerSize);
    if (encodedSize == 0) return false;
    zelkov::ZelCamera3JpegBlob trailer;
    trailer.SetJpegBlobId(static_cast<unsigned short>(zelkov::GET_CAMERA3_JPEG_BLOB_ID()));
    trailer.SetJpegSize(static_cast<unsigned int>(encodedSize));
    // The record is copied byte for byte: the buffer's end need not be aligned.
    std::memcpy(blob + blobSize - trailerSize, trailer.Ptr(), trailerSize);
    return true;
}

}  // namespace camera_core

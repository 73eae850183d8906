// The JPEG blob and its EXIF block, read back by independent readers.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include <jpeglib.h>

#include "ExifWriter.h"
#include "Fixtures.h"
#include "JpegEncoder.h"
#include "PatternPainter.h"

namespace camera_core {
namespace {

// An NV12 picture with padded rows.
struct Picture {
    Picture(uint32_t width, uint32_t height) : data(size_t{width + 16} * height * 3 / 2, 0x55) {
        const size_t stride = width + 16;
        uint8_t* chroma = data.data() + stride * height;
        view = {data.data(), chroma, chroma + 1, stride, stride, 2, width, height};
    }
    std::vector<uint8_t> data;
    PlaneView view;
};

TEST(JpegEncoderTest, TheBlobIsAJpegOfThePictureWithTheTrailerAtTheBufferEnd) {
    Picture picture(320, 240);
    PatternPainter::PaintColorBars(picture.view);
    std::vector<uint8_t> blob(100000, 0);
    ASSERT_TRUE(JpegEncoder::EncodeToBlob(picture.view, 90, blob.data(), blob.size()));
    // As a framework reads it: the trailer's size counts a JPEG that decodes to the picture's size.
    std::vector<uint8_t> jpeg;
    for (const hal3_check::Finding& finding : hal3_check::CheckJpegBlob(blob, 320, 240, &jpeg))
        ADD_FAILURE() << hal3_check::Text(finding);
    ASSERT_FALSE(jpeg.empty());
    EXPECT_EQ(jpeg.back(), 0xd9) << "the size leaves out the end of image";

    // Too small a buffer is refused rather than overrun.
    std::vector<uint8_t> tiny(64, 0);
    EXPECT_FALSE(JpegEncoder::EncodeToBlob(picture.view, 90, tiny.data(), tiny.size()));
}

// An independent reader of the little-endian TIFF in an APP1 payload: the
// value of a SHORT or LONG tag in the IFD at `ifd`, and the next IFD's offset.
uint32_t Le(const uint8_t* p, int bytes) {
    uint32_t v = 0;
    for (int i = bytes - 1; i >= 0; --i) v = (v << 8) | p[i];
    return v;
}

bool FindTag(const std::vector<uint8_t>& tiff, uint32_t ifd, uint16_t tag, uint32_t* value) {
    const uint32_t count = Le(&tiff[ifd], 2);
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t* entry = &tiff[ifd + 2 + 12 * i];
        if (Le(entry, 2) != tag) continue;
        *value = Le(entry + 8, Le(entry + 2, 2) == 3 ? 2 : 4);
        return true;
    }
    return false;
}

TEST(JpegEncoderTest, ExifCarriesOrientationTimeAndTheRequestedThumbnail) {
    Picture picture(320, 240);
    PatternPainter::PaintColorBars(picture.view);
    const struct {
        int32_t degrees;
        uint32_t orientation;
        uint32_t thumbWidth, thumbHeight;
    } kCases[] = {{0, 1, 160, 120}, {90, 6, 96, 96}, {180, 3, 0, 0}, {270, 8, 160, 120}};
    for (const auto& c : kCases) {
        JpegExif exif;
        exif.orientationDegrees = c.degrees;
        exif.captureTime = 86400 * 400;  // February 1971 in any time zone
        exif.thumbnailWidth = c.thumbWidth;
        exif.thumbnailHeight = c.thumbHeight;
        std::vector<uint8_t> blob(200000, 0);
        ASSERT_TRUE(JpegEncoder::EncodeToBlob(picture.view, 90, exif, blob.data(), blob.size()));
        EXPECT_EQ(blob[2], 0xff);
        EXPECT_EQ(blob[3], 0xe1) << "the EXIF APP1 does not follow the start of image";

        jpeg_decompress_struct cinfo{};
        jpeg_error_mgr errors{};
        cinfo.err = jpeg_std_error(&errors);
        jpeg_create_decompress(&cinfo);
        jpeg_mem_src(&cinfo, blob.data(), blob.size());
        jpeg_save_markers(&cinfo, JPEG_APP0 + 1, 0xffff);
        ASSERT_EQ(jpeg_read_header(&cinfo, TRUE), JPEG_HEADER_OK);
        ASSERT_NE(cinfo.marker_list, nullptr) << c.degrees;
        const jpeg_saved_marker_ptr app1 = cinfo.marker_list;
        ASSERT_EQ(std::memcmp(app1->data, "Exif\0\0II*\0", 10), 0);
        const std::vector<uint8_t> tiff(app1->data + 6, app1->data + app1->data_length);
        jpeg_destroy_decompress(&cinfo);

        const uint32_t ifd0 = Le(&tiff[4], 4);
        uint32_t value = 0;
        ASSERT_TRUE(FindTag(tiff, ifd0, 0x0112, &value));
        EXPECT_EQ(value, c.orientation) << c.degrees;
        ASSERT_TRUE(FindTag(tiff, ifd0, 0x0132, &value));
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(&tiff[value]), 5), "1971:") << c.degrees;
        const uint32_t ifd1 = Le(&tiff[ifd0 + 2 + 12 * Le(&tiff[ifd0], 2)], 4);
        if (c.thumbWidth == 0) {
            EXPECT_EQ(ifd1, 0u) << "a thumbnail nobody asked for";
            continue;
        }
        uint32_t offset = 0;
        uint32_t length = 0;
        ASSERT_NE(ifd1, 0u);
        ASSERT_TRUE(FindTag(tiff, ifd1, 0x0201, &offset));
        ASSERT_TRUE(FindTag(tiff, ifd1, 0x0202, &length));
        ASSERT_LE(offset + length, tiff.size());
        jpeg_create_decompress(&cinfo);
        jpeg_mem_src(&cinfo, &tiff[offset], length);
        ASSERT_EQ(jpeg_read_header(&cinfo, TRUE), JPEG_HEADER_OK);
        EXPECT_EQ(cinfo.image_width, c.thumbWidth);
        EXPECT_EQ(cinfo.image_height, c.thumbHeight);
        jpeg_destroy_decompress(&cinfo);
    }
}

TEST(JpegEncoderTest, ALibjpegErrorFailsThePictureAndTheProcessGoesOn) {
    Picture picture(64, 48);
    PlaneView empty = picture.view;
    empty.width = 0;  // libjpeg refuses an empty image through its error handler
    std::vector<uint8_t> blob(100000, 0);
    EXPECT_FALSE(JpegEncoder::EncodeToBlob(empty, 90, blob.data(), blob.size()));
    EXPECT_EQ(JpegEncoder::Compress(empty, 90, {}, blob.data(), blob.size()), 0u);
    // Running out of room mid-picture is an error too, not an overrun.
    EXPECT_EQ(JpegEncoder::Compress(picture.view, 90, {}, blob.data(), 200), 0u);
    EXPECT_GT(JpegEncoder::Compress(picture.view, 90, {}, blob.data(), blob.size()), 0u);
}

}  // namespace
}  // namespace camera_core

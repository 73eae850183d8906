#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include <jpeglib.h>

#include <android/constants/CameraConstants.h>
#include <android/wrappers/ZelCamera3Request.h>

#include "JpegEncoder.h"
#include "PatternPainter.h"

namespace camera_core {
namespace {

// A picture in one of the platform's 4:2:0 layouts, with padded strides.
struct Picture {
    Picture(uint32_t width, uint32_t height, size_t chromaStep, bool crFirst)
        : data(size_t{width + 16} * height * 2, 0x55) {
        const size_t yStride = width + 16;
        uint8_t* chroma = data.data() + yStride * height;
        const size_t cStride = chromaStep == 2 ? yStride : yStride / 2;
        uint8_t* first = chroma;
        uint8_t* second = chromaStep == 2 ? chroma + 1 : chroma + cStride * ((height + 1) / 2);
        view = {data.data(), crFirst ? second : first, crFirst ? first : second, yStride, cStride, chromaStep,
                width, height};
    }
    std::vector<uint8_t> data;
    PlaneView view;
};

TEST(PatternPainterTest, FrameNumberReadsBackInEveryLayoutAndSize) {
    const struct {
        uint32_t width, height;
        size_t chromaStep;
        bool crFirst;
        uint32_t frame;
    } kCases[] = {
        {320, 240, 2, false, 0},           // NV12 / flexible
        {320, 240, 2, true, 0xa5a5a5a5u},  // NV21
        {160, 120, 1, true, 12345},        // YV12
        {1920, 1080, 2, false, 0xffffffffu},
        {64, 48, 1, false, 1},  // two columns per block
    };
    for (const auto& c : kCases) {
        Picture picture(c.width, c.height, c.chromaStep, c.crFirst);
        PatternPainter::PaintFrameNumber(picture.view, c.frame);
        EXPECT_EQ(PatternPainter::DecodeFrameNumber(picture.view), c.frame) << c.width << "x" << c.height;
        EXPECT_EQ(picture.view.cr[0], 128);
        // The padding after each row is left alone.
        EXPECT_EQ(picture.view.y[c.width], 0x55);
    }
}

TEST(JpegEncoderTest, TrailerSitsAtTheBufferEndAndCountsTheJpegBytes) {
    Picture picture(320, 240, 2, false);
    PatternPainter::PaintColorBars(picture.view);
    std::vector<uint8_t> blob(100000, 0);
    ASSERT_TRUE(JpegEncoder::EncodeToBlob(picture.view, 90, blob.data(), blob.size()));

    zelkov::ZelCamera3JpegBlob trailer;
    std::memcpy(trailer.Ptr(), blob.data() + blob.size() - zelkov::ZelCamera3JpegBlob::Size(),
                zelkov::ZelCamera3JpegBlob::Size());
    EXPECT_EQ(trailer.GetJpegBlobId(), zelkov::GET_CAMERA3_JPEG_BLOB_ID());
    const unsigned int size = trailer.GetJpegSize();
    ASSERT_GT(size, 4u);
    ASSERT_LT(size, blob.size());
    EXPECT_EQ(blob[0], 0xff);
    EXPECT_EQ(blob[1], 0xd8);  // start of image
    EXPECT_EQ(blob[size - 2], 0xff);
    EXPECT_EQ(blob[size - 1], 0xd9);  // end of image: the size counts it

    // The counted bytes decode to the picture's size.
    jpeg_decompress_struct cinfo{};
    jpeg_error_mgr errors{};
    cinfo.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&cinfo);
    jpeg_mem_src(&cinfo, blob.data(), size);
    ASSERT_EQ(jpeg_read_header(&cinfo, TRUE), JPEG_HEADER_OK);
    EXPECT_EQ(cinfo.image_width, 320u);
    EXPECT_EQ(cinfo.image_height, 240u);
    jpeg_destroy_decompress(&cinfo);

    // Too small a buffer is refused rather than overrun.
    std::vector<uint8_t> tiny(64, 0);
    EXPECT_FALSE(JpegEncoder::EncodeToBlob(picture.view, 90, tiny.data(), tiny.size()));
}

}  // namespace
}  // namespace camera_core

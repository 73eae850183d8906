// Every getter against the expectation table generated from the constant
// tables (ConstantExpectations.inc, written by gen_constant_expectations.py),
// then the relations between constants that the tables only imply.
#include <cstdint>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <android/constants/CameraConstants.h>
#include <android/constants/DataspaceConstants.h>
#include <android/constants/DisplayConstants.h>
#include <android/constants/GrallocUsageConstants.h>
#include <android/constants/PixelFormatConstants.h>

using namespace zelkov;

namespace {

struct Observed {
    const char* name;
    std::uint64_t expected;
    std::size_t expectedWidth;
    std::uint64_t bits;  // the result's bit pattern, zero-extended
    std::size_t width;   // sizeof the result type
};

// The result's bits as stored, without sign extension.
template <typename R>
std::uint64_t Bits(R value) {
    static_assert(std::is_integral<R>::value, "getters return integers");
    return static_cast<std::uint64_t>(static_cast<typename std::make_unsigned<R>::type>(value));
}

std::vector<Observed> ObserveAll() {
    std::vector<Observed> rows;
#define ZEL_EXPECT_CONSTANT(getter, value, width) \
    rows.push_back({#getter, value, width, Bits(getter()), sizeof(decltype(getter()))});
#include "ConstantExpectations.inc"
#undef ZEL_EXPECT_CONSTANT
    return rows;
}

TEST(ConstantsTest, EveryGetterReturnsItsValueWithItsWidth) {
    const std::vector<Observed> rows = ObserveAll();
    ASSERT_EQ(rows.size(), 219u);
    ASSERT_EQ(rows.size(), static_cast<std::size_t>(ZEL_EXPECTED_CONSTANT_COUNT));
    std::set<std::string> names;
    for (const Observed& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_TRUE(names.insert(row.name).second) << "listed twice";
        EXPECT_EQ(row.width, row.expectedWidth);
        EXPECT_EQ(row.bits, row.expected) << std::hex << "got 0x" << row.bits << ", want 0x" << row.expected;
    }
}

TEST(ConstantsTest, DeviceStateNeedsAllSixtyFourBits) {
    const unsigned long long vendorStart = GET_DEV_STATE_VENDOR_STATE_START();
    EXPECT_EQ(vendorStart >> 32, 1u);
    EXPECT_EQ(static_cast<std::uint32_t>(vendorStart), 0u);
    static_assert(std::is_same<decltype(GET_DEV_STATE_FOLDED()), unsigned long long>::value, "64-bit result");
}

TEST(ConstantsTest, CountGettersAreOneAboveTheLargestValue) {
    EXPECT_EQ(GET_CAMERA3_NUM_MESSAGES(), GET_CAMERA3_MSG_SHUTTER() + 1);
    EXPECT_EQ(GET_CAMERA3_MSG_NUM_ERRORS(), GET_CAMERA3_MSG_ERROR_BUFFER() + 1);
    EXPECT_EQ(GET_CAMERA3_TEMPLATE_COUNT(), GET_CAMERA3_TEMPLATE_MANUAL() + 1);
    EXPECT_EQ(GET_CAMERA3_NUM_STREAM_TYPES(), GET_CAMERA3_STREAM_BIDIRECTIONAL() + 1);
    EXPECT_EQ(GET_CAMERA3_BUF_REQ_NUM_STATUS(), GET_CAMERA3_BUF_REQ_FAILED_UNKNOWN() + 1);
    EXPECT_EQ(GET_CAMERA3_PS_BUF_REQ_NUM_STATUS(), GET_CAMERA3_PS_BUF_REQ_UNKNOWN_ERROR() + 1);
}

// Each named composite dataspace, split with the field masks and shifts,
// gives back the standard, transfer and range it is made of.
TEST(ConstantsTest, CompositeDataspacesSplitIntoTheirFields) {
    using Getter = int (*)();
    struct Composite {
        const char* name;
        Getter dataspace, standard, transfer, range;
    };
    const Composite composites[] = {
        {"V0_SRGB_LINEAR", GET_HAL_DATASPACE_V0_SRGB_LINEAR, GET_HAL_DATASPACE_STANDARD_BT709,
         GET_HAL_DATASPACE_TRANSFER_LINEAR, GET_HAL_DATASPACE_RANGE_FULL},
        {"V0_SCRGB_LINEAR", GET_HAL_DATASPACE_V0_SCRGB_LINEAR, GET_HAL_DATASPACE_STANDARD_BT709,
         GET_HAL_DATASPACE_TRANSFER_LINEAR, GET_HAL_DATASPACE_RANGE_EXTENDED},
        {"V0_SRGB", GET_HAL_DATASPACE_V0_SRGB, GET_HAL_DATASPACE_STANDARD_BT709, GET_HAL_DATASPACE_TRANSFER_SRGB,
         GET_HAL_DATASPACE_RANGE_FULL},
        {"V0_SCRGB", GET_HAL_DATASPACE_V0_SCRGB, GET_HAL_DATASPACE_STANDARD_BT709, GET_HAL_DATASPACE_TRANSFER_SRGB,
         GET_HAL_DATASPACE_RANGE_EXTENDED},
        {"V0_JFIF", GET_HAL_DATASPACE_V0_JFIF, GET_HAL_DATASPACE_STANDARD_BT601_625,
         GET_HAL_DATASPACE_TRANSFER_SMPTE_170M, GET_HAL_DATASPACE_RANGE_FULL},
        {"V0_BT601_625", GET_HAL_DATASPACE_V0_BT601_625, GET_HAL_DATASPACE_STANDARD_BT601_625,
         GET_HAL_DATASPACE_TRANSFER_SMPTE_170M, GET_HAL_DATASPACE_RANGE_LIMITED},
        {"V0_BT601_525", GET_HAL_DATASPACE_V0_BT601_525, GET_HAL_DATASPACE_STANDARD_BT601_525,
         GET_HAL_DATASPACE_TRANSFER_SMPTE_170M, GET_HAL_DATASPACE_RANGE_LIMITED},
        {"V0_BT709", GET_HAL_DATASPACE_V0_BT709, GET_HAL_DATASPACE_STANDARD_BT709,
         GET_HAL_DATASPACE_TRANSFER_SMPTE_170M, GET_HAL_DATASPACE_RANGE_LIMITED},
        {"DCI_P3_LINEAR", GET_HAL_DATASPACE_DCI_P3_LINEAR, GET_HAL_DATASPACE_STANDARD_DCI_P3,
         GET_HAL_DATASPACE_TRANSFER_LINEAR, GET_HAL_DATASPACE_RANGE_FULL},
        {"DCI_P3", GET_HAL_DATASPACE_DCI_P3, GET_HAL_DATASPACE_STANDARD_DCI_P3, GET_HAL_DATASPACE_TRANSFER_GAMMA2_6,
         GET_HAL_DATASPACE_RANGE_FULL},
        {"DISPLAY_P3_LINEAR", GET_HAL_DATASPACE_DISPLAY_P3_LINEAR, GET_HAL_DATASPACE_STANDARD_DCI_P3,
         GET_HAL_DATASPACE_TRANSFER_LINEAR, GET_HAL_DATASPACE_RANGE_FULL},
        {"DISPLAY_P3", GET_HAL_DATASPACE_DISPLAY_P3, GET_HAL_DATASPACE_STANDARD_DCI_P3,
         GET_HAL_DATASPACE_TRANSFER_SRGB, GET_HAL_DATASPACE_RANGE_FULL},
        {"ADOBE_RGB", GET_HAL_DATASPACE_ADOBE_RGB, GET_HAL_DATASPACE_STANDARD_ADOBE_RGB,
         GET_HAL_DATASPACE_TRANSFER_GAMMA2_2, GET_HAL_DATASPACE_RANGE_FULL},
        {"BT2020_LINEAR", GET_HAL_DATASPACE_BT2020_LINEAR, GET_HAL_DATASPACE_STANDARD_BT2020,
         GET_HAL_DATASPACE_TRANSFER_LINEAR, GET_HAL_DATASPACE_RANGE_FULL},
        {"BT2020", GET_HAL_DATASPACE_BT2020, GET_HAL_DATASPACE_STANDARD_BT2020, GET_HAL_DATASPACE_TRANSFER_SMPTE_170M,
         GET_HAL_DATASPACE_RANGE_FULL},
        {"BT2020_PQ", GET_HAL_DATASPACE_BT2020_PQ, GET_HAL_DATASPACE_STANDARD_BT2020,
         GET_HAL_DATASPACE_TRANSFER_ST2084, GET_HAL_DATASPACE_RANGE_FULL},
    };
    for (const Composite& c : composites) {
        SCOPED_TRACE(c.name);
        const int value = c.dataspace();
        EXPECT_EQ(value & GET_HAL_DATASPACE_STANDARD_MASK(), c.standard());
        EXPECT_EQ(value & GET_HAL_DATASPACE_TRANSFER_MASK(), c.transfer());
        EXPECT_EQ(value & GET_HAL_DATASPACE_RANGE_MASK(), c.range());
        EXPECT_EQ(value & ~(GET_HAL_DATASPACE_STANDARD_MASK() | GET_HAL_DATASPACE_TRANSFER_MASK() |
                            GET_HAL_DATASPACE_RANGE_MASK()),
                  0);
    }
    // Each mask covers exactly the bits its shift starts.
    EXPECT_EQ(GET_HAL_DATASPACE_STANDARD_MASK(), 0x3F << GET_HAL_DATASPACE_STANDARD_SHIFT());
    EXPECT_EQ(GET_HAL_DATASPACE_TRANSFER_MASK(), 0x1F << GET_HAL_DATASPACE_TRANSFER_SHIFT());
    EXPECT_EQ(GET_HAL_DATASPACE_RANGE_MASK(), 0x7 << GET_HAL_DATASPACE_RANGE_SHIFT());
}

TEST(ConstantsTest, GrallocMasksCoverTheirBits) {
    EXPECT_EQ(GET_GRALLOC_USAGE_HW_CAMERA_ZSL(),
              GET_GRALLOC_USAGE_HW_CAMERA_READ() | GET_GRALLOC_USAGE_HW_CAMERA_WRITE());
    EXPECT_EQ(GET_GRALLOC_USAGE_HW_CAMERA_MASK(), GET_GRALLOC_USAGE_HW_CAMERA_ZSL());
    EXPECT_EQ(GET_GRALLOC_USAGE_ALLOC_MASK(), ~GET_GRALLOC_USAGE_FOREIGN_BUFFERS());
    EXPECT_EQ(GET_GRALLOC_USAGE_SW_READ_OFTEN() & GET_GRALLOC_USAGE_SW_READ_RARELY(),
              GET_GRALLOC_USAGE_SW_READ_RARELY());
    EXPECT_EQ(GET_GRALLOC_USAGE_SW_WRITE_OFTEN() & GET_GRALLOC_USAGE_SW_WRITE_RARELY(),
              GET_GRALLOC_USAGE_SW_WRITE_RARELY());
    EXPECT_EQ(GET_GRALLOC_USAGE_PRIVATE_MASK(), GET_GRALLOC_USAGE_PRIVATE_0() | GET_GRALLOC_USAGE_PRIVATE_1() |
                                                     GET_GRALLOC_USAGE_PRIVATE_2() | GET_GRALLOC_USAGE_PRIVATE_3());
    // Read as signed 32-bit words, the top-bit masks are negative.
    EXPECT_LT(static_cast<std::int32_t>(GET_GRALLOC_USAGE_PRIVATE_3()), 0);
    EXPECT_LT(static_cast<std::int32_t>(GET_GRALLOC_USAGE_ALLOC_MASK()), 0);
}

TEST(ConstantsTest, TransformsAndFourCharacterFormatsAreBitPatterns) {
    EXPECT_EQ(GET_HAL_TRANSFORM_ROT_180(), GET_HAL_TRANSFORM_FLIP_H() | GET_HAL_TRANSFORM_FLIP_V());
    EXPECT_EQ(GET_HAL_TRANSFORM_ROT_270(), GET_HAL_TRANSFORM_ROT_180() | GET_HAL_TRANSFORM_ROT_90());
    auto fourcc = [](char a, char b, char c, char d) {
        return static_cast<int>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b) << 8 |
                                static_cast<std::uint32_t>(c) << 16 | static_cast<std::uint32_t>(d) << 24);
    };
    EXPECT_EQ(GET_HAL_PIXEL_FORMAT_Y8(), fourcc('Y', '8', ' ', ' '));
    EXPECT_EQ(GET_HAL_PIXEL_FORMAT_Y16(), fourcc('Y', '1', '6', ' '));
    EXPECT_EQ(GET_HAL_PIXEL_FORMAT_YV12(), fourcc('Y', 'V', '1', '2'));
}

}  // namespace

// Every getter against the expectation table generated from the constant
// tables (ConstantExpectations.inc, written by gen_constant_expectations.py):
// value and width, exactly.
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

}  // namespace

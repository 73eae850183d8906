// Layouts and virtual slots the camera core is compiled against; exact on 32-bit ARM.
#include <cstddef>
#include <iterator>

#include <gtest/gtest.h>

#include <android/buffer/IZelBufferHandler.h>
#include <android/buffer/ZelNativeHandleRo.h>

#include "common/ByteProbe.h"

using namespace zelkov;

namespace {

using zelkov_test::VtableOffset;

TEST(BufferAbiTest, RecordLayouts) {
    EXPECT_EQ(sizeof(ZelNativeHandleRo), sizeof(void*));
    EXPECT_EQ(sizeof(ZelRect), 16u);
    EXPECT_EQ(offsetof(ZelRect, top), 4u);
    EXPECT_EQ(offsetof(ZelRect, right), 8u);
    EXPECT_EQ(offsetof(ZelRect, bottom), 12u);
    if (!zelkov_test::kIs32BitArm) GTEST_SKIP() << "pointer-sized fields: exact offsets checked on armhf";
    EXPECT_EQ(sizeof(ZelYCbCrLayout), 28u);
    EXPECT_EQ(offsetof(ZelYCbCrLayout, cb), 4u);
    EXPECT_EQ(offsetof(ZelYCbCrLayout, cr), 8u);
    EXPECT_EQ(offsetof(ZelYCbCrLayout, ystride), 12u);
    EXPECT_EQ(offsetof(ZelYCbCrLayout, cstride), 16u);
    EXPECT_EQ(offsetof(ZelYCbCrLayout, chroma_step), 20u);
    EXPECT_EQ(offsetof(ZelYCbCrLayout, yuvFormat), 24u);
}

TEST(BufferAbiTest, VirtualSlotsFollowTheDestructors) {
    using H = IZelBufferHandler;
    const std::ptrdiff_t offsets[] = {VtableOffset(&H::Lock),   VtableOffset(&H::LockYCbCr),
                                      VtableOffset(&H::Unlock), VtableOffset(&H::Allocate),
                                      VtableOffset(&H::Free),   VtableOffset(&H::GetAccessRegion)};
    // Slots 0 and 1 are the two destructors.
    for (std::size_t i = 0; i < std::size(offsets); ++i)
        EXPECT_EQ(offsets[i], std::ptrdiff_t(i + 2) * sizeof(void*)) << i;
}

}  // namespace

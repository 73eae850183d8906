// Layouts and virtual slots the camera core is compiled against; exact on 32-bit ARM.
#include <cstddef>
#include <cstring>

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
    const std::ptrdiff_t slot = sizeof(void*);
    // Slots 0 and 1 are the two destructors.
    EXPECT_EQ(VtableOffset(&IZelBufferHandler::Lock), 2 * slot);
    EXPECT_EQ(VtableOffset(&IZelBufferHandler::LockYCbCr), 3 * slot);
    EXPECT_EQ(VtableOffset(&IZelBufferHandler::Unlock), 4 * slot);
    EXPECT_EQ(VtableOffset(&IZelBufferHandler::Allocate), 5 * slot);
    EXPECT_EQ(VtableOffset(&IZelBufferHandler::Free), 6 * slot);
    EXPECT_EQ(VtableOffset(&IZelBufferHandler::GetAccessRegion), 7 * slot);
}

}  // namespace

// Virtual slots of the two handler interfaces, which the camera core is
// compiled against.
#include <cstddef>
#include <cstring>

#include <gtest/gtest.h>

#include <android/misc/IZelCameraMetadataHandler.h>
#include <android/misc/IZelHardwareHandler.h>

#include "common/ByteProbe.h"

using namespace zelkov;

namespace {

using zelkov_test::VtableOffset;

constexpr std::ptrdiff_t kSlot = sizeof(void*);

TEST(HandlerAbiTest, MetadataOperationsFollowTheDestructorsInTableOrder) {
    using H = IZelCameraMetadataHandler;
    // Slots 0 and 1 are the two destructors.
    const std::ptrdiff_t offsets[] = {
        VtableOffset(&H::SetVendorOps),     VtableOffset(&H::SetVendorCacheOps),
        VtableOffset(&H::FindEntry),        VtableOffset(&H::UpdateEntry),
        VtableOffset(&H::GetEntryCount),    VtableOffset(&H::GetDataCount),
        VtableOffset(&H::Allocate),         VtableOffset(&H::Append),
        VtableOffset(&H::Free),             VtableOffset(&H::Clone),
        VtableOffset(&H::ValidateStructure), VtableOffset(&H::GetRoEntry),
        VtableOffset(&H::GetSectionName),   VtableOffset(&H::GetTagName),
        VtableOffset(&H::FindRoEntry),      VtableOffset(&H::GetEntryCapacity),
        VtableOffset(&H::GetDataCapacity),  VtableOffset(&H::CalculateEntryDataSize),
        VtableOffset(&H::AddEntry),         VtableOffset(&H::DeleteEntry),
        VtableOffset(&H::GetEntry),         VtableOffset(&H::GetTagType),
        VtableOffset(&H::GetSectionBounds), VtableOffset(&H::Sort),
    };
    static_assert(sizeof(offsets) / sizeof(offsets[0]) == 24, "24 operations after the destructors");
    for (std::size_t i = 0; i < sizeof(offsets) / sizeof(offsets[0]); ++i) {
        EXPECT_EQ(offsets[i], static_cast<std::ptrdiff_t>(i + 2) * kSlot) << "operation " << i;
    }
}

TEST(HandlerAbiTest, GetModuleFollowsTheHardwareHandlersDestructors) {
    EXPECT_EQ(VtableOffset(&IZelHardwareHandler::GetModule), 2 * kSlot);
}

}  // namespace

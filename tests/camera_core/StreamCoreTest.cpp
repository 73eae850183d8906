// A camera core's view of the library: public headers, exported symbols, no
// record layout. Records are reached only through wrappers and Size().
#include <cstdlib>
#include <utility>

#include <gtest/gtest.h>

#include <android/wrappers/ZelCamera3Stream.h>

using namespace zelkov;

namespace {

TEST(CameraCore, StreamRoadThroughTheExportedInterface) {
    ZelCamera3Stream stream;
    stream.SetUsage(0x20000000000ull);
    ZelCamera3HalStream hal;
    hal.SetHalStreamMaxBuffers(8);
    stream.SetHalStream(hal.Ptr());
    ZelCamera3Stream copy(stream);
    EXPECT_EQ(copy.GetUsage(), 0x20000000000ull);
    EXPECT_EQ(copy.GetHalStreamMaxBuffers(), 8u);
    ZelCamera3Stream moved(std::move(copy));
    EXPECT_EQ(copy.Ptr(), nullptr);
    ZelCamera3Stream::Free(moved.Release());

    // The core knows only Size(): it allocates a record itself and lends it.
    void* storage = std::calloc(1, ZelCamera3Stream::Size());
    ASSERT_NE(storage, nullptr);
    {
        ZelCamera3Stream borrowed(static_cast<camera3_stream*>(storage), false);
        borrowed.SetMaxFps(30);
        ZelCamera3Stream owner;
        borrowed.CopyTo(owner);
        EXPECT_EQ(owner.GetMaxFps(), 30u);
        EXPECT_EQ(borrowed.Ptr2(), borrowed.Ptr());
    }
    std::free(storage);  // the borrowing wrapper left it alone
}

}  // namespace

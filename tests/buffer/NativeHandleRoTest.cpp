// The handle reader's index rules on handles built as the platform builds them.
#include <cutils/native_handle.h>

#include <gtest/gtest.h>

#include <android/buffer/ZelNativeHandleRo.h>

using zelkov::ZelNativeHandleRo;

namespace {

constexpr int kBad = -1024;

// A handle with `fds` descriptors and `ints` integers; data[i] = 100 + i.
// Written word by word: the header's three ints, then data.
struct HandleStorage {
    HandleStorage(int fds, int ints) : words{int(sizeof(native_handle_t)), fds, ints} {
        static_assert(sizeof(native_handle_t) == 3 * sizeof(int), "three header words");
        for (int i = 0; i < fds + ints; ++i) words[3 + i] = 100 + i;
    }
    native_handle_t* get() { return reinterpret_cast<native_handle_t*>(words); }
    int words[3 + 8] = {};
};

TEST(NativeHandleRoTest, DescriptorsComeFirstThenIntegers) {
    struct Case {
        int fds, ints, index, fd, integer;
    };
    const Case cases[] = {
        {2, 3, 0, 100, 102},    {2, 3, 1, 101, 103},  {2, 3, 2, kBad, 104}, {2, 3, 3, kBad, kBad},
        {2, 3, -1, kBad, kBad}, {0, 2, 0, kBad, 100}, {0, 2, 1, kBad, 101}, {0, 0, 0, kBad, kBad},
    };
    for (const Case& c : cases) {
        HandleStorage storage(c.fds, c.ints);
        ZelNativeHandleRo view(storage.get());
        EXPECT_EQ(view.GetNumFds(), c.fds);
        EXPECT_EQ(view.GetNumInts(), c.ints);
        EXPECT_EQ(view.GetFd(c.index), c.fd) << c.fds << " " << c.ints << " " << c.index;
        EXPECT_EQ(view.GetInt(c.index), c.integer) << c.fds << " " << c.ints << " " << c.index;
    }
}

TEST(NativeHandleRoTest, HeaderAsStoredAndRebinding) {
    HandleStorage first(1, 1), second(0, 1);
    first.words[0] = -7;
    ZelNativeHandleRo view(first.get());
    EXPECT_EQ(view.GetVersion(), -7);
    view.SetHandle(second.get());
    EXPECT_EQ(view.GetHandle(), second.get());
    EXPECT_EQ(view.GetInt(0), 100);
    ZelNativeHandleRo copy(view);
    view.SetHandle(nullptr);  // unbound: reads as empty
    EXPECT_EQ(view.GetHandle(), nullptr);
    EXPECT_EQ(view.GetVersion() + view.GetNumFds() + view.GetNumInts(), 0);
    EXPECT_EQ(view.GetFd(0), kBad);
    EXPECT_EQ(view.GetInt(0), kBad);
    EXPECT_EQ(copy.GetHandle(), second.get()) << "a copy keeps its own pointer";
}

}  // namespace

// The handle reader's index rules on handles built as the platform builds them.
#include <cutils/native_handle.h>

#include <gtest/gtest.h>

#include <android/buffer/ZelNativeHandleRo.h>

using zelkov::ZelNativeHandleRo;

namespace {

constexpr int kBad = -1024;

// A handle with `fds` descriptors and `ints` integers; data[i] = 100 + i.
// Written word by word: the header's three ints, then data.
class HandleStorage {
public:
    HandleStorage(int fds, int ints) {
        static_assert(sizeof(native_handle_t) == 3 * sizeof(int), "three header words");
        m_words[0] = sizeof(native_handle_t);
        m_words[1] = fds;
        m_words[2] = ints;
        for (int i = 0; i < fds + ints; ++i) m_words[3 + i] = 100 + i;
    }
    native_handle_t* get() { return reinterpret_cast<native_handle_t*>(m_words); }
    void SetVersion(int version) { m_words[0] = version; }
    void SetData(int index, int value) { m_words[3 + index] = value; }

private:
    int m_words[3 + 8] = {};
};

TEST(NativeHandleRoTest, UnboundViewReadsAsEmpty) {
    ZelNativeHandleRo view(nullptr);
    EXPECT_EQ(view.GetVersion(), 0);
    EXPECT_EQ(view.GetNumFds(), 0);
    EXPECT_EQ(view.GetNumInts(), 0);
    EXPECT_EQ(view.GetHandle(), nullptr);
    for (int index : {-1, 0, 1, 1000}) {
        EXPECT_EQ(view.GetFd(index), kBad) << index;
        EXPECT_EQ(view.GetInt(index), kBad) << index;
    }
}

TEST(NativeHandleRoTest, DescriptorsComeFirstThenIntegers) {
    HandleStorage storage(2, 3);
    ZelNativeHandleRo view(storage.get());
    EXPECT_EQ(view.GetVersion(), static_cast<int>(sizeof(native_handle_t)));
    EXPECT_EQ(view.GetNumFds(), 2);
    EXPECT_EQ(view.GetNumInts(), 3);
    EXPECT_EQ(view.GetFd(0), 100);
    EXPECT_EQ(view.GetFd(1), 101);
    EXPECT_EQ(view.GetFd(2), kBad);
    EXPECT_EQ(view.GetInt(0), 102);
    EXPECT_EQ(view.GetInt(2), 104);
    EXPECT_EQ(view.GetInt(3), kBad);
    EXPECT_EQ(view.GetFd(-1), kBad);
    EXPECT_EQ(view.GetInt(-1), kBad);
}

TEST(NativeHandleRoTest, HandleWithoutDescriptorsStartsIntegersAtDataZero) {
    HandleStorage storage(0, 2);
    ZelNativeHandleRo view(storage.get());
    EXPECT_EQ(view.GetFd(0), kBad);
    EXPECT_EQ(view.GetInt(0), 100);
    EXPECT_EQ(view.GetInt(1), 101);
}

TEST(NativeHandleRoTest, HeaderIsReturnedAsStoredAndAStoredErrorValueIsAmbiguous) {
    HandleStorage storage(1, 1);
    storage.SetVersion(-7);
    storage.SetData(1, kBad);  // the one integer, after the one descriptor
    ZelNativeHandleRo view(storage.get());
    EXPECT_EQ(view.GetVersion(), -7);
    EXPECT_EQ(view.GetInt(0), kBad);
}

TEST(NativeHandleRoTest, SetHandleRebindsAndUnbinds) {
    HandleStorage first(1, 0), second(0, 1);
    ZelNativeHandleRo view(first.get());
    EXPECT_EQ(view.GetHandle(), first.get());
    view.SetHandle(second.get());
    EXPECT_EQ(view.GetHandle(), second.get());
    EXPECT_EQ(view.GetInt(0), 100);
    ZelNativeHandleRo copy(view);
    view.SetHandle(nullptr);
    EXPECT_EQ(view.GetHandle(), nullptr);
    EXPECT_EQ(view.GetInt(0), kBad);
    EXPECT_EQ(copy.GetHandle(), second.get()) << "a copy keeps its own pointer";
}

}  // namespace

// Heap use of the owning record wrapper: which operations allocate, which
// free, and the states a failed malloc leaves. malloc and free are replaced
// for the whole process (the library's calls land here too).
#include <cstddef>
#include <cstdlib>

#include <gtest/gtest.h>

#include <android/wrappers/ZelCamera3Stream.h>

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void __libc_free(void* pointer);

namespace {

// Heap calls made while `active`. Fixed arrays and scalars only, so that
// neither the hooks nor the checks allocate.
constexpr std::size_t kMaxCalls = 32;
struct HeapWatch {
    bool active = false;
    std::size_t failNextOfSize = 0;  // only the wrapper's own request fails, whatever else the runtime allocates
    std::size_t mallocCount = 0;
    std::size_t mallocSizes[kMaxCalls];
    std::size_t freeCount = 0;
    void* frees[kMaxCalls];
};
HeapWatch g_watch;

// Watches the heap calls made inside one scope.
struct Watching {
    Watching() {
        g_watch = HeapWatch();
        g_watch.active = true;
    }
    ~Watching() { g_watch.active = false; }
};

}  // namespace

extern "C" void* malloc(std::size_t size) {
    if (g_watch.active && g_watch.mallocCount < kMaxCalls) {
        g_watch.mallocSizes[g_watch.mallocCount++] = size;
        if (size == g_watch.failNextOfSize) {
            g_watch.failNextOfSize = 0;
            return nullptr;
        }
    }
    return __libc_malloc(size);
}

extern "C" void free(void* pointer) {
    if (g_watch.active && g_watch.freeCount < kMaxCalls) {  // null included: the wrapper never frees null
        g_watch.frees[g_watch.freeCount++] = pointer;
    }
    __libc_free(pointer);
}

namespace {

using zelkov::ZelCamera3HalStream;
using zelkov::ZelCamera3Stream;

TEST(WrapperHeap, OnlyConstructionCopyAndCreateAllocateOneRecordEach) {
    Watching watch;
    ZelCamera3Stream stream;
    ASSERT_EQ(g_watch.mallocCount, 1u);
    EXPECT_EQ(g_watch.mallocSizes[g_watch.mallocCount - 1], ZelCamera3Stream::Size());
    stream.SetWidth(4);
    ZelCamera3Stream copy(stream);
    copy = stream;  // has a record already: no allocation
    EXPECT_EQ(g_watch.mallocCount, 2u);
    camera3_stream* array = ZelCamera3Stream::Create(3);
    EXPECT_EQ(g_watch.mallocSizes[g_watch.mallocCount - 1], 3 * ZelCamera3Stream::Size());
    ZelCamera3Stream::Free(array);
    EXPECT_EQ(g_watch.frees[g_watch.freeCount - 1], static_cast<void*>(array));
}

TEST(WrapperHeap, OnlyOwnedRecordsAreFreedEachOnce) {
    ZelCamera3HalStream borrowedStorage;
    Watching watch;
    void* owned = nullptr;
    {
        ZelCamera3HalStream owner;
        owned = owner.Ptr();
        owner.ResetPtr(owner.Ptr(), true);  // its own record: kept
        ZelCamera3HalStream borrower(borrowedStorage.Ptr(), false);
        ZelCamera3HalStream moved(std::move(borrower));
        ZelCamera3HalStream released;
        ZelCamera3HalStream::Free(released.Release());
        ZelCamera3HalStream target;
        target = std::move(released);  // frees target's record
    }
    ASSERT_EQ(g_watch.freeCount, 3u);  // released's record, target's, then owner's
    EXPECT_EQ(g_watch.frees[2], owned);
}

TEST(WrapperHeap, FailedMallocLeavesANullOwnedRecord) {
    Watching watch;
    g_watch.failNextOfSize = ZelCamera3Stream::Size();
    {
        ZelCamera3Stream failed;
        EXPECT_EQ(failed.Ptr(), nullptr);
        failed.Clear();  // nothing to clear
    }
    EXPECT_EQ(g_watch.freeCount, 0u);  // nothing freed through a null pointer

    ZelCamera3Stream source;
    source.SetWidth(8);
    g_watch.failNextOfSize = ZelCamera3Stream::Size();
    EXPECT_EQ(ZelCamera3Stream(source).Ptr(), nullptr);
    ZelCamera3Stream empty(nullptr, false);
    g_watch.failNextOfSize = ZelCamera3Stream::Size();
    empty.CopyFrom(source);
    EXPECT_EQ(empty.Ptr(), nullptr);
    // The wrapper owns the (null) record now: a later successful copy allocates and owns.
    empty.CopyFrom(source);
    ASSERT_NE(empty.Ptr(), nullptr);
    EXPECT_EQ(empty.GetWidth(), 8u);
    g_watch.failNextOfSize = 2 * ZelCamera3Stream::Size();
    EXPECT_EQ(ZelCamera3Stream::Create(2), nullptr);
}

}  // namespace

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

// Fixed arrays: the hooks must not allocate themselves.
constexpr std::size_t kMaxCalls = 32;
struct HeapWatch {
    bool active = false;
    std::size_t failNextOfSize = 0;  // 0: fail nothing
    std::size_t mallocCount = 0;
    std::size_t mallocSizes[kMaxCalls];
    std::size_t freeCount = 0;
    void* frees[kMaxCalls];
};
HeapWatch g_watch;

// Watches the heap calls made inside one scope. Only scalars are read back,
// so that checking them allocates nothing.
class Watching {
public:
    Watching() {
        g_watch.mallocCount = 0;
        g_watch.freeCount = 0;
        g_watch.active = true;
    }
    ~Watching() {
        g_watch.active = false;
        g_watch.failNextOfSize = 0;
    }
    // Only the wrapper's own request fails, whatever else the runtime allocates.
    void FailNextMallocOf(std::size_t size) { g_watch.failNextOfSize = size; }
    std::size_t MallocCount() const { return g_watch.mallocCount; }
    std::size_t LastMallocSize() const { return g_watch.mallocSizes[g_watch.mallocCount - 1]; }
    std::size_t FreeCount() const { return g_watch.freeCount; }
    void* Freed(std::size_t index) const { return g_watch.frees[index]; }
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
    ASSERT_EQ(watch.MallocCount(), 1u);
    EXPECT_EQ(watch.LastMallocSize(), ZelCamera3Stream::Size());
    stream.SetWidth(4);
    ZelCamera3Stream copy(stream);
    copy = stream;  // has a record already: no allocation
    EXPECT_EQ(watch.MallocCount(), 2u);
    camera3_stream* array = ZelCamera3Stream::Create(3);
    EXPECT_EQ(watch.LastMallocSize(), 3 * ZelCamera3Stream::Size());
    ZelCamera3Stream::Free(array);
    EXPECT_EQ(watch.Freed(watch.FreeCount() - 1), static_cast<void*>(array));
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
    ASSERT_EQ(watch.FreeCount(), 3u);  // released's record, target's, then owner's
    EXPECT_EQ(watch.Freed(2), owned);
}

TEST(WrapperHeap, FailedMallocLeavesANullOwnedRecord) {
    Watching watch;
    watch.FailNextMallocOf(ZelCamera3Stream::Size());
    {
        ZelCamera3Stream failed;
        EXPECT_EQ(failed.Ptr(), nullptr);
        failed.Clear();  // nothing to clear
    }
    EXPECT_EQ(watch.FreeCount(), 0u);  // nothing freed through a null pointer

    ZelCamera3Stream source;
    source.SetWidth(8);
    watch.FailNextMallocOf(ZelCamera3Stream::Size());
    EXPECT_EQ(ZelCamera3Stream(source).Ptr(), nullptr);
    ZelCamera3Stream empty(nullptr, false);
    watch.FailNextMallocOf(ZelCamera3Stream::Size());
    empty.CopyFrom(source);
    EXPECT_EQ(empty.Ptr(), nullptr);
    // The wrapper owns the (null) record now: a later successful copy allocates and owns.
    empty.CopyFrom(source);
    ASSERT_NE(empty.Ptr(), nullptr);
    EXPECT_EQ(empty.GetWidth(), 8u);
    watch.FailNextMallocOf(2 * ZelCamera3Stream::Size());
    EXPECT_EQ(ZelCamera3Stream::Create(2), nullptr);
}

}  // namespace

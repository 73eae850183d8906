#ifndef ZELKOV_FUZZ_CHECKS_NATIVE_HANDLE_CHECKS_H
#define ZELKOV_FUZZ_CHECKS_NATIVE_HANDLE_CHECKS_H

// Arbitrary bytes as a native handle: a version word, a split word, then the
// data words. The handle keeps the platform's contract (numFds and numInts
// not negative, numFds + numInts words of data present); the split word
// chooses how the data divides into descriptors and integers.

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <cutils/native_handle.h>

#include <android/buffer/ZelNativeHandleRo.h>

#include "fuzz/checks/FuzzCheck.h"

namespace zelkov_fuzz {

namespace handle_detail {

struct FreeBlock {
    void operator()(void* block) const { std::free(block); }
};

constexpr int kBad = -1024;
// The platform's own limit on either count.
constexpr size_t kMaxWords = NATIVE_HANDLE_MAX_FDS + NATIVE_HANDLE_MAX_INTS;

inline int32_t WordAt(const uint8_t* bytes) {
    int32_t word;
    std::memcpy(&word, bytes, sizeof(word));
    return word;
}

// Indices around a count: below, at and past both ends, and far away.
inline void CheckIndexedReads(zelkov::ZelNativeHandleRo& view, const int* data, int numFds, int numInts,
                              int extraIndex) {
    for (int count : {numFds, numInts}) {
        const int indices[] = {INT_MIN, -1024, -1, 0, 1, count - 1, count, count + 1, INT_MAX, extraIndex};
        for (int index : indices) {
            const bool fdInRange = index >= 0 && index < numFds;
            const bool intInRange = index >= 0 && index < numInts;
            ZEL_FUZZ_CHECK(view.GetFd(index) == (fdInRange ? data[index] : kBad));
            ZEL_FUZZ_CHECK(view.GetInt(index) == (intInRange ? data[numFds + index] : kBad));
        }
    }
}

}  // namespace handle_detail

inline void CheckNativeHandle(const uint8_t* bytes, size_t size) {
    using namespace handle_detail;
    if (size < 2 * sizeof(int32_t)) return;
    const int32_t version = WordAt(bytes);
    const uint32_t split = static_cast<uint32_t>(WordAt(bytes + 4));
    bytes += 8;
    size -= 8;
    const size_t words = std::min(size / sizeof(int), kMaxWords);
    const int numFds = static_cast<int>(split % (words + 1));
    const int numInts = static_cast<int>(words) - numFds;
    // An index of the input's choosing: its last four bytes.
    const int extraIndex = size >= sizeof(int) ? WordAt(bytes + size - sizeof(int)) : 0;

    // Exactly sized, so ASan reports a read past the last data word.
    const size_t blockSize = sizeof(native_handle_t) + words * sizeof(int);
    std::unique_ptr<native_handle_t, FreeBlock> handle(static_cast<native_handle_t*>(std::malloc(blockSize)));
    ZEL_FUZZ_CHECK(handle != nullptr);
    handle->version = version;
    handle->numFds = numFds;
    handle->numInts = numInts;
    std::memcpy(handle->data, bytes, words * sizeof(int));

    zelkov::ZelNativeHandleRo view(handle.get());
    ZEL_FUZZ_CHECK(view.GetHandle() == handle.get());
    ZEL_FUZZ_CHECK(view.GetVersion() == version);
    ZEL_FUZZ_CHECK(view.GetNumFds() == numFds);
    ZEL_FUZZ_CHECK(view.GetNumInts() == numInts);
    CheckIndexedReads(view, handle->data, numFds, numInts, extraIndex);

    // Unbound, every read is empty or the error, whatever the index.
    view.SetHandle(nullptr);
    ZEL_FUZZ_CHECK(view.GetVersion() == 0 && view.GetNumFds() == 0 && view.GetNumInts() == 0);
    ZEL_FUZZ_CHECK(view.GetFd(extraIndex) == kBad && view.GetInt(extraIndex) == kBad);
}

}  // namespace zelkov_fuzz

#endif

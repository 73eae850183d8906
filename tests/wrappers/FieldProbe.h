#ifndef ZELKOV_TESTS_WRAPPERS_FIELD_PROBE_H
#define ZELKOV_TESTS_WRAPPERS_FIELD_PROBE_H

// Table-driven byte probe of accessor classes: each row names one getter and
// setter pair, the byte offset of its field on the 32-bit target and a value.
// The setter must write exactly the field's bytes of a pattern-filled borrowed
// record, and the getter must read the value planted at that offset.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/ByteProbe.h"

namespace zelkov_test {

// The 32-bit offset on the target; the compiler's offset elsewhere.
#define FIELD_AT(offset32, record, member) (::zelkov_test::kIs32BitArm ? std::size_t{offset32} : offsetof(record, member))

// Fill byte of the probed records; no byte of any value written below is 0xEE.
constexpr std::uint8_t kPattern = 0xEE;

// Fill of the records that copying setters read: their bytes, and the guard
// bytes after them, all differ from kPattern, so a copy of even one byte more
// than the record shows in the destination.
constexpr std::uint8_t kSourceFill = 0x5A;

// A pointer (data or function) with a made-up address; never dereferenced.
template <typename P>
P FakePtr(std::uintptr_t address) {
    return reinterpret_cast<P>(address);
}

// The platform record a wrapper holds.
template <typename W>
using RecordOf = std::remove_pointer_t<decltype(std::declval<const W&>().Ptr())>;

template <typename W>
W Borrow(ByteProbe& probe) {
    return W(static_cast<RecordOf<W>*>(probe.Data()), false);
}

template <typename W>
struct FieldCase {
    std::string name;
    std::size_t offset;
    std::size_t width;
    std::function<void(W&)> set;
    std::function<bool(const ByteProbe&)> holdsValue;  // the record's bytes at the offset
    std::function<void(ByteProbe&)> plant;              // writes the value's bytes at the offset
    std::function<bool(const W&)> readsValue;           // the getter returns the value
};

template <typename V>
struct Same {
    using type = V;
};

// One accessor pair. `width` is the field's size when it differs from the
// accessor type's (a size_t field on a 64-bit host).
template <typename W, typename V>
FieldCase<W> Field(std::string name, std::size_t offset, V (W::*get)() const, void (W::*set)(V),
                   typename Same<V>::type value, std::size_t width = sizeof(V)) {
    return {std::move(name),
            offset,
            width,
            [set, value](W& w) { (w.*set)(value); },
            [offset, value](const ByteProbe& p) { return p.Read<V>(offset) == value; },
            [offset, value](ByteProbe& p) { p.Write<V>(offset, value); },
            [get, value](const W& w) { return (w.*get)() == value; }};
}

template <typename W>
void ExpectEachFieldAtItsBytes(const std::vector<FieldCase<W>>& fields) {
    for (const FieldCase<W>& field : fields) {
        SCOPED_TRACE(field.name);
        ByteProbe written(W::Size(), kPattern);
        W writer = Borrow<W>(written);
        field.set(writer);
        EXPECT_EQ(written.ChangedOffsets(), Span(field.offset, field.width));
        EXPECT_TRUE(field.holdsValue(written));

        ByteProbe planted(W::Size(), kPattern);
        field.plant(planted);
        EXPECT_TRUE(field.readsValue(Borrow<W>(planted)));
    }
}

// Record sizes: the 32-bit ABI size on the target, the compiler's elsewhere.
struct SizeCase {
    const char* name;
    unsigned int size;
    std::size_t size32;
    std::size_t hostSize;
};

inline void ExpectSizes(const std::vector<SizeCase>& cases) {
    for (const SizeCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.size, kIs32BitArm ? c.size32 : c.hostSize);
    }
}

// Offset of `inner` within the record that starts at `outer`.
inline std::size_t OffsetIn(const void* outer, const void* inner) {
    return static_cast<std::size_t>(static_cast<const char*>(inner) - static_cast<const char*>(outer));
}

}  // namespace zelkov_test

#endif

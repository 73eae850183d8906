#ifndef ZELKOV_TESTS_WRAPPERS_FIELD_PROBE_H
#define ZELKOV_TESTS_WRAPPERS_FIELD_PROBE_H

// Table-driven byte probe of accessor classes, one row per getter and setter
// pair: the setter must write exactly its field's bytes of a borrowed record,
// and the getter must read a value planted at the field's offset.

#include <cstddef>
#include <cstdint>
#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/ByteProbe.h"

namespace zelkov_test {

// The 32-bit offset on the target; the compiler's offset elsewhere.
#define FIELD_AT(offset32, record, member) \
    (::zelkov_test::kIs32BitArm ? std::size_t{offset32} : offsetof(record, member))

// One row: accessor pair Get<Name>/Set<Name> (or GetFn/SetFn for a slot) of
// wrapper W over member `member` of record R, at `offset32` on the target.
#define FIELD(W, Name, offset32, R, member) \
    ::zelkov_test::Field(#W "::" #Name, FIELD_AT(offset32, R, member), &W::Get##Name, &W::Set##Name, sizeof(R::member))
#define SLOT(W, Name, offset32, R, member)                                                               \
    ::zelkov_test::Field(#W "::" #Name, FIELD_AT(offset32, R, member), &W::GetFn##Name, &W::SetFn##Name, \
                         sizeof(R::member))

// Fill of the records that copying setters read: it differs from both probe
// fills, and the guard bytes after the source carry it too, so a copy of even
// one byte more than the record shows.
constexpr std::uint8_t kSourceFill = 0x5A;

// A pointer (data or function) with a made-up address; never dereferenced.
template <typename P>
P FakePtr(std::uintptr_t address) {
    return reinterpret_cast<P>(address);
}

// A value of type V whose bytes are distinct and follow from `seed`; never dereferenced.
template <typename V>
V ValueFor(std::size_t seed) {
    unsigned char bytes[sizeof(V)];
    for (std::size_t i = 0; i < sizeof(V); ++i) bytes[i] = static_cast<unsigned char>(0x11 + seed + 3 * i);
    V value;
    std::memcpy(&value, bytes, sizeof(V));
    return value;
}

// The platform record a wrapper holds.
template <typename W>
using RecordOf = std::remove_pointer_t<decltype(std::declval<const W&>().Ptr())>;

template <typename W>
W Borrow(ByteProbe& probe) {
    return W(static_cast<RecordOf<W>*>(probe.Data()), false);
}

// Offsets (guard bytes after the record included) that `write` changes in a
// borrowed record. It runs on two fills that differ in every bit, so each
// written byte shows whatever value it gets, a real address included.
template <typename W, typename Write>
std::vector<std::size_t> WrittenBy(Write write) {
    std::vector<std::size_t> offsets;
    for (std::uint8_t fill : {0x00, 0xFF}) {
        ByteProbe probe(W::Size(), fill);
        W wrapper = Borrow<W>(probe);
        write(wrapper);
        for (std::size_t offset : probe.ChangedOffsets()) {
            if (std::find(offsets.begin(), offsets.end(), offset) == offsets.end()) offsets.push_back(offset);
        }
    }
    std::sort(offsets.begin(), offsets.end());
    return offsets;
}

struct FieldCheck {
    std::string name;
    std::function<void()> run;
};

// `width` is the field's size, which differs from the accessor type's for a
// size_t field on a 64-bit host.
template <typename W, typename V, typename G>
FieldCheck Field(std::string name, std::size_t offset, G get, void (W::*set)(V), std::size_t width) {
    return {std::move(name), [=] {
                const V value = ValueFor<V>(offset);
                EXPECT_EQ(WrittenBy<W>([&](W& w) { (w.*set)(value); }), Span(offset, width));
                ByteProbe written(W::Size(), 0xEE);
                (Borrow<W>(written).*set)(value);
                EXPECT_TRUE(written.Read<V>(offset) == value);
                ByteProbe planted(W::Size(), 0xEE);
                planted.Write<V>(offset, value);
                EXPECT_TRUE(V((Borrow<W>(planted).*get)()) == value);
            }};
}

inline void ExpectEachFieldAtItsBytes(const std::vector<FieldCheck>& fields) {
    for (const FieldCheck& field : fields) {
        SCOPED_TRACE(field.name);
        field.run();
    }
}

// Offset of `inner` within the record that starts at `outer`.
inline std::size_t OffsetIn(const void* outer, const void* inner) {
    return static_cast<std::size_t>(static_cast<const char*>(inner) - static_cast<const char*>(outer));
}

}  // namespace zelkov_test

#endif

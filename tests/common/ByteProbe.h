#ifndef ZELKOV_TESTS_COMMON_BYTE_PROBE_H
#define ZELKOV_TESTS_COMMON_BYTE_PROBE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace zelkov_test {

// True on the 32-bit ARM target, where record sizes and offsets are ABI.
constexpr bool kIs32BitArm =
#if defined(__arm__)
    true;
#else
    false;
#endif

// A record-sized block of bytes filled with a known pattern, so that a test
// can run one setter on it and see exactly which bytes changed.
class ByteProbe {
public:
    explicit ByteProbe(std::size_t size, std::uint8_t fill = 0) : m_before(size + kGuard, fill), m_bytes(m_before) {}

    void* Data() { return m_bytes.data(); }
    std::size_t Size() const { return m_bytes.size() - kGuard; }

    // Offsets of the bytes that differ from the pattern, guard bytes after the record included.
    std::vector<std::size_t> ChangedOffsets() const {
        std::vector<std::size_t> changed;
        for (std::size_t i = 0; i < m_bytes.size(); ++i) {
            if (m_bytes[i] != m_before[i]) changed.push_back(i);
        }
        return changed;
    }
    // Reads a value at `offset` as the record holds it.
    template <typename V>
    V Read(std::size_t offset) const {
        V value;
        std::memcpy(&value, m_bytes.data() + offset, sizeof(V));
        return value;
    }
    template <typename V>
    void Write(std::size_t offset, V value) {
        std::memcpy(m_bytes.data() + offset, &value, sizeof(V));
        std::memcpy(m_before.data() + offset, &value, sizeof(V));
    }

private:
    static constexpr std::size_t kGuard = 16;
    std::vector<std::uint8_t> m_before;
    std::vector<std::uint8_t> m_bytes;
};

// Byte offsets [offset, offset + width).
inline std::vector<std::size_t> Span(std::size_t offset, std::size_t width) {
    std::vector<std::size_t> span;
    for (std::size_t i = 0; i < width; ++i) span.push_back(offset + i);
    return span;
}

// The vtable byte offset a pointer to a virtual member encodes (Itanium C++
// ABI: ARM keeps the offset in the pointer and flags virtual in the
// adjustment, others add 1 to the offset). Virtual slot order is ABI.
template <typename Member>
std::ptrdiff_t VtableOffset(Member member) {
    std::ptrdiff_t words[2];
    static_assert(sizeof(member) == sizeof(words), "two-word member pointer");
    std::memcpy(words, &member, sizeof(words));
    return kIs32BitArm ? words[0] : words[0] - 1;
}

}  // namespace zelkov_test

#endif

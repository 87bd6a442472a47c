// Reads a fuzz input as a stream of decisions. Past its end every read yields
// zeros (or nothing), so a short input still describes a complete run: the
// harnesses treat zero as "the plain, well-behaved choice".

#ifndef COSUPDATE_FUZZ_FUZZ_INPUT_H
#define COSUPDATE_FUZZ_FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fuzzing {

class FuzzInput {
  public:
    FuzzInput(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}

    bool exhausted() const { return m_offset >= m_size; }
    size_t remaining() const { return m_size - m_offset; }

    uint8_t byte() { return exhausted() ? 0 : m_data[m_offset++]; }

    uint16_t u16() {
        const uint16_t high = byte();
        return static_cast<uint16_t>(high << 8 | byte());
    }

    // Up to `count` bytes, fewer at the end of the input.
    std::vector<uint8_t> bytes(size_t count) {
        const size_t n = std::min(count, remaining());
        std::vector<uint8_t> out(m_data + m_offset, m_data + m_offset + n);
        m_offset += n;
        return out;
    }

    // Text up to the next NUL (consumed) or the end of the input.
    std::string text() {
        const uint8_t* begin = m_data + m_offset;
        const uint8_t* end = m_data + m_size;
        const uint8_t* nul = std::find(begin, end, uint8_t{0});
        m_offset = static_cast<size_t>(nul - m_data) + (nul == end ? 0 : 1);
        return std::string(begin, nul);
    }

  private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_offset = 0;
};

}  // namespace fuzzing

#endif  // COSUPDATE_FUZZ_FUZZ_INPUT_H

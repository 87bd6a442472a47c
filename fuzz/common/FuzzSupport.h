// FUZZ_CHECK aborts on a broken invariant, a crash to libFuzzer and a failure
// to the replay. FuzzInput reads an input as decisions, zeros past its end.

#ifndef COSUPDATE_FUZZ_FUZZ_SUPPORT_H
#define COSUPDATE_FUZZ_FUZZ_SUPPORT_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#define FUZZ_CHECK(condition, detail) \
    ((condition) ? void() : fuzzing::violated(__FILE__, __LINE__, #condition, detail))

namespace fuzzing {

[[noreturn]] inline void violated(const char* file, int line, const char* what,
                                  const std::string& detail) {
    std::fprintf(stderr, "%s:%d: invariant broken: %s\n  %s\n", file, line, what, detail.c_str());
    std::abort();
}

class FuzzInput {
  public:
    FuzzInput(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    bool exhausted() const { return m_offset >= m_size; }
    uint8_t byte() { return exhausted() ? 0 : m_data[m_offset++]; }
    uint16_t u16() {
        const uint16_t high = byte();
        return static_cast<uint16_t>(high << 8 | byte());
    }
    // Text up to the next NUL (consumed) or the end of the input.
    std::string text() {
        const uint8_t* begin = m_data + m_offset;
        const uint8_t* nul = std::find(begin, m_data + m_size, uint8_t{0});
        m_offset = std::min(m_size, static_cast<size_t>(nul - m_data) + 1);
        return std::string(begin, nul);
    }

  private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_offset = 0;
};

}  // namespace fuzzing

#endif  // COSUPDATE_FUZZ_FUZZ_SUPPORT_H

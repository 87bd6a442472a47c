// A broken invariant ends the process with abort(): libFuzzer then keeps the
// input as a crash, and a replay run under ctest fails.

#ifndef COSUPDATE_FUZZ_FUZZ_CHECK_H
#define COSUPDATE_FUZZ_FUZZ_CHECK_H

#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzzing {

[[noreturn]] inline void violated(const char* file, int line, const char* condition,
                                  const std::string& detail) {
    std::fprintf(stderr, "%s:%d: invariant broken: %s\n  %s\n", file, line, condition,
                 detail.c_str());
    std::abort();
}

}  // namespace fuzzing

#define FUZZ_CHECK(condition, detail)                                      \
    do {                                                                   \
        if (!(condition)) {                                                \
            ::fuzzing::violated(__FILE__, __LINE__, #condition, (detail)); \
        }                                                                  \
    } while (false)

#endif  // COSUPDATE_FUZZ_FUZZ_CHECK_H

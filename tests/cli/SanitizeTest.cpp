// sanitize(): what a terminal would act on is shown escaped, everything else
// passes unchanged, and the escapes read back unambiguously.

#include "Sanitize.h"

#include <gtest/gtest.h>

namespace cosupdate::cli {
namespace {

TEST(Sanitize, EscapesWhatATerminalWouldActOnAndNothingElse) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"patch-0100-0101 (Patch)", "patch-0100-0101 (Patch)"},
        {"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x94\x92", "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x94\x92"},
        {"a\nb\rc\td", R"(a\nb\rc\td)"},
        {std::string("nul\0end", 7), R"(nul\x00end)"},
        {"\x1B[31mred\x1B]0;title\x07", R"(\x1B[31mred\x1B]0;title\x07)"},
        {"del\x7F", R"(del\x7F)"},
        {"c1 \xC2\x85 \xC2\x9B \xC2\x9F, not \xC2\xA0", "c1 \\u0085 \\u009B \\u009F, not \xC2\xA0"},
        {"raw \x9B byte", R"(raw \x9B byte)"},
        {"cut \xE2\x82", R"(cut \xE2\x82)"},
        {"overlong \xC0\xAF", R"(overlong \xC0\xAF)"},
        {"surrogate \xED\xA0\x80", R"(surrogate \xED\xA0\x80)"},
        {"beyond \xF4\x90\x80\x80", R"(beyond \xF4\x90\x80\x80)"},
        {R"(C:\x1B)", R"(C:\\x1B)"},  // a backslash cannot pass for an escape
    };
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(sanitize(text), shown) << shown;
    }
}

}  // namespace
}  // namespace cosupdate::cli

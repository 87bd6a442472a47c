// The one thing a piped process cannot show: on a terminal the status line is
// rewritten in place, cut to the width, and kept under the lines written.

#include <gtest/gtest.h>

#include <sstream>

#include "Console.h"

namespace cosupdate::cli {
namespace {

TEST(Console, TerminalRewritesTheStatusAndKeepsLinesAboveIt) {
    std::ostringstream err;
    {
        Console console(err, true, 12);
        console.status("running a");
        console.status("running b, far too long");
        console.line("log\x1B line");
    }
    EXPECT_EQ(err.str(),
              "running a"
              "\r\033[Krunning b, \r\033[K"  // cut to 11 columns
              "log\\x1B line\nrunning b, "   // the status comes back under the line
              "\r\033[K");                   // and goes at the end
}

TEST(Console, CutsTheStatusBetweenCharacters) {
    std::ostringstream err;
    {
        Console console(err, true, 5);
        console.status("ab\xE2\x82\xAC\xE2\x82\xAC");  // "ab" and two euro signs
    }
    EXPECT_EQ(err.str(), "ab\r\033[K") << "a euro sign cut in two";
}

}  // namespace
}  // namespace cosupdate::cli

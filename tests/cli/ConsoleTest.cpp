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

}  // namespace
}  // namespace cosupdate::cli

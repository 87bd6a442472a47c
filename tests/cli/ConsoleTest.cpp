// The console's stderr layout: lines above a status line that is rewritten
// in place on a terminal and absent otherwise.

#include <gtest/gtest.h>

#include <sstream>

#include "ChipFile.h"
#include "Console.h"
#include "Errors.h"
#include "Transport.h"

namespace cosupdate::cli {
namespace {

TEST(Console, PlainOutputHasLinesOnly) {
    std::ostringstream err;
    {
        Console console(err, false);
        console.status("running a");
        console.line("one");
        console.status("running b");
        console.line("two");
    }
    EXPECT_EQ(err.str(), "one\ntwo\n");
}

TEST(Console, TerminalOutputRewritesTheStatusAndKeepsLinesAboveIt) {
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
              "log  line\nrunning b, "       // the status comes back under the line
              "\r\033[K");                   // and goes at the end
}

TEST(ChipFile, DefaultLocationFollowsTheEnvironment) {
    EXPECT_EQ(defaultChipFile("/x/state", "/home/u"), "/x/state/cosupdate/chip.state");
    EXPECT_EQ(defaultChipFile("", "/home/u"), "/home/u/.local/state/cosupdate/chip.state");
    EXPECT_EQ(defaultChipFile(nullptr, "/home/u"), "/home/u/.local/state/cosupdate/chip.state");
    EXPECT_EQ(defaultChipFile(nullptr, nullptr), "cosupdate-chip.state");
}

TEST(Transport, ChoiceSplitsAtTheFirstColon) {
    const TransportChoice pcsc = parseTransportChoice("pcsc:Reader: 00 00");
    EXPECT_EQ(pcsc.name, "pcsc");
    EXPECT_EQ(pcsc.argument, "Reader: 00 00");
    const TransportChoice sim = parseTransportChoice("sim");
    EXPECT_EQ(sim.name, "sim");
    EXPECT_EQ(sim.argument, "");
}

TEST(Transport, RegistryKnowsEveryKindAndRefusesOthers) {
    EXPECT_EQ(findTransport("sim").name, "sim");
    EXPECT_THROW(findTransport("usb"), UsageError);
#if defined(COSUPDATE_HAVE_PCSC)
    EXPECT_EQ(findTransport("pcsc").name, "pcsc");
#else
    EXPECT_THROW(findTransport("pcsc"), UsageError);
#endif
}

}  // namespace
}  // namespace cosupdate::cli

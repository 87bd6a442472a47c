// The chip state file: round trip and the errors a hand-edited file can hold.

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "cosim/StateFile.h"

namespace cosim {
namespace {

TEST(StateFile, RoundTripsEveryField) {
    ChipState state = ChipState::factoryDefault();
    state.cosVersion = 0x0A0B;
    state.customerId = "Big Customer Inc";
    state.fc.clear();
    state.services = {fromHex("F05A4C4D53000001"), fromHex("A000000001")};
    const std::string path = ::testing::TempDir() + "/state-roundtrip.txt";

    saveStateFile(path, state);

    EXPECT_EQ(loadStateFile(path), state);
    std::ifstream leftover(path + ".tmp." + std::to_string(::getpid()));
    EXPECT_FALSE(leftover.good());
}

TEST(StateFile, FactoryDefaultIsDocumented) {
    EXPECT_EQ(formatState(ChipState::factoryDefault()),
              "# simulated secure element\n"
              "platform-id ZLM-P1\n"
              "cos-version 0100\n"
              "customer-id ACME\n"
              "fc 5A4C4D010000002A\n"
              "fd 0A010003\n");
}

struct BadState {
    const char* text;
    const char* error;
};

class BadStateFile : public ::testing::TestWithParam<BadState> {};

TEST_P(BadStateFile, NamesTheFault) {
    try {
        parseState(GetParam().text);
        FAIL() << "accepted";
    } catch (const StateFileError& e) {
        EXPECT_NE(std::string(e.what()).find(GetParam().error), std::string::npos) << e.what();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, BadStateFile,
    ::testing::Values(
        BadState{"platform-id P\ncos-version 0100\ncolour blue\nfd 00000000\n",
                 "line 3: unknown key 'colour'"},
        BadState{"platform-id P\ncos-version 01G0\nfd 00000000\n", "line 2: not a hex digit"},
        BadState{"platform-id P\ncos-version 10000\nfd 00000000\n", "line 2: cos-version"},
        BadState{"platform-id P\ncos-version 0100\nfd 000000\n", "line 3: fd needs exactly 4"},
        BadState{"platform-id P\nplatform-id Q\n", "line 2: 'platform-id' given twice"},
        BadState{"# no identity\ncos-version 0100\nfd 00000000\n", "'platform-id' missing"},
        BadState{"platform-id P\ncos-version 0100\nfd 00000000\nservice F0\n",
                 "AID of 5 to 16 bytes"},
        BadState{"platform-id P\ncos-version 0100\nfd 00000000\nservice F05A4C4D00FE\n",
                 "AID of the chip itself"},
        BadState{"platform-id \nfd 00000000\ncos-version 1\n", "platform id"}));

TEST(StateFile, MissingFileIsAnError) {
    EXPECT_THROW(loadStateFile(::testing::TempDir() + "/no-such-state.txt"), StateFileError);
}

}  // namespace
}  // namespace cosim

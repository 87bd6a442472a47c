// The chip state file: every field round trips; a corrupt file is refused with its line.

#include <gtest/gtest.h>

#include <string>

#include "cosim/StateFile.h"

namespace cosim {
namespace {

TEST(StateFile, RoundTripsEveryField) {
    const ChipState full{
        "ZLM-P9 rev B",           0x0A0B,
        "Big Customer Inc",       fromHex("0102030405"),
        {0xDE, 0xAD, 0xBE, 0xEF}, {fromHex("F05A4C4D53000001"), fromHex("A000000001")}};
    ChipState sparse = ChipState::factoryDefault();
    sparse.customerId.clear();
    sparse.fc.clear();
    const std::string path = ::testing::TempDir() + "/state-roundtrip.txt";
    for (const ChipState& state : {full, sparse}) {
        saveStateFile(path, state);
        EXPECT_EQ(loadStateFile(path), state) << describe(state);
    }
}

TEST(StateFile, CorruptFileIsRefusedWithItsLine) {
    const std::string head = "platform-id P\ncos-version 0100\n";
    for (const auto& [text, error] : std::initializer_list<std::pair<std::string, const char*>>{
             {head + "colour blue\nfd 00000000\n", "line 3: unknown key 'colour'"},
             {"platform-id P\ncos-version 01G0\nfd 00000000\n", "line 2: not a hex digit"},
             {head + "fd 000000\n", "line 3: fd needs exactly 4"},
             {head + "fd 00000000\nplatform-id Q\n", "line 4: 'platform-id' given twice"},
             {"cos-version 0100\nfd 00000000\n", "'platform-id' missing"}}) {
        try {
            parseState(text);
            ADD_FAILURE() << "accepted:\n" << text;
        } catch (const StateFileError& e) {
            EXPECT_NE(std::string(e.what()).find(error), std::string::npos) << e.what();
        }
    }
}

}  // namespace
}  // namespace cosim

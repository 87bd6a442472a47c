// The chip model's APDU protocol, status words and anti-tearing.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "cosim/Chip.h"
#include "cosim/Crc32.h"
#include "cosim/Protocol.h"
#include "cosim/StatusWords.h"

namespace cosim {
namespace {

uint16_t statusOf(const Bytes& response) {
    return readU16(&response[response.size() - 2]);
}

class PoweredChip : public ::testing::Test {
  protected:
    PoweredChip() { chip.powerOn(); }
    uint16_t send(const Bytes& apdu) { return statusOf(chip.transmit(apdu)); }
    uint16_t send(const std::string& hex) { return send(fromHex(hex)); }

    Chip chip;
};

struct CommandCase {
    const char* selected;  // AID to select first, hex; empty: none
    const char* command;
    uint16_t statusWord;
};

class ChipCommand : public PoweredChip, public ::testing::WithParamInterface<CommandCase> {};

TEST_P(ChipCommand, AnswersWithItsStatusWord) {
    if (GetParam().selected[0] != '\0') {
        ASSERT_EQ(send(selectCommand(fromHex(GetParam().selected))), sw::kOk);
    }
    EXPECT_EQ(send(GetParam().command), GetParam().statusWord) << GetParam().command;
}

INSTANTIATE_TEST_SUITE_P(
    Protocol, ChipCommand,
    ::testing::Values(CommandCase{"", "00A4040006F05A4C4D00FE00", sw::kOk},
                      CommandCase{"", "00A4040006F05A4C4D00FF00", sw::kNotFound},
                      CommandCase{"", "00A4000006F05A4C4D00FE", sw::kIncorrectP1P2},
                      CommandCase{"", "00A4040005F05A4C4D", sw::kWrongLength},
                      CommandCase{"", "00A40400000006F05A4C4D00FE", sw::kWrongLength},
                      CommandCase{"", "00B0000000", sw::kNoCurrentObject},
                      CommandCase{"", "00CA000000", sw::kInsNotSupported},
                      CommandCase{"", "A0A4040006F05A4C4D00FE", sw::kClaNotSupported},
                      CommandCase{"", "80A4040006F05A4C4D00FE", sw::kClaNotSupported},
                      CommandCase{"", "01A4040006F05A4C4D00FE", sw::kLogicalChannelNotSupported},
                      CommandCase{"", "00A4", sw::kWrongLength},
                      CommandCase{"F05A4C4D00FE", "00B0000000", sw::kOk},
                      CommandCase{"F05A4C4D00FE", "00B0004000", sw::kOffsetOutOfRange},
                      CommandCase{"F05A4C4D00FE", "00B0810000", sw::kIncorrectP1P2},
                      CommandCase{"F05A4C4D00FE", "00B00000", sw::kWrongLength},
                      CommandCase{"F05A4C4D00FE", "80540000", sw::kInsNotSupported},
                      CommandCase{"F05A4C4D0010", "00B0000000", sw::kInsNotSupported},
                      CommandCase{"F05A4C4D0010", "00540000", sw::kClaNotSupported},
                      CommandCase{"F05A4C4D0010", "80540000", sw::kConditionsNotSatisfied},
                      CommandCase{"F05A4C4D0010", "80540000 01 00", sw::kWrongLength}));

TEST_F(PoweredChip, ObjectsReadBackInChunks) {
    ChipState state = ChipState::factoryDefault();
    state.fc.assign(300, 0x5A);
    chip.setState(state);
    chip.powerOn();
    ASSERT_EQ(send(selectCommand(aid::kFC)), sw::kOk);

    const Bytes first = chip.transmit(readBinaryCommand(0, 0));
    const Bytes rest = chip.transmit(readBinaryCommand(256, 0));

    EXPECT_EQ(first.size(), 256u + 2);
    EXPECT_EQ(rest.size(), 44u + 2);
    EXPECT_EQ(chip.transmit(readBinaryCommand(300, 0)), fromHex("9000"));
}

TEST_F(PoweredChip, FeCarriesIdentityAsTlvs) {
    ASSERT_EQ(send(selectCommand(aid::kFE)), sw::kOk);
    EXPECT_EQ(chip.transmit(readBinaryCommand(0, 0)),
              fromHex("C1065A4C4D2D5031 C2020100 C30441434D45 9000"));
}

TEST(Chip, RefusesToWorkUnpowered) {
    Chip chip;
    EXPECT_THROW(chip.transmit(selectCommand(aid::kFE)), std::logic_error);
    EXPECT_EQ(chip.powerOn(), answerToReset());
}

TEST(Chip, AnswerToResetChecksOut) {
    uint8_t check = 0;
    for (size_t i = 1; i < answerToReset().size(); ++i) {
        check ^= answerToReset()[i];
    }
    EXPECT_EQ(check, 0);
}

// The checksum BEGIN PATCH declares must be zlib's: check values of the
// standard, and any split of the input into update() calls gives the same.
uint32_t bitwiseCrc32(const Bytes& data) {
    uint32_t c = 0xFFFFFFFFu;
    for (uint8_t byte : data) {
        c ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            c = (c & 1u) ? (c >> 1) ^ 0xEDB88320u : c >> 1;
        }
    }
    return ~c;
}

TEST(Crc32, GivesTheStandardCheckValues) {
    const std::string digits = "123456789";
    const std::string fox = "The quick brown fox jumps over the lazy dog";
    EXPECT_EQ(crc32(reinterpret_cast<const uint8_t*>(digits.data()), digits.size()), 0xCBF43926u);
    EXPECT_EQ(crc32(reinterpret_cast<const uint8_t*>(fox.data()), fox.size()), 0x414FA339u);
    EXPECT_EQ(crc32(nullptr, 0), 0u);
}

TEST(Crc32, AnySplitOfTheInputGivesTheBitwiseResult) {
    Bytes data(1037);
    uint32_t state = 12345;
    for (uint8_t& byte : data) {
        state = state * 1103515245u + 12345u;
        byte = static_cast<uint8_t>(state >> 16);
    }
    const uint32_t expected = bitwiseCrc32(data);
    for (size_t piece = 1; piece <= 17; ++piece) {
        SCOPED_TRACE(piece);
        Crc32 crc;
        for (size_t offset = 0; offset < data.size(); offset += piece) {
            crc.update(&data[offset], std::min(piece, data.size() - offset));
        }
        EXPECT_EQ(crc.value(), expected);
    }
    for (size_t length = 0; length <= 24; ++length) {
        const Bytes prefix(data.begin(), data.begin() + static_cast<ptrdiff_t>(length));
        EXPECT_EQ(crc32(prefix.data(), prefix.size()), bitwiseCrc32(prefix)) << length;
    }
}

// A patch image, its commands, and the chip's answers.
class PatchProtocol : public PoweredChip {
  protected:
    PatchProtocol() : image(600) {
        for (size_t i = 0; i < image.size(); ++i) {
            image[i] = static_cast<uint8_t>(i * 7);
        }
        crc = crc32(image.data(), image.size());
        send(selectCommand(aid::kLoader));
    }
    uint16_t begin(uint16_t base = 0x0100, uint16_t target = 0x0101) {
        return send(beginPatchCommand(base, target, static_cast<uint32_t>(image.size()), crc));
    }
    uint16_t load(size_t offset, size_t size) {
        return send(loadBlockCommand(static_cast<uint32_t>(offset), &image[offset], size));
    }
    uint16_t loadAll() {
        uint16_t status = sw::kOk;
        for (size_t offset = 0; offset < image.size() && status == sw::kOk; offset += 200) {
            status = load(offset, 200);
        }
        return status;
    }

    Bytes image;
    uint32_t crc = 0;
};

TEST_F(PatchProtocol, CompleteImageCommitsTheTargetVersion) {
    const uint64_t generation = chip.stateGeneration();
    ASSERT_EQ(begin(), sw::kOk);
    ASSERT_EQ(loadAll(), sw::kOk);

    EXPECT_EQ(send(commitCommand()), sw::kOk);
    EXPECT_EQ(chip.state().cosVersion, 0x0101);
    EXPECT_EQ(chip.stateGeneration(), generation + 1);
    EXPECT_EQ(begin(), sw::kAlreadyExists);  // re-running the patch finds it done
}

TEST_F(PatchProtocol, BeginChecksVersionsAndLength) {
    EXPECT_EQ(begin(0x00FF, 0x0101), sw::kConditionsNotSatisfied);
    EXPECT_EQ(begin(0x0100, 0x0100), sw::kWrongData);
    EXPECT_EQ(send(beginPatchCommand(0x0100, 0x0101, 0, 0)), sw::kWrongData);
    EXPECT_EQ(send(beginPatchCommand(0x0100, 0x0101, kMaxImageSize + 1, 0)), sw::kNotEnoughMemory);
    EXPECT_EQ(send("80500000 04 01000101"), sw::kWrongLength);
    EXPECT_EQ(send(beginPatchCommand(0x00F0, 0x0100, 16, 0)), sw::kAlreadyExists);
}

TEST_F(PatchProtocol, BlocksMustComeInOrderAndWithinTheImage) {
    EXPECT_EQ(load(0, 10), sw::kConditionsNotSatisfied);  // no BEGIN yet
    ASSERT_EQ(begin(), sw::kOk);
    EXPECT_EQ(load(10, 10), sw::kWrongData);
    EXPECT_EQ(load(0, 200), sw::kOk);
    EXPECT_EQ(load(0, 200), sw::kWrongData);
    EXPECT_EQ(send("80520000 04 000000C8"), sw::kWrongLength);
    EXPECT_EQ(load(200, 200), sw::kOk);
    const Bytes tooLong(201, 0x00);
    EXPECT_EQ(send(loadBlockCommand(400, tooLong.data(), tooLong.size())), sw::kWrongData);
}

TEST_F(PatchProtocol, IncompleteOrCorruptImageNeverCommits) {
    ASSERT_EQ(begin(), sw::kOk);
    ASSERT_EQ(load(0, 200), sw::kOk);
    EXPECT_EQ(send(commitCommand()), sw::kConditionsNotSatisfied);
    ASSERT_EQ(load(200, 200), sw::kOk);
    image[450] ^= 0x01;
    ASSERT_EQ(load(400, 200), sw::kOk);

    EXPECT_EQ(send(commitCommand()), sw::kWrongData);
    EXPECT_EQ(send(commitCommand()), sw::kConditionsNotSatisfied);  // the bad image is gone
    EXPECT_EQ(chip.state().cosVersion, 0x0100);
}

TEST_F(PatchProtocol, ServicesAreStagedThenCommittedTogether) {
    const Bytes first = fromHex("F05A4C4D53000001");
    const Bytes second = fromHex("F05A4C4D53000002");
    ASSERT_EQ(send(installServiceCommand(first)), sw::kOk);
    ASSERT_EQ(send(installServiceCommand(second)), sw::kOk);
    EXPECT_EQ(send(installServiceCommand(second)), sw::kAlreadyExists);
    EXPECT_EQ(begin(), sw::kConditionsNotSatisfied);  // one kind of work at a time
    EXPECT_TRUE(chip.state().services.empty());

    ASSERT_EQ(send(commitCommand()), sw::kOk);

    EXPECT_EQ(chip.state().services, (std::set<Bytes>{first, second}));
    EXPECT_EQ(send(selectCommand(second)), sw::kOk);
    EXPECT_EQ(send("00B0000000"), sw::kInsNotSupported);
}

TEST_F(PatchProtocol, ServiceAidsAreChecked) {
    EXPECT_EQ(send(installServiceCommand(fromHex("F05A4C4D"))), sw::kWrongData);
    EXPECT_EQ(send(installServiceCommand(aid::kFE)), sw::kAlreadyExists);
    ASSERT_EQ(begin(), sw::kOk);
    EXPECT_EQ(send(installServiceCommand(fromHex("F05A4C4D53000001"))),
              sw::kConditionsNotSatisfied);
}

TEST_F(PatchProtocol, ServiceSpaceIsLimited) {
    for (size_t i = 0; i < kMaxServices; ++i) {
        ASSERT_EQ(send(installServiceCommand(Bytes{0xF1, 0, 0, 0, static_cast<uint8_t>(i)})),
                  sw::kOk);
    }
    EXPECT_EQ(send(installServiceCommand(fromHex("F200000000"))), sw::kNotEnoughMemory);
}

// Power lost after any prefix of the patch's APDUs: the version is the base
// unless the COMMIT itself went through.
TEST_F(PatchProtocol, PowerLossAtAnyPointLeavesBaseOrTarget) {
    std::vector<Bytes> commands{selectCommand(aid::kLoader),
                                beginPatchCommand(0x0100, 0x0101, 600, crc)};
    for (size_t offset = 0; offset < image.size(); offset += 200) {
        commands.push_back(loadBlockCommand(static_cast<uint32_t>(offset), &image[offset], 200));
    }
    commands.push_back(commitCommand());
    for (size_t cut = 0; cut <= commands.size(); ++cut) {
        chip.setState(ChipState::factoryDefault());
        chip.powerOn();
        for (size_t i = 0; i < cut; ++i) {
            chip.transmit(commands[i]);
        }
        chip.powerOff();
        chip.powerOn();

        const uint16_t expected = cut == commands.size() ? 0x0101 : 0x0100;
        EXPECT_EQ(chip.state().cosVersion, expected) << "cut after " << cut;
    }
}

TEST_F(PatchProtocol, SelectingElsewhereDropsStagedWork) {
    ASSERT_EQ(send(installServiceCommand(fromHex("F05A4C4D53000001"))), sw::kOk);
    send(selectCommand(aid::kFE));
    send(selectCommand(aid::kLoader));

    EXPECT_EQ(send(commitCommand()), sw::kConditionsNotSatisfied);
    EXPECT_TRUE(chip.state().services.empty());
}

}  // namespace
}  // namespace cosim

// The chip's loader: a patch commits only complete, with its CRC-32, on its base;
// a power loss at any APDU leaves the chip as it was or wholly updated.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "cosim/Chip.h"
#include "cosim/Crc32.h"
#include "cosim/Protocol.h"
#include "cosim/StatusWords.h"

namespace cosim {
namespace {

uint16_t send(Chip& chip, const Bytes& apdu) {
    const Bytes response = chip.transmit(apdu);
    return readU16(&response[response.size() - 2]);
}

// SELECT, BEGIN `base` -> 0101 of a 600-byte image, the first `blocks` of its
// three blocks (one byte flipped on the way when `corrupt`), COMMIT.
std::vector<Bytes> patchCommands(uint16_t base, size_t blocks, bool corrupt) {
    Bytes image(600);
    for (size_t i = 0; i < image.size(); ++i) {
        image[i] = static_cast<uint8_t>(i * 7);
    }
    std::vector<Bytes> commands{selectCommand(aid::kLoader),
                                beginPatchCommand(base, 0x0101, 600, crc32(image.data(), 600))};
    image[450] ^= corrupt ? 1 : 0;
    for (size_t i = 0; i < blocks; ++i) {
        commands.push_back(loadBlockCommand(static_cast<uint32_t>(i * 200), &image[i * 200], 200));
    }
    commands.push_back(commitCommand());
    return commands;
}

TEST(ChipLoader, CommitsOnlyACompleteImageWithItsCrcOnItsBase) {
    struct Case {
        const char* what;
        std::vector<Bytes> commands;
        uint16_t commitStatus;
    };
    for (const Case& c :
         {Case{"complete", patchCommands(0x0100, 3, false), sw::kOk},
          Case{"two blocks of three", patchCommands(0x0100, 2, false), sw::kConditionsNotSatisfied},
          Case{"CRC mismatch", patchCommands(0x0100, 3, true), sw::kWrongData},
          Case{"another base", patchCommands(0x00FF, 3, false), sw::kConditionsNotSatisfied}}) {
        SCOPED_TRACE(c.what);
        Chip chip;
        chip.powerOn();
        for (size_t i = 0; i + 1 < c.commands.size(); ++i) {
            send(chip, c.commands[i]);
        }
        EXPECT_EQ(send(chip, commitCommand()), c.commitStatus);
        EXPECT_EQ(chip.state().cosVersion, c.commitStatus == sw::kOk ? 0x0101 : 0x0100);
        // Nothing is left to commit later.
        EXPECT_EQ(send(chip, commitCommand()), sw::kConditionsNotSatisfied);
    }
}

TEST(ChipLoader, PowerLossAtAnyApduLeavesTheChipAsItWasOrWhollyUpdated) {
    const Bytes serviceA = fromHex("F05A4C4D53000001"), serviceB = fromHex("F05A4C4D53000002");
    ChipState patched = ChipState::factoryDefault();
    patched.cosVersion = 0x0101;
    ChipState withServices = ChipState::factoryDefault();
    withServices.services = {serviceA, serviceB};
    const std::vector<std::pair<std::vector<Bytes>, ChipState>> updates{
        {patchCommands(0x0100, 3, false), patched},
        {{selectCommand(aid::kLoader), installServiceCommand(serviceA),
          installServiceCommand(serviceB), commitCommand()},
         withServices}};
    for (const auto& [commands, updated] : updates) {
        for (size_t cut = 0; cut <= commands.size(); ++cut) {
            SCOPED_TRACE("power lost after APDU " + std::to_string(cut));
            Chip chip;
            chip.powerOn();
            for (size_t i = 0; i < cut; ++i) {
                send(chip, commands[i]);
            }
            chip.powerOff();
            chip.powerOn();
            send(chip, selectCommand(aid::kLoader));
            EXPECT_EQ(send(chip, commitCommand()), sw::kConditionsNotSatisfied);
            EXPECT_EQ(chip.state(), cut == commands.size() ? updated : ChipState::factoryDefault())
                << describe(chip.state());
        }
    }
}

// The chip's CRC-32 must be zlib's, however the image is split into blocks.
TEST(Crc32, IsTheStandardOneForAnySplit) {
    const std::string digits = "123456789";
    EXPECT_EQ(crc32(reinterpret_cast<const uint8_t*>(digits.data()), digits.size()), 0xCBF43926u);
    Bytes data(1037);
    for (size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<uint8_t>((i * 2654435761u) >> 13);
    }
    for (size_t piece = 1; piece <= 17; ++piece) {
        Crc32 crc;
        for (size_t offset = 0; offset < data.size(); offset += piece) {
            crc.update(&data[offset], std::min(piece, data.size() - offset));
        }
        EXPECT_EQ(crc.value(), crc32(data.data(), data.size())) << "pieces of " << piece;
    }
}

}  // namespace
}  // namespace cosim

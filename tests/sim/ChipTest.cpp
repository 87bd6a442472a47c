// The simulated chip: its loader commits a patch only complete, with its
// CRC-32 (zlib's, however the image is split), on its base; a corrupt state
// file is refused with its line.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "cosim/Chip.h"
#include "cosim/Crc32.h"
#include "cosim/Protocol.h"
#include "cosim/StateFile.h"

namespace cosim {
namespace {

uint16_t send(Chip& chip, const Bytes& command) {
    return apdu::statusWordOf(chip.transmit(command));
}

TEST(ChipLoader, CommitsOnlyACompleteImageWithItsCrcOnItsBase) {
    struct Case {
        const char* what;
        uint16_t base;
        size_t blocks;  // of three, 200 bytes each
        bool corrupt;   // a byte flipped on the way
        uint16_t commitStatus;
    };
    for (const Case& c :
         {Case{"complete", 0x0100, 3, false, sw::kOk},
          Case{"two blocks of three", 0x0100, 2, false, sw::kConditionsNotSatisfied},
          Case{"CRC mismatch", 0x0100, 3, true, sw::kWrongData},
          Case{"another base", 0x00FF, 3, false, sw::kConditionsNotSatisfied}}) {
        SCOPED_TRACE(c.what);
        Bytes image(600);
        for (size_t i = 0; i < image.size(); ++i) {
            image[i] = static_cast<uint8_t>(i * 7);
        }
        Chip chip;
        chip.powerOn();
        send(chip, selectCommand(aid::kLoader));
        send(chip, beginPatchCommand(c.base, 0x0101, 600, crc32(image.data(), 600)));
        image[450] ^= c.corrupt ? 1 : 0;
        for (size_t i = 0; i < c.blocks; ++i) {
            send(chip, loadBlockCommand(static_cast<uint32_t>(i * 200), &image[i * 200], 200));
        }
        EXPECT_EQ(send(chip, commitCommand()), c.commitStatus);
        EXPECT_EQ(chip.state().cosVersion, c.commitStatus == sw::kOk ? 0x0101 : 0x0100);
        // Nothing is left to commit later.
        EXPECT_EQ(send(chip, commitCommand()), sw::kConditionsNotSatisfied);
    }
}

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

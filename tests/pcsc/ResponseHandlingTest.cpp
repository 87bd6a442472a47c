// The transport's APDU logic without a reader: what it sends to a scripted
// card on 61xx (GET RESPONSE) and 6Cxx (the command again with the Le the card
// asked for), what it returns or throws, and the class byte of a command moved
// to a logical channel.

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "LogicalChannel.h"
#include "ResponseHandling.h"
#include "ZelmarNativeCOSUpdateApi.h"
#include "cosupdate/apdu/Hex.h"

namespace {

using cosupdate::apdu::encodeHex;
using cosupdate::pcsc::Bytes;
using Zelmar::Device::COS::V1_0::COSUpdateException;

Bytes hex(const std::string& text) {
    return cosupdate::apdu::decodeHex(text).bytes;
}

// What the card is sent and answers in turn: "command answer command ..."
// ("!": the link fails instead), and what transceive() then returns or, after
// "!", the text of the COSUpdateException it throws.
struct Exchange {
    const char* name;
    uint8_t channelCla;  // the class byte GET RESPONSE must carry
    std::string transcript;
    std::string result;
};

std::string endlessMoreData() {
    std::string transcript = "00B0000000 AA6101";
    for (size_t round = 0; round < cosupdate::pcsc::kMaxGetResponseRounds; ++round) {
        transcript += " 00C0000001 AA6101";
    }
    return transcript;
}

const std::vector<Exchange> kExchanges = {
    {"ErrorStatusPassesThrough", 0x00, "80540000 6A80", "6A80"},
    {"MoreDataFetched", 0x00, "00A4040002AABB00 6104 00C0000004 6F0284009000", "6F0284009000"},
    {"DataOfEveryRoundKeptOnTheChannel", 0x43,
     "43B0000000 AABB6100 43C0000000 CCCC6101 43C0000001 DD6283", "AABBCCCCDD6283"},
    {"WrongLeOnCaseOneAddsLe", 0x00, "80CA9F7F 6C02 80CA9F7F02 AABB9000", "AABB9000"},
    {"WrongLeOnCaseTwoReplacesLe", 0x00, "00B0000000 6C03 00B0000003 1122339000", "1122339000"},
    {"WrongLeOnExtendedCaseFour", 0x00, "80E20000000001110000 6C00 80E20000000001110100 9000",
     "9000"},
    {"WrongLeTwiceIsReturned", 0x00, "00B0000000 6C08 00B0000008 6C04", "6C04"},
    {"WrongLeThenMoreData", 0x00, "80CA9F7F 6C02 80CA9F7F02 AA6101 00C0000001 BB9000", "AABB9000"},
    {"WrongLeOnGetResponse", 0x00, "00B0000000 6100 00C0000000 6C02 00C0000002 AABB9000",
     "AABB9000"},
    {"NoStatusWordInTheChain", 0x00, "00B0000000 6101 00C0000001 90",
     "!card answered 1 byte(s), no status word"},
    {"LinkFailureInTheChain", 0x00, "00B0000000 6101 00C0000001 !", "!link failure"},
    {"EndlessMoreData", 0x00, endlessMoreData(),
     "!card still answered 6101 after 256 GET RESPONSE commands"},
};

TEST(ResponseHandling, SendsWhatTheCardAsksForAndReturnsTheWholeAnswer) {
    for (const Exchange& c : kExchanges) {
        SCOPED_TRACE(c.name);
        std::istringstream words(c.transcript);
        const std::vector<std::string> transcript{std::istream_iterator<std::string>(words), {}};
        size_t next = 0;
        const auto card = [&](const Bytes& command) {
            if (next + 1 >= transcript.size()) {
                ADD_FAILURE() << "unexpected " << encodeHex(command);
                throw std::logic_error("the card has no answer");
            }
            EXPECT_EQ(encodeHex(command), transcript[next]);
            const std::string& answer = transcript[next + 1];
            next += 2;
            if (answer == "!") {
                throw COSUpdateException("link failure");
            }
            return hex(answer);
        };
        std::string result;
        try {
            result = encodeHex(cosupdate::pcsc::transceive(hex(transcript[0]), card, c.channelCla));
        } catch (const COSUpdateException& e) {
            result = std::string("!") + e.what();
        }
        EXPECT_EQ(result, c.result);
        EXPECT_EQ(next, transcript.size()) << "answers left unasked for";
    }
}

TEST(LogicalChannel, ClassByteAddressesTheChannelKeepingTheRestOfTheClass) {
    struct {
        uint8_t cla;
        uint8_t channel;
        int expected;  // -1: cannot be expressed
    } const cases[] = {
        {0x00, 0, 0x00}, {0x00, 3, 0x03}, {0x80, 2, 0x82}, {0x00, 4, 0x40}, {0x80, 19, 0xCF},
        {0x10, 5, 0x51}, {0x0C, 2, 0x0E}, {0x08, 4, 0x60}, {0x60, 1, 0x09}, {0x03, 1, 0x01},
        {0x4F, 2, 0x02}, {0x04, 4, -1},   {0xFF, 1, -1},   {0x20, 1, -1},   {0x00, 20, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << "CLA " << int{c.cla} << " on channel "
                                        << std::dec << int{c.channel});
        if (c.expected < 0) {
            EXPECT_THROW(cosupdate::pcsc::claForChannel(c.cla, c.channel), COSUpdateException);
        } else {
            EXPECT_EQ(cosupdate::pcsc::claForChannel(c.cla, c.channel), c.expected);
        }
    }
}

}  // namespace

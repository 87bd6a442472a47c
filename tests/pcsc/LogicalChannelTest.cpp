// The class byte of a command moved to a logical channel, and what the card
// grants when asked for one.

#include <gtest/gtest.h>

#include <optional>
#include <ostream>

#include "LogicalChannel.h"
#include "ScriptedCard.h"
#include "ZelmarNativeCOSUpdateApi.h"

namespace pcsctest {
namespace {

using cosupdate::pcsc::claForChannel;
using cosupdate::pcsc::grantedChannel;
using Zelmar::Device::COS::V1_0::COSUpdateException;

struct ClaCase {
    const char* name;
    uint8_t cla;
    uint8_t channel;
    int expected;  // -1: cannot be expressed
};

// Test names show the case's name, not its bytes.
void PrintTo(const ClaCase& c, std::ostream* out) {
    *out << c.name;
}

class ClaEncoding : public ::testing::TestWithParam<ClaCase> {};

TEST_P(ClaEncoding, AddressesTheChannelKeepingTheRestOfTheClass) {
    const ClaCase& c = GetParam();
    if (c.expected < 0) {
        EXPECT_THROW(claForChannel(c.cla, c.channel), COSUpdateException);
    } else {
        EXPECT_EQ(claForChannel(c.cla, c.channel), c.expected);
    }
}

INSTANTIATE_TEST_SUITE_P(
    LogicalChannel, ClaEncoding,
    ::testing::Values(
        ClaCase{"BasicStaysBasic", 0x00, 0, 0x00}, ClaCase{"IsoOnChannelOne", 0x00, 1, 0x01},
        ClaCase{"IsoOnChannelThree", 0x00, 3, 0x03},
        ClaCase{"ProprietaryOnChannelTwo", 0x80, 2, 0x82},
        ClaCase{"IsoOnChannelFour", 0x00, 4, 0x40},
        ClaCase{"ProprietaryOnChannelNineteen", 0x80, 19, 0xCF},
        ClaCase{"ChainingKeptLow", 0x10, 2, 0x12}, ClaCase{"ChainingKeptHigh", 0x10, 5, 0x51},
        ClaCase{"SecureMessagingKeptLow", 0x0C, 2, 0x0E},
        ClaCase{"ProprietarySecureMessagingKept", 0x84, 1, 0x85},
        ClaCase{"HeaderNotProcessedSmMovesHigh", 0x08, 4, 0x60},
        ClaCase{"HighSmMovesLow", 0x60, 1, 0x09}, ClaCase{"OldChannelBitsReplaced", 0x03, 1, 0x01},
        ClaCase{"HighLayoutMovesLow", 0x4F, 2, 0x02},
        ClaCase{"ProprietarySmHighIsInexpressible", 0x04, 4, -1},
        ClaCase{"AuthenticatedSmHighIsInexpressible", 0x0C, 7, -1},
        ClaCase{"InvalidClass", 0xFF, 1, -1}, ClaCase{"ReservedClass", 0x20, 1, -1},
        ClaCase{"NoChannelTwenty", 0x00, 20, -1}),
    [](const ::testing::TestParamInfo<ClaCase>& info) { return info.param.name; });

struct GrantCase {
    const char* name;
    const char* answer;
    int expected;  // 0: refused, -1: throws
};

void PrintTo(const GrantCase& c, std::ostream* out) {
    *out << c.name;
}

class Grants : public ::testing::TestWithParam<GrantCase> {};

TEST_P(Grants, NameTheChannelOrTellARefusal) {
    const GrantCase& c = GetParam();
    if (c.expected < 0) {
        EXPECT_THROW(grantedChannel(hex(c.answer)), COSUpdateException);
        return;
    }
    const std::optional<uint8_t> channel = grantedChannel(hex(c.answer));
    if (c.expected == 0) {
        EXPECT_FALSE(channel.has_value());
    } else {
        ASSERT_TRUE(channel.has_value());
        EXPECT_EQ(*channel, c.expected);
    }
}

INSTANTIATE_TEST_SUITE_P(LogicalChannel, Grants,
                         ::testing::Values(GrantCase{"ChannelOne", "019000", 1},
                                           GrantCase{"ChannelNineteen", "139000", 19},
                                           GrantCase{"NotSupported", "6881", 0},
                                           GrantCase{"InsNotSupported", "6D00", 0},
                                           GrantCase{"NoMoreChannels", "6A81", 0},
                                           GrantCase{"SuccessWithoutChannel", "9000", -1},
                                           GrantCase{"SuccessWithBasicChannel", "009000", -1},
                                           GrantCase{"SuccessWithChannelTwenty", "149000", -1},
                                           GrantCase{"SuccessWithTwoBytes", "01029000", -1}),
                         [](const ::testing::TestParamInfo<GrantCase>& info) {
                             return info.param.name;
                         });

}  // namespace
}  // namespace pcsctest

// Sessions on a logical channel or, when the card has none to give, on the
// basic channel: what goes to the card from open to close.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "CardSession.h"
#include "ScriptedCard.h"
#include "ZelmarNativeCOSUpdateApi.h"

namespace pcsctest {
namespace {

using cosupdate::pcsc::CardSession;
using Zelmar::Device::COS::V1_0::COSUpdateException;

const Bytes kAid = hex("F05A4C4D0010");
const Bytes kLoadBlock = hex("80520000 02 AABB");
const char* const kFci = "6F08 8406 F05A4C4D0010 9000";

struct SessionCase {
    const char* name;
    std::vector<std::string> answers;
    std::vector<std::string> expectedSent;
    int expectedChannel;
};

// Test names show the case's name, not its bytes.
void PrintTo(const SessionCase& c, std::ostream* out) {
    *out << c.name;
}

class Sessions : public ::testing::TestWithParam<SessionCase> {};

// open, one command, close: the whole life of a session.
TEST_P(Sessions, RunOnTheChannelTheCardGrants) {
    const SessionCase& c = GetParam();
    ScriptedCard card(c.answers);
    CardSession session(card.transmit());

    EXPECT_EQ(hexOf(session.open(kAid)), hexOf(hex(kFci)));
    EXPECT_EQ(session.channel(), c.expectedChannel);
    EXPECT_EQ(hexOf(session.transmit(kLoadBlock)), "9000");
    session.close();

    EXPECT_FALSE(session.isOpen());
    EXPECT_EQ(card.sent(), canonical(c.expectedSent));
    EXPECT_EQ(card.unanswered(), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    CardSession, Sessions,
    ::testing::Values(
        SessionCase{"LogicalChannelTwo",
                    {"029000", kFci, "9000", "9000"},
                    {"0070000001", "02A4040006F05A4C4D001000", "82520000 02AABB", "00708002"},
                    2},
        SessionCase{"LogicalChannelSeven",
                    {"079000", kFci, "9000", "9000"},
                    {"0070000001", "43A4040006F05A4C4D001000", "C3520000 02AABB", "00708007"},
                    7},
        SessionCase{"ChannelsNotSupported",
                    {"6881", kFci, "9000"},
                    {"0070000001", "00A4040006F05A4C4D001000", "80520000 02AABB"},
                    0},
        SessionCase{
            "MoreDataOnTheChannel",
            {"039000", "610B", kFci, "9000", "9000"},
            {"0070000001", "03A4040006F05A4C4D001000", "03C000000B", "83520000 02AABB", "00708003"},
            3}),
    [](const ::testing::TestParamInfo<SessionCase>& info) { return info.param.name; });

TEST(CardSession, CardThatRefusedChannelsIsNotAskedAgainUntilForgotten) {
    ScriptedCard card({"6D00", kFci, kFci, "6D00", kFci});
    CardSession session(card.transmit());

    session.open(kAid);
    session.open(kAid);  // closes the first: nothing to send on the basic channel
    session.forgetCard();
    session.open(kAid);

    EXPECT_EQ(card.sent(), (std::vector<std::string>{"0070000001", "00A4040006F05A4C4D001000",
                                                     "00A4040006F05A4C4D001000", "0070000001",
                                                     "00A4040006F05A4C4D001000"}));
}

TEST(CardSession, RefusedCloseStillEndsTheSession) {
    ScriptedCard card({"019000", kFci, "6A88"});
    CardSession session(card.transmit());
    session.open(kAid);

    EXPECT_THROW(session.close(), COSUpdateException);
    EXPECT_FALSE(session.isOpen());
    EXPECT_THROW(session.transmit(kLoadBlock), COSUpdateException);
}

TEST(CardSession, FailedSelectGivesTheChannelBack) {
    ScriptedCard card({"019000", kLinkFailure, "9000"});
    CardSession session(card.transmit());

    EXPECT_THROW(session.open(kAid), COSUpdateException);

    EXPECT_FALSE(session.isOpen());
    EXPECT_EQ(card.sent().back(), "00708001");
}

TEST(CardSession, CommandsNeedAnOpenSessionAndAHeader) {
    ScriptedCard card({"6881", kFci});
    CardSession session(card.transmit());
    EXPECT_THROW(session.transmit(kLoadBlock), COSUpdateException);

    session.open(kAid);
    EXPECT_THROW(session.transmit(hex("8052")), COSUpdateException);
    EXPECT_EQ(card.sent().size(), 2u);
}

}  // namespace
}  // namespace pcsctest

// 61xx and 6Cxx recovery, table-driven over a scripted card.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "ResponseHandling.h"
#include "ScriptedCard.h"
#include "ZelmarNativeCOSUpdateApi.h"

namespace pcsctest {
namespace {

using cosupdate::pcsc::transceive;
using Zelmar::Device::COS::V1_0::COSUpdateException;

struct ChainCase {
    const char* name;
    const char* command;
    uint8_t getResponseCla;
    std::vector<std::string> answers;
    std::vector<std::string> expectedSent;
    const char* expectedAnswer;
};

// Test names show the case's name, not its bytes.
void PrintTo(const ChainCase& c, std::ostream* out) {
    *out << c.name;
}

class Chains : public ::testing::TestWithParam<ChainCase> {};

TEST_P(Chains, SendsWhatTheCardAsksForAndReturnsTheWholeAnswer) {
    const ChainCase& c = GetParam();
    ScriptedCard card(c.answers);

    const Bytes answer = transceive(hex(c.command), card.transmit(), c.getResponseCla);

    EXPECT_EQ(hexOf(answer), canonical(c.expectedAnswer));
    EXPECT_EQ(card.sent(), canonical(c.expectedSent));
    EXPECT_EQ(card.unanswered(), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    ResponseHandling, Chains,
    ::testing::Values(
        ChainCase{"StatusOnly", "80540000", 0x00, {"9000"}, {"80540000"}, "9000"},
        ChainCase{"ErrorStatusPassesThrough", "80540000", 0x00, {"6A80"}, {"80540000"}, "6A80"},
        ChainCase{"MoreDataFetchedOnce",
                  "00A4040002AABB00",
                  0x00,
                  {"6104", "6F0284009000"},
                  {"00A4040002AABB00", "00C0000004"},
                  "6F0284009000"},
        ChainCase{"DataBeforeMoreDataIsKept",
                  "00B0000000",
                  0x00,
                  {"AABB6102", "CCDD9000"},
                  {"00B0000000", "00C0000002"},
                  "AABBCCDD9000"},
        ChainCase{"SeveralRoundsUntilTheLastStatus",
                  "00B0000000",
                  0x00,
                  {"6100", "AAAA6101", "BB6283"},
                  {"00B0000000", "00C0000000", "00C0000001"},
                  "AAAABB6283"},
        ChainCase{"GetResponseOnTheCommandsChannel",
                  "82520000",
                  0x42,
                  {"6101", "AA9000"},
                  {"82520000", "42C0000001"},
                  "AA9000"},
        ChainCase{"WrongLeOnCaseTwoReplacesLe",
                  "00B0000000",
                  0x00,
                  {"6C03", "1122339000"},
                  {"00B0000000", "00B0000003"},
                  "1122339000"},
        ChainCase{"WrongLeOnCaseOneAddsLe",
                  "80CA9F7F",
                  0x00,
                  {"6C02", "AABB9000"},
                  {"80CA9F7F", "80CA9F7F02"},
                  "AABB9000"},
        ChainCase{"WrongLeOnCaseThreeAddsLe",
                  "80E2000002AABB",
                  0x00,
                  {"6C01", "EE9000"},
                  {"80E2000002AABB", "80E2000002AABB01"},
                  "EE9000"},
        ChainCase{"WrongLeOnCaseFourReplacesLe",
                  "80E2000002AABB00",
                  0x00,
                  {"6C01", "EE9000"},
                  {"80E2000002AABB00", "80E2000002AABB01"},
                  "EE9000"},
        ChainCase{"WrongLeOnExtendedCaseTwo",
                  "00B00000000000",
                  0x00,
                  {"6C00", "9000"},
                  {"00B00000000000", "00B00000000100"},
                  "9000"},
        ChainCase{"WrongLeOnExtendedCaseFour",
                  "80E2000000000111 0000",
                  0x00,
                  {"6C10", "9000"},
                  {"80E20000000001110000", "80E20000000001110010"},
                  "9000"},
        ChainCase{"WrongLeTwiceIsReturned",
                  "00B0000000",
                  0x00,
                  {"6C08", "6C04"},
                  {"00B0000000", "00B0000008"},
                  "6C04"},
        ChainCase{"WrongLeOnMalformedCommandIsReturned",
                  "00B0000003AA",
                  0x00,
                  {"6C08"},
                  {"00B0000003AA"},
                  "6C08"},
        ChainCase{"WrongLeOnGetResponse",
                  "00B0000000",
                  0x00,
                  {"6100", "6C02", "AABB9000"},
                  {"00B0000000", "00C0000000", "00C0000002"},
                  "AABB9000"},
        ChainCase{"MoreDataAfterWrongLe",
                  "80CA9F7F",
                  0x00,
                  {"6C02", "6102", "AABB9000"},
                  {"80CA9F7F", "80CA9F7F02", "00C0000002"},
                  "AABB9000"}),
    [](const ::testing::TestParamInfo<ChainCase>& info) { return info.param.name; });

struct FailureCase {
    const char* name;
    std::vector<std::string> answers;
    const char* error;
};

void PrintTo(const FailureCase& c, std::ostream* out) {
    *out << c.name;
}

class Failures : public ::testing::TestWithParam<FailureCase> {};

TEST_P(Failures, AreThrownAsCOSUpdateException) {
    ScriptedCard card(GetParam().answers);
    try {
        transceive(hex("00B0000000"), card.transmit(), 0x00);
        FAIL() << "no exception";
    } catch (const COSUpdateException& e) {
        EXPECT_NE(std::string(e.what()).find(GetParam().error), std::string::npos) << e.what();
    }
}

std::vector<std::string> endlessMoreData() {
    std::vector<std::string> answers(cosupdate::pcsc::kMaxGetResponseRounds + 1, "AA6101");
    answers.front() = "6101";
    return answers;
}

INSTANTIATE_TEST_SUITE_P(
    ResponseHandling, Failures,
    ::testing::Values(FailureCase{"EmptyAnswer", {""}, "card answered 0 byte(s), no status word"},
                      FailureCase{"OneByteAnswer", {"90"}, "card answered 1 byte(s)"},
                      FailureCase{"NoStatusWordInTheChain", {"6101", "AA"}, "card answered 1"},
                      FailureCase{"EndlessMoreData", endlessMoreData(),
                                  "card still answered 6101 after 256 GET RESPONSE commands"},
                      FailureCase{"LinkFailureFirst", {kLinkFailure}, "PC/SC: link failure"},
                      FailureCase{
                          "LinkFailureInTheChain", {"6101", kLinkFailure}, "PC/SC: link failure"}),
    [](const ::testing::TestParamInfo<FailureCase>& info) { return info.param.name; });

}  // namespace
}  // namespace pcsctest

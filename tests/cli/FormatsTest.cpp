// Hex, COS versions and the FE object as the tool reads and writes them.

#include <gtest/gtest.h>

#include "Errors.h"
#include "FeObject.h"
#include "Hex.h"

namespace cosupdate::cli {
namespace {

TEST(Hex, ParsesPairsInEitherCaseWithSeparators) {
    const std::vector<std::pair<std::string, Bytes>> cases{
        {"", {}},
        {"00", {0x00}},
        {"F05a4C", {0xF0, 0x5A, 0x4C}},
        {"f0 5a\t4c", {0xF0, 0x5A, 0x4C}},
        {"F0:5A:4C", {0xF0, 0x5A, 0x4C}},
    };
    for (const auto& [text, bytes] : cases) {
        EXPECT_EQ(parseHex(text, "test"), bytes) << text;
        EXPECT_EQ(parseHex(toHex(bytes), "test"), bytes) << "round trip of " << text;
    }
    EXPECT_EQ(toHex({0x0A, 0xBC, 0xFF}), "0ABCFF");
}

TEST(Hex, RefusesWhatIsNotHex) {
    for (const std::string text : {"0", "F0 5", "F 05A", "0x12", "G0", "12-34"}) {
        EXPECT_THROW(parseHex(text, "test"), UsageError) << text;
    }
}

TEST(Version, ReadsOneToFourDigitsAndWritesFour) {
    const std::vector<std::pair<std::string, uint16_t>> cases{
        {"0102", 0x0102}, {"102", 0x0102}, {"1", 1}, {"ffff", 0xFFFF}};
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(parseVersion(text, "v"), value) << text;
    }
    EXPECT_EQ(formatVersion(0x0102), "0102");
    EXPECT_EQ(formatVersion(0xABCD), "ABCD");
    for (const std::string text : {"", "10000", "01.2", "0x12"}) {
        EXPECT_THROW(parseVersion(text, "v"), UsageError) << text;
    }
}

TEST(FeObject, DecodesTheFactoryObject) {
    const CosIdentity identity = decodeFe(parseHex("C1065A4C4D2D5031 C2020100 C30441434D45", "fe"));

    EXPECT_EQ(identity.platformId, "ZLM-P1");
    EXPECT_EQ(identity.cosVersion, 0x0100);
    EXPECT_EQ(identity.customerId, "ACME");
    EXPECT_EQ(describe(identity), "platform ZLM-P1, COS 0100, customer ACME");
}

TEST(FeObject, TakesLongLengthsUnknownTagsAndNoCustomer) {
    Bytes fe{0xC1, 0x81, 0x80};
    fe.insert(fe.end(), 0x80, 'P');
    const Bytes rest = parseHex("C9 01 00  C2 02 0201", "fe");
    fe.insert(fe.end(), rest.begin(), rest.end());

    const CosIdentity identity = decodeFe(fe);

    EXPECT_EQ(identity.platformId, std::string(0x80, 'P'));
    EXPECT_EQ(identity.cosVersion, 0x0201);
    EXPECT_EQ(identity.customerId, "");
    EXPECT_EQ(describe(identity), "platform " + identity.platformId + ", COS 0201, no customer");
}

TEST(FeObject, RefusesMalformedObjects) {
    for (const std::string hex : {
             "",                             // nothing
             "C2020100",                     // no platform id
             "C1065A4C4D2D5031",             // no version
             "C1065A4C4D2D5031 C203010000",  // version of 3 bytes
             "C1075A4C4D2D5031",             // runs past the end
             "C1",                           // length missing
             "C183000001",                   // length form not supported
         }) {
        EXPECT_THROW(decodeFe(parseHex(hex, "fe")), ToolError) << hex;
    }
}

}  // namespace
}  // namespace cosupdate::cli

// Hex text read with each separator set its callers use (none for state
// files, blanks for update files, blanks and colons for the command line),
// where a bad text fails, and status words cut from answers.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "cosupdate/apdu/Bytes.h"
#include "cosupdate/apdu/Hex.h"
#include "cosupdate/apdu/StatusWords.h"

namespace cosupdate::apdu {
namespace {

using Kind = HexError::Kind;

constexpr std::string_view kCommandLine = " \t:";

struct Decoding {
    const char* text;
    std::string_view separators;
    // Expected: the bytes as upper-case hex, or the error.
    const char* bytes;
    Kind kind;
    size_t offset;
};

TEST(Hex, DecodesPairsWithTheSeparatorsAllowedBetweenThem) {
    const Decoding cases[] = {
        {"", kNoSeparators, "", {}, 0},
        {"00fFa5", kNoSeparators, "00FFA5", {}, 0},
        {"F0 5A\t4c\r\n4D ", kBlanks, "F05A4C4D", {}, 0},
        {"F0:5A 4C", kCommandLine, "F05A4C", {}, 0},
        {"F0 5A", kNoSeparators, nullptr, Kind::BadDigit, 2},
        {"F0:5A", kBlanks, nullptr, Kind::BadDigit, 2},
        {"F0\n5A", kCommandLine, nullptr, Kind::BadDigit, 2},
        {"0G", kNoSeparators, nullptr, Kind::UnpairedDigit, 1},
        {"G0", kNoSeparators, nullptr, Kind::BadDigit, 0},
        {"F 0", kBlanks, nullptr, Kind::UnpairedDigit, 1},
        {"F0A", kNoSeparators, nullptr, Kind::UnpairedDigit, 3},
        {"F0A ", kBlanks, nullptr, Kind::UnpairedDigit, 3},
        {"F0\xC3\xA9", kNoSeparators, nullptr, Kind::BadDigit, 2},
    };
    for (const Decoding& c : cases) {
        SCOPED_TRACE(testing::Message() << '"' << c.text << "\" with separators \""
                                        << std::string(c.separators) << '"');
        const HexDecoded decoded = decodeHex(c.text, c.separators);
        if (c.bytes != nullptr) {
            ASSERT_FALSE(decoded.error) << "offset " << decoded.error->offset;
            EXPECT_EQ(encodeHex(decoded.bytes), c.bytes);
        } else {
            ASSERT_TRUE(decoded.error) << encodeHex(decoded.bytes);
            EXPECT_EQ(decoded.error->kind, c.kind);
            EXPECT_EQ(decoded.error->offset, c.offset);
            EXPECT_TRUE(decoded.bytes.empty());
        }
    }
}

TEST(Hex, DescribesTheFaultForMessages) {
    for (const auto& [text, expected] : {
             std::pair<const char*, const char*>{"01G0", "not a hex digit: 'G'"},
             {"0G10", "not a hex digit: 'G'"},
             {"010", "odd number of hex digits"},
         }) {
        const HexDecoded decoded = decodeHex(text);
        ASSERT_TRUE(decoded.error) << text;
        EXPECT_EQ(describe(*decoded.error, text), expected);
    }
}

TEST(Hex, SixteenBitValuesAreFourDigitsOutAndOneToFourIn) {
    EXPECT_EQ(encodeHexU16(0x0102), "0102");
    EXPECT_EQ(encodeHexU16(0xABCD), "ABCD");
    EXPECT_EQ(encodeHex(nullptr, 0), "");
    for (const auto& [text, expected] : {
             std::pair<const char*, int>{"1", 0x0001},
             {"102", 0x0102},
             {"fFfF", 0xFFFF},
             {"", -1},
             {"10000", -1},
             {"01 2", -1},
             {"x1", -1},
         }) {
        const std::optional<uint16_t> value = decodeHexU16(text);
        EXPECT_EQ(value ? int{*value} : -1, expected) << '"' << text << '"';
    }
}

TEST(Bytes, IntegersAreBigEndian) {
    Bytes bytes;
    appendU16(bytes, 0x0102);
    appendU32(bytes, 0x03040506);
    EXPECT_EQ(encodeHex(bytes), "010203040506");
    EXPECT_EQ(readU16(bytes.data()), 0x0102);
    EXPECT_EQ(readU32(bytes.data() + 2), 0x03040506u);
}

TEST(StatusWords, AreTheLastTwoBytesOfAnAnswer) {
    const Bytes answer{0xAA, 0xBB, 0x61, 0x10};
    EXPECT_EQ(statusWordOf(answer), 0x6110);
    EXPECT_EQ(sw1(statusWordOf(answer)), sw::kMoreDataSw1);
    EXPECT_EQ(sw2(statusWordOf(answer)), 0x10);
    EXPECT_EQ(dataOf(answer), (Bytes{0xAA, 0xBB}));
    EXPECT_TRUE(dataOf(Bytes{0x90, 0x00}).empty());
    for (const Bytes& tooShort : {Bytes{}, Bytes{0x90}}) {
        EXPECT_THROW(statusWordOf(tooShort), std::invalid_argument);
        EXPECT_THROW(dataOf(tooShort), std::invalid_argument);
    }
}

}  // namespace
}  // namespace cosupdate::apdu

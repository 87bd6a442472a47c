// The JSON the tool writes, read back by the tests' own parser.

#include <gtest/gtest.h>

#include "Json.h"
#include "JsonParser.h"

namespace cosupdate::cli {
namespace {

TEST(Json, StringsSurviveARoundTrip) {
    const std::vector<std::string> texts{"",
                                         "plain",
                                         "quote \" backslash \\ slash /",
                                         "tab\tnew\nline\rreturn",
                                         std::string("nul \0 bell \a del \x7F", 18),
                                         "UTF-8: \xC3\xA9\xE2\x82\xAC",
                                         "C:\\path\\file.xml"};
    for (const std::string& text : texts) {
        const std::string json = JsonObject().set("s", text).text();
        EXPECT_EQ(clitest::parseJson(json)["s"].string, text) << json;
    }
}

TEST(Json, BytesThatAreNotUtf8BecomeReplacementCharacters) {
    const std::vector<std::string> invalid{
        "\xFF", "\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82"};
    for (const std::string& text : invalid) {
        const std::string json = jsonString("a" + text + "b");
        EXPECT_NO_THROW(clitest::parseJson(json)) << json;
        EXPECT_NE(json.find("\\uFFFD"), std::string::npos) << json;
        EXPECT_EQ(json.find(text), std::string::npos) << json;
    }
}

TEST(Json, ObjectsKeepTheirOrderAndReplaceKeys) {
    JsonObject inner;
    inner.set("n", int64_t{-5}).set("big", uint64_t{18446744073709551615u});
    JsonArray list;
    list.add("x").add(JsonObject().set("y", true));
    JsonObject object;
    object.set("b", 1).set("a", "first").set("inner", inner).set("list", list).setNull("none");
    object.set("a", false);  // replaces, in place

    EXPECT_EQ(object.text(), R"({"b":1,"a":false,"inner":{"n":-5,"big":18446744073709551615},)"
                             R"("list":["x",{"y":true}],"none":null})");
    const clitest::JsonValue parsed = clitest::parseJson(object.text());
    EXPECT_EQ(parsed.keyOrder, (std::vector<std::string>{"b", "a", "inner", "list", "none"}));
}

}  // namespace
}  // namespace cosupdate::cli

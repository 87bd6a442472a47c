// Traces the replay cannot follow: a line changed, lost, cut short, or not
// what the recorder writes though its CRC-32 fits, reported at its call; a
// file that is no trace at all, refused when the replay opens it.

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Session.h"
#include "cosupdate/trace/ReplaySEMedia.h"

namespace cosupdate::trace::session {
namespace {

// An edit of the recorded trace, and what the replay says at call 2.
struct Damage {
    const char* name;
    std::function<std::string(const std::vector<std::string>& lines)> edit;
    std::string text;  // what call 2 throws; a prefix when it ends with '*'
};

// `line` without its CRC member, its '}' and its newline.
std::string body(const std::string& line) {
    return line.substr(0, line.size() - kCrcTailSize - 1);
}

// `content` closed with a CRC-32 that fits it, as if the recorder wrote it.
std::string sealed(std::string content) {
    sealLine(content);
    return content;
}

TEST_F(RecordReplay, ADamagedOrMissingLineIsReportedAtItsCall) {
    record(std::make_shared<ScriptedMedia>(), {open(kLoader), transmit(kLoad), transmit(kCommit)});
    std::vector<std::string> lines;
    std::istringstream text(traceText());
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line + "\n");
    }
    ASSERT_EQ(lines.size(), 4u);
    // Lines that pass their CRC check yet are not what the recorder writes.
    const auto resealed = [](const std::string& content) {
        return
            [content](std::vector<std::string> l) { return l[0] + l[1] + sealed(content) + l[3]; };
    };
    const std::string load = body(lines[2]);
    const std::string rawByte = load + ",\"thrown\":\"other\",\"what\":\"caf\xE9\"";
    std::string negative = load;
    negative.replace(negative.find("\"n\":2"), 5, "\"n\":-2");
    const std::vector<Damage> cases{
        {"a response byte changed",
         [](std::vector<std::string> l) {
             l[2].replace(l[2].find("\"response\":\"80") + 13, 1, "9");
             return l[0] + l[1] + l[2] + l[3];
         },
         "replay: call 2: trace line 3: it is damaged: its CRC-32 is *"},
        {"a line lost", [](std::vector<std::string> l) { return l[0] + l[1] + l[3]; },
         "replay: call 2: trace line 3 holds call 3"},
        {"cut short", [](std::vector<std::string> l) { return l[0] + l[1] + l[2].substr(0, 30); },
         "replay: call 2: trace line 3: it is cut short: it has no newline"},
        {"no seal", [](std::vector<std::string> l) { return l[0] + l[1] + "{\"n\":2}\n" + l[3]; },
         "replay: call 2: trace line 3: it has no CRC-32 at its end"},
        {"a character above FF", resealed(load + ",\"thrown\":\"other\",\"what\":\"\\u0100\""),
         "replay: call 2: trace line 3: it is not JSON a trace holds: its \"what\" holds a "
         "character above \\u00FF"},
        {"a character beyond 16 bits",
         resealed(load + ",\"thrown\":\"other\",\"what\":\"\\uD83D\\uDE00\""),
         "replay: call 2: trace line 3: it is not JSON a trace holds: its \"what\" holds a "
         "character above \\u00FF"},
        {"a raw byte above 7F", resealed(rawByte),
         "replay: call 2: trace line 3: it is not JSON a trace holds: byte E9 at column " +
             std::to_string(rawByte.find('\xE9') + 1) + " is not ASCII"},
        {"a member twice", resealed(load + ",\"n\":3"),
         "replay: call 2: trace line 3: it is not JSON a trace holds: a member comes twice"},
        {"not JSON", resealed(load + ",\"what\""),
         "replay: call 2: trace line 3: it is not JSON a trace holds: at column *"},
        {"a negative call number", resealed(negative),
         "replay: call 2: trace line 3: it has no valid \"n\""},
    };
    for (const Damage& c : cases) {
        SCOPED_TRACE(c.name);
        writeTrace(c.edit(lines));
        ReplaySEMedia replay(m_trace);
        EXPECT_EQ(run(replay, {open(kLoader)}), std::vector<std::string>{"opened F09000"});
        const std::string text = thrown(run(replay, {transmit(kLoad)}));
        const std::string expected = "COSUpdateException: " + c.text;
        if (expected.back() == '*') {
            EXPECT_EQ(text.substr(0, expected.size() - 1), expected.substr(0, expected.size() - 1));
        } else {
            EXPECT_EQ(text, expected);
        }
    }
}

TEST_F(RecordReplay, AFileThatIsNotATraceIsRefusedAtOnce) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"", ": not a trace: the file is empty"},
        {"result: deployed\n", ": not a trace: its first line it has no CRC-32 at its end"},
    };
    for (const auto& [content, text] : cases) {
        writeTrace(content);
        try {
            ReplaySEMedia replay(m_trace);
            ADD_FAILURE() << "accepted: " << content;
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(e.what(), m_trace + text);
        }
    }
    std::string header = "{\"format\":\"cosupdate-apdu-trace\",\"version\":2";
    sealLine(header);
    writeTrace(header);
    EXPECT_THROW(ReplaySEMedia replay(m_trace), std::runtime_error);
    EXPECT_THROW(ReplaySEMedia replay(m_trace + ".missing"), std::runtime_error);
}

}  // namespace
}  // namespace cosupdate::trace::session

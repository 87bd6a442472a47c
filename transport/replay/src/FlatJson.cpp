#include "FlatJson.h"

#include <limits>
#include <stdexcept>

#include "cosupdate/apdu/Hex.h"

namespace cosupdate::trace {

namespace {

class ParseError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class Parser {
  public:
    explicit Parser(std::string_view text) : m_text(text) {}

    FlatObject object() {
        FlatObject members;
        expect('{');
        if (!take('}')) {
            do {
                std::string key = string();
                expect(':');
                if (!members.emplace(std::move(key), value()).second) {
                    throw ParseError("a member comes twice");
                }
            } while (take(','));
            expect('}');
        }
        skipBlanks();
        if (m_pos != m_text.size()) {
            throw ParseError("text after the object");
        }
        return members;
    }

  private:
    void skipBlanks() {
        while (m_pos < m_text.size() && (m_text[m_pos] == ' ' || m_text[m_pos] == '\t')) {
            ++m_pos;
        }
    }

    bool take(char c) {
        skipBlanks();
        if (m_pos < m_text.size() && m_text[m_pos] == c) {
            ++m_pos;
            return true;
        }
        return false;
    }

    void expect(char c) {
        if (!take(c)) {
            throw ParseError(std::string("'") + c + "' expected at column " +
                             std::to_string(m_pos + 1));
        }
    }

    char next() {
        if (m_pos == m_text.size()) {
            throw ParseError("the line ends inside a string");
        }
        return m_text[m_pos++];
    }

    uint8_t hexDigit() {
        const std::optional<uint8_t> digit = apdu::hexDigitValue(next());
        if (!digit) {
            throw ParseError("bad \\u escape at column " + std::to_string(m_pos));
        }
        return *digit;
    }

    // \uXXXX: the recorder writes bytes as \u00XX; a code point above FF is
    // not something it writes.
    char unicodeEscape() {
        unsigned value = 0;
        for (int i = 0; i < 4; ++i) {
            value = value << 4 | hexDigit();
        }
        if (value > 0xFF) {
            throw ParseError("\\u escape above \\u00FF at column " + std::to_string(m_pos));
        }
        return static_cast<char>(value);
    }

    char escape() {
        const char c = next();
        switch (c) {
            case '"':
            case '\\':
            case '/':
                return c;
            case 'b':
                return '\b';
            case 'f':
                return '\f';
            case 'n':
                return '\n';
            case 'r':
                return '\r';
            case 't':
                return '\t';
            case 'u':
                return unicodeEscape();
            default:
                throw ParseError("bad escape at column " + std::to_string(m_pos));
        }
    }

    std::string string() {
        expect('"');
        std::string text;
        for (char c = next(); c != '"'; c = next()) {
            text.push_back(c == '\\' ? escape() : c);
        }
        return text;
    }

    uint64_t number() {
        uint64_t value = 0;
        const size_t start = m_pos;
        constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();
        for (; m_pos < m_text.size() && m_text[m_pos] >= '0' && m_text[m_pos] <= '9'; ++m_pos) {
            const auto digit = static_cast<uint64_t>(m_text[m_pos] - '0');
            if (value > (kMax - digit) / 10) {
                throw ParseError("number too large at column " + std::to_string(start + 1));
            }
            value = value * 10 + digit;
        }
        return value;
    }

    bool word(std::string_view text) {
        if (m_text.substr(m_pos, text.size()) == text) {
            m_pos += text.size();
            return true;
        }
        return false;
    }

    FlatValue value() {
        skipBlanks();
        if (m_pos < m_text.size() && m_text[m_pos] == '"') {
            return string();
        }
        if (m_pos < m_text.size() && m_text[m_pos] >= '0' && m_text[m_pos] <= '9') {
            return number();
        }
        if (word("true")) {
            return true;
        }
        if (word("false")) {
            return false;
        }
        throw ParseError("a string, a whole number or a boolean expected at column " +
                         std::to_string(m_pos + 1));
    }

    std::string_view m_text;
    size_t m_pos = 0;
};

}  // namespace

FlatParse parseFlatObject(std::string_view text) {
    try {
        return FlatParse{Parser(text).object(), ""};
    } catch (const ParseError& e) {
        return FlatParse{{}, e.what()};
    }
}

}  // namespace cosupdate::trace

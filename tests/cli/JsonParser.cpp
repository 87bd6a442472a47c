#include "JsonParser.h"

#include <cctype>
#include <cstdlib>

namespace clitest {

namespace {

class Parser {
  public:
    explicit Parser(const std::string& text) : m_text(text) {}

    JsonValue document() {
        JsonValue value = parseValue();
        skipBlanks();
        if (m_pos != m_text.size()) {
            fail("text after the value");
        }
        return value;
    }

  private:
    [[noreturn]] void fail(const std::string& why) const {
        throw std::runtime_error("JSON, offset " + std::to_string(m_pos) + ": " + why);
    }

    void skipBlanks() {
        while (m_pos < m_text.size() && (m_text[m_pos] == ' ' || m_text[m_pos] == '\n' ||
                                         m_text[m_pos] == '\r' || m_text[m_pos] == '\t')) {
            ++m_pos;
        }
    }

    char peek() {
        skipBlanks();
        if (m_pos >= m_text.size()) {
            fail("unexpected end");
        }
        return m_text[m_pos];
    }

    void expect(char c) {
        if (peek() != c) {
            fail(std::string("expected '") + c + "'");
        }
        ++m_pos;
    }

    bool literal(const char* word) {
        const std::string w = word;
        if (m_text.compare(m_pos, w.size(), w) == 0) {
            m_pos += w.size();
            return true;
        }
        return false;
    }

    JsonValue parseValue() {
        const char c = peek();
        JsonValue value;
        if (c == '{') {
            parseObject(value);
        } else if (c == '[') {
            parseArray(value);
        } else if (c == '"') {
            value.type = JsonValue::Type::String;
            value.string = parseString();
        } else if (literal("true")) {
            value.type = JsonValue::Type::Bool;
            value.boolean = true;
        } else if (literal("false")) {
            value.type = JsonValue::Type::Bool;
        } else if (literal("null")) {
            value.type = JsonValue::Type::Null;
        } else {
            value.type = JsonValue::Type::Number;
            value.number = parseNumber();
        }
        return value;
    }

    void parseObject(JsonValue& value) {
        value.type = JsonValue::Type::Object;
        expect('{');
        if (peek() == '}') {
            ++m_pos;
            return;
        }
        do {
            if (peek() != '"') {
                fail("expected a key");
            }
            const std::string key = parseString();
            expect(':');
            if (!value.object.emplace(key, parseValue()).second) {
                fail("key '" + key + "' twice");
            }
            value.keyOrder.push_back(key);
        } while (consumeComma());
        expect('}');
    }

    void parseArray(JsonValue& value) {
        value.type = JsonValue::Type::Array;
        expect('[');
        if (peek() == ']') {
            ++m_pos;
            return;
        }
        do {
            value.array.push_back(parseValue());
        } while (consumeComma());
        expect(']');
    }

    bool consumeComma() {
        if (peek() == ',') {
            ++m_pos;
            return true;
        }
        return false;
    }

    std::string parseString() {
        expect('"');
        std::string result;
        while (true) {
            if (m_pos >= m_text.size()) {
                fail("unterminated string");
            }
            const char c = m_text[m_pos++];
            if (c == '"') {
                return result;
            }
            if (static_cast<unsigned char>(c) < 0x20) {
                fail("control character in a string");
            }
            if (c != '\\') {
                result += c;
                continue;
            }
            result += parseEscape();
        }
    }

    std::string parseEscape() {
        if (m_pos >= m_text.size()) {
            fail("unterminated escape");
        }
        const char c = m_text[m_pos++];
        switch (c) {
            case '"':
            case '\\':
            case '/':
                return std::string(1, c);
            case 'n':
                return "\n";
            case 'r':
                return "\r";
            case 't':
                return "\t";
            case 'b':
                return "\b";
            case 'f':
                return "\f";
            case 'u':
                return parseUnicodeEscape();
            default:
                fail(std::string("bad escape '\\") + c + "'");
        }
    }

    // \uXXXX as UTF-8; surrogate pairs are not needed by these tests.
    std::string parseUnicodeEscape() {
        if (m_pos + 4 > m_text.size()) {
            fail("short \\u escape");
        }
        const std::string digits = m_text.substr(m_pos, 4);
        char* end = nullptr;
        const long code = std::strtol(digits.c_str(), &end, 16);
        if (end != digits.c_str() + 4) {
            fail("bad \\u escape");
        }
        m_pos += 4;
        std::string out;
        if (code < 0x80) {
            out += static_cast<char>(code);
        } else if (code < 0x800) {
            out += static_cast<char>(0xC0 | (code >> 6));
            out += static_cast<char>(0x80 | (code & 0x3F));
        } else {
            out += static_cast<char>(0xE0 | (code >> 12));
            out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (code & 0x3F));
        }
        return out;
    }

    double parseNumber() {
        const size_t start = m_pos;
        if (m_pos < m_text.size() && m_text[m_pos] == '-') {
            ++m_pos;
        }
        const size_t digits = m_pos;
        while (m_pos < m_text.size() &&
               (std::isdigit(static_cast<unsigned char>(m_text[m_pos])) || m_text[m_pos] == '.' ||
                m_text[m_pos] == 'e' || m_text[m_pos] == 'E' || m_text[m_pos] == '+' ||
                m_text[m_pos] == '-')) {
            ++m_pos;
        }
        if (m_pos == digits) {
            fail("expected a value");
        }
        const std::string text = m_text.substr(start, m_pos - start);
        char* end = nullptr;
        const double value = std::strtod(text.c_str(), &end);
        if (end != text.c_str() + text.size()) {
            fail("bad number '" + text + "'");
        }
        return value;
    }

    const std::string& m_text;
    size_t m_pos = 0;
};

}  // namespace

const JsonValue& JsonValue::operator[](const std::string& key) const {
    const auto it = object.find(key);
    if (type != Type::Object || it == object.end()) {
        throw std::out_of_range("no member '" + key + "'");
    }
    return it->second;
}

const JsonValue& JsonValue::operator[](size_t index) const {
    if (type != Type::Array || index >= array.size()) {
        throw std::out_of_range("no element " + std::to_string(index));
    }
    return array[index];
}

JsonValue parseJson(const std::string& text) {
    return Parser(text).document();
}

}  // namespace clitest

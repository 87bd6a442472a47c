// A small JSON reader for checking the tool's --json output: it refuses
// anything that is not one well-formed JSON value, so a test that parses the
// output also proves it is valid JSON.

#ifndef COSUPDATE_CLI_TESTS_JSON_PARSER_H
#define COSUPDATE_CLI_TESTS_JSON_PARSER_H

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace clitest {

struct JsonValue {
    enum class Type { Null, Bool, Number, String, Array, Object };

    Type type = Type::Null;
    bool boolean = false;
    double number = 0;
    std::string string;
    std::vector<JsonValue> array;
    std::map<std::string, JsonValue> object;
    std::vector<std::string> keyOrder;  // as written

    // Throw std::out_of_range naming the key / index when absent.
    const JsonValue& operator[](const std::string& key) const;
    const JsonValue& operator[](size_t index) const;
    bool has(const std::string& key) const { return object.count(key) != 0; }
};

// Throws std::runtime_error with the offset of the fault.
JsonValue parseJson(const std::string& text);

}  // namespace clitest

#endif  // COSUPDATE_CLI_TESTS_JSON_PARSER_H

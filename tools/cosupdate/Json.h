// Just enough JSON to write the one result object --json prints: objects
// keep their keys in the order set, strings are escaped for any byte.

#ifndef COSUPDATE_CLI_JSON_H
#define COSUPDATE_CLI_JSON_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace cosupdate::cli {

class JsonArray;

class JsonObject {
  public:
    // Setting a key again replaces its value in place.
    JsonObject& set(const std::string& key, const std::string& value);
    JsonObject& set(const std::string& key, const char* value);
    JsonObject& set(const std::string& key, int64_t value);
    JsonObject& set(const std::string& key, int value) { return set(key, int64_t{value}); }
    JsonObject& set(const std::string& key, uint64_t value);
    JsonObject& set(const std::string& key, uint32_t value) { return set(key, uint64_t{value}); }
    JsonObject& set(const std::string& key, bool value);
    JsonObject& set(const std::string& key, const JsonObject& value);
    JsonObject& set(const std::string& key, const JsonArray& value);
    JsonObject& setNull(const std::string& key);
    // Sets every member of `other`, in its order.
    JsonObject& merge(const JsonObject& other);

    bool empty() const { return m_members.empty(); }
    std::string text() const;

  private:
    JsonObject& setRaw(const std::string& key, std::string raw);

    std::vector<std::pair<std::string, std::string>> m_members;  // key, rendered value
};

class JsonArray {
  public:
    JsonArray& add(const std::string& value);
    JsonArray& add(const JsonObject& value);

    std::string text() const;

  private:
    std::vector<std::string> m_items;  // rendered
};

// `text` as a JSON string literal, quotes included. Bytes that are not valid
// UTF-8 are written as U+FFFD so that the output always parses.
std::string jsonString(const std::string& text);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_JSON_H

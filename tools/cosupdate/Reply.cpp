#include "Reply.h"

#include <map>

#include "Sanitize.h"

namespace cosupdate::cli {

namespace {

// Each command's members after "command" and "exitStatus", in the order they
// are printed; "error" and "details" end every list that does not place them.
const std::vector<std::string>& membersOf(const std::string& command) {
    static const std::map<std::string, std::vector<std::string>> kMembers{
        {"validate", {"file", "valid"}},
        {"check",
         {"file", "updateAvailable", "selected", "platformId", "cosVersion", "customerId"}},
        {"update",
         {"file", "result", "engineResult", "error", "scripts", "deployed", "before", "after",
          "apdus", "elapsedMs", "errors"}},
        {"info", {"tag", "hex", "platformId", "cosVersion", "customerId"}},
        {"chip",
         {"action", "chipFile", "platformId", "cosVersion", "customerId", "fc", "fd", "services"}},
        {"history", {"histories", "records", "corrupt"}},
        {"help", {"topic", "text"}},
        {"version", {"version"}},
    };
    static const std::vector<std::string> kNone;
    const auto found = kMembers.find(command);
    return found == kMembers.end() ? kNone : found->second;
}

Json skeleton(const std::string& command) {
    Json object = Json::object();
    object["command"] = command.empty() ? Json() : Json(command);
    object["exitStatus"] = Json();
    for (const std::string& member : membersOf(command)) {
        object[member] = Json();
    }
    object["error"] = Json();  // stays in place when listed above
    object["details"] = Json::array();
    return object;
}

}  // namespace

Reply::Reply(const std::string& command) : m_json(skeleton(command)) {}

void Reply::fail(const std::string& message, const std::vector<std::string>& details) {
    m_failed = true;
    m_json["error"] = message;
    m_json["details"] = Json(details);
}

void Reply::outputFailed(const std::string& message) {
    m_trailer = "cosupdate: " + message;
    noteFailure(message);
}

void Reply::noteFailure(const std::string& message) {
    if (m_json["error"].is_null()) {
        m_json["error"] = message;
    }
    m_json["details"].push_back(message);
}

void Reply::print(std::ostream& out, bool asJson, ExitStatus status) {
    if (asJson) {
        m_json["exitStatus"] = toInt(status);
        // Bytes that are not UTF-8 become U+FFFD: the output always parses.
        out << m_json.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
    } else {
        if (!m_failed) {
            for (const std::string& text : m_lines) {
                out << sanitize(text) << '\n';
            }
        }
        if (!m_trailer.empty()) {
            out << sanitize(m_trailer) << '\n';
        }
    }
    out.flush();
}

}  // namespace cosupdate::cli

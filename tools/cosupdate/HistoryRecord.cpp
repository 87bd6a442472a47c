#include "HistoryRecord.h"

#include <dlfcn.h>

#include <ctime>
#include <filesystem>
#include <functional>

#include "Progress.h"
#include "commands/CommandContext.h"
#include "cosupdate/apdu/Hex.h"

namespace cosupdate::cli {

namespace {

Json nullable(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

Json nullableIdentity(const std::optional<CosIdentity>& identity) {
    return identity ? identityJson(*identity) : Json();
}

// The shared library this process runs, which may not be the one the tool
// was built with.
Json libraryFile() {
    Dl_info info{};
    const auto symbol = reinterpret_cast<void*>(&api::COSUpdateFactory::create);
    if (::dladdr(symbol, &info) == 0 || info.dli_fname == nullptr) {
        return Json();
    }
    return info.dli_fname;
}

Json scriptsJson(const std::vector<ScriptRun>& runs) {
    Json scripts = Json::array();
    for (const ScriptRun& run : runs) {
        scripts.push_back(
            Json{{"name", run.script.name},
                 {"type", run.script.type},
                 {"result", describeResult(run)},
                 {"cosVersionAfter",
                  run.versionAfter ? Json(apdu::encodeHexU16(*run.versionAfter)) : Json()},
                 {"apdus", run.apdus},
                 {"elapsedMs", milliseconds(run.elapsed)}});
    }
    return scripts;
}

std::string absolute(const std::string& file) {
    if (file == "-") {
        return file;
    }
    std::error_code error;
    const std::filesystem::path path = std::filesystem::absolute(file, error);
    return error ? file : path.lexically_normal().string();
}

using Check = std::function<bool(const Json&)>;

bool isString(const Json& value) {
    return value.is_string();
}
bool isStringOrNull(const Json& value) {
    return value.is_string() || value.is_null();
}
bool isIdentityOrNull(const Json& value) {
    return value.is_null() || (value.is_object() && value.value("platformId", Json()).is_string() &&
                               value.value("cosVersion", Json()).is_string() &&
                               value.value("customerId", Json()).is_string());
}
bool isScriptList(const Json& value) {
    if (!value.is_array()) {
        return false;
    }
    for (const Json& script : value) {
        if (!script.is_object() || !script.value("name", Json()).is_string() ||
            !script.value("result", Json()).is_string()) {
            return false;
        }
    }
    return true;
}
bool isTransport(const Json& value) {
    return value.is_object() && value.value("description", Json()).is_string();
}

struct MemberCheck {
    const char* name;
    Check check;
    const char* what;
};

const std::vector<MemberCheck>& memberChecks() {
    static const std::vector<MemberCheck> kChecks{
        {"time", isString, "a string"},
        {"file", isString, "a string"},
        {"sha256", isStringOrNull, "a string or null"},
        {"transport", isTransport, "an object with a description"},
        {"before", isIdentityOrNull, "a chip identity or null"},
        {"after", isIdentityOrNull, "a chip identity or null"},
        {"scripts", isScriptList, "a list of scripts with name and result"},
        {"apdus", [](const Json& v) { return v.is_number_unsigned(); }, "a count"},
        {"elapsedMs", [](const Json& v) { return v.is_number_integer(); }, "an integer"},
        {"result", isStringOrNull, "a string or null"},
        {"exitStatus", [](const Json& v) { return v.is_number_integer(); }, "an integer"},
        {"error", isStringOrNull, "a string or null"},
        {"trace", isStringOrNull, "a string or null"},
    };
    return kChecks;
}

bool sameIdentity(const Json& record, const CosIdentity& identity) {
    const Json expected = identityJson(identity);
    for (const char* member : {"platformId", "cosVersion", "customerId"}) {
        if (record.value(member, Json()) != expected[member]) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::string utcTimestamp(std::chrono::system_clock::time_point time) {
    const auto sinceEpoch = time.time_since_epoch();
    const std::time_t seconds =
        std::chrono::duration_cast<std::chrono::seconds>(sinceEpoch).count();
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count() % 1000;
    std::tm utc{};
    ::gmtime_r(&seconds, &utc);
    char text[40];
    const size_t size = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(text + size, sizeof text - size, ".%03dZ", static_cast<int>(ms));
    return text;
}

Json historyRecord(const RunFacts& facts, const RecordSource& source) {
    Json record;
    record["time"] = facts.time;
    record["tool"] = COSUPDATE_TOOL_VERSION;
    record["library"] = Json{{"version", COSUPDATE_LIBRARY_VERSION}, {"file", libraryFile()}};
    record["transport"] = Json{{"name", source.transport.name},
                               {"argument", nullable(source.transport.argument)},
                               {"description", source.description}};
    record["chipFile"] = source.chipFile.empty() ? Json() : Json(absolute(source.chipFile));
    record["file"] = absolute(facts.file);
    record["sha256"] = nullable(facts.sha256);
    record["chip"] = Json{{"platformId", facts.before ? Json(facts.before->platformId) : Json()},
                          {"fc", facts.fc ? Json(apdu::encodeHex(*facts.fc)) : Json()}};
    record["before"] = nullableIdentity(facts.before);
    record["after"] = nullableIdentity(facts.after);
    record["scripts"] = scriptsJson(facts.scripts);
    record["apdus"] = facts.apdus;
    record["elapsedMs"] = milliseconds(facts.elapsed);
    record["result"] = facts.result ? Json(*facts.result) : Json();
    record["exitStatus"] = toInt(facts.status);
    record["error"] = nullable(facts.error);
    record["trace"] = source.trace.empty() ? Json() : Json(absolute(source.trace));
    return record;
}

std::optional<std::string> recordFault(const Json& record) {
    if (!record.is_object()) {
        return std::string("not a JSON object");
    }
    for (const MemberCheck& member : memberChecks()) {
        const auto found = record.find(member.name);
        if (found == record.end()) {
            return std::string("no '") + member.name + "'";
        }
        if (!member.check(*found)) {
            return std::string("'") + member.name + "' is not " + member.what;
        }
    }
    return std::nullopt;
}

std::optional<uint64_t> previousRunApdus(const std::vector<Json>& records,
                                         const std::string& sha256, const CosIdentity& before) {
    for (auto it = records.rbegin(); it != records.rend(); ++it) {
        const Json result = it->value("result", Json());
        const Json recordBefore = it->value("before", Json());
        const Json apdus = it->value("apdus", Json());
        if (it->value("sha256", Json()) == sha256 && recordBefore.is_object() &&
            sameIdentity(recordBefore, before) && apdus.is_number_unsigned() &&
            (result == "deployed" || result == "nothing to do")) {
            return apdus.get<uint64_t>();
        }
    }
    return std::nullopt;
}

}  // namespace cosupdate::cli

#include "LogEvents.h"

#include <cctype>
#include <string_view>

#include "COSUpdateMessages.h"

namespace cosupdate::cli {

namespace {

// The library's own texts: the tool matches them, it never types them again.
namespace texts = Zelmar::Device::COS::V1_0::Messages;
using Kind = LogEvent::Kind;

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

// The value of `text` when it is exactly `frame` around a value of at least one
// character.
std::optional<std::string_view> framed(std::string_view text, const texts::Framed& frame) {
    const std::string_view before = frame.before, after = frame.after;
    if (text.size() <= before.size() + after.size() || !startsWith(text, before) ||
        !endsWith(text, after)) {
        return std::nullopt;
    }
    return text.substr(before.size(), text.size() - before.size() - after.size());
}

// A decimal number making up all of `text`.
std::optional<uint32_t> decimal(std::string_view text) {
    if (text.empty() || text.size() > 9) {
        return std::nullopt;
    }
    uint32_t value = 0;
    for (char c : text) {
        if (!std::isdigit(static_cast<unsigned char>(c))) {
            return std::nullopt;
        }
        value = value * 10 + static_cast<uint32_t>(c - '0');
    }
    return value;
}

std::optional<LogEvent> selection(std::string_view text) {
    if (const auto name = framed(text, texts::kPatchSelected)) {
        return LogEvent{Kind::PatchSelected, std::string(*name), "", false, 0};
    }
    if (const auto name = framed(text, texts::kServiceCandidate)) {
        return LogEvent{Kind::ServiceCandidate, std::string(*name), "", false, 0};
    }
    if (text == texts::kServiceNotYetDeployed || text == texts::kServiceWithoutAudit) {
        return LogEvent{Kind::ServiceSelected, "", "", false, 0};
    }
    return std::nullopt;
}

// An update script starting, with its type or, for a type the library does
// not name, without. Audit scripts are not update scripts and do not count.
std::optional<LogEvent> running(std::string_view text) {
    if (!endsWith(text, texts::kEllipsis)) {
        return std::nullopt;
    }
    text.remove_suffix(std::string_view(texts::kEllipsis).size());
    if (const auto name = framed(text, texts::kRunning)) {
        return LogEvent{Kind::ScriptRunning, std::string(*name), "", false, 0};
    }
    // The type follows the last "> script": a name may hold one of its own.
    const std::string_view afterName = texts::kRunning.after;
    for (size_t end = text.rfind(afterName); end != std::string_view::npos && end > 0;
         end = text.rfind(afterName, end - 1)) {
        const size_t typeStart = end + afterName.size();
        const auto name = framed(text.substr(0, typeStart), texts::kRunning);
        const auto type = framed(text.substr(typeStart), texts::kScriptType);
        if (name && type) {
            return LogEvent{Kind::ScriptRunning, std::string(*name), std::string(*type), false, 0};
        }
    }
    return std::nullopt;
}

std::optional<LogEvent> managerEvent(std::string_view text) {
    if (auto event = running(text)) {
        return event;
    }
    if (startsWith(text, texts::kScriptResult)) {
        const auto result = text.substr(std::string_view(texts::kScriptResult).size());
        if (result == texts::kSuccess || result == texts::kFailed) {
            return LogEvent{Kind::ScriptResult, "", "", result == texts::kSuccess, 0};
        }
        return std::nullopt;
    }
    if (startsWith(text, texts::kVersionAfterScript)) {
        const auto number = text.substr(std::string_view(texts::kVersionAfterScript).size());
        if (const auto version = decimal(number)) {
            return LogEvent{Kind::VersionAfter, "", "", false, *version};
        }
    }
    return std::nullopt;
}

std::optional<LogEvent> deployedCount(std::string_view text) {
    const std::string_view suffix = texts::kScriptsDeployed;
    if (!endsWith(text, suffix)) {
        return std::nullopt;
    }
    if (const auto count = decimal(text.substr(0, text.size() - suffix.size()))) {
        return LogEvent{Kind::DeployedCount, "", "", false, *count};
    }
    return std::nullopt;
}

}  // namespace

std::optional<LogEvent> parseLogEvent(const std::string& message) {
    const std::string_view text = message;
    const std::string_view manager = texts::kManagerPrefix;
    if (startsWith(text, manager)) {
        return managerEvent(text.substr(manager.size()));
    }
    if (auto event = selection(text)) {
        return event;
    }
    return deployedCount(text);
}

}  // namespace cosupdate::cli

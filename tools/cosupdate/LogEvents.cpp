#include "LogEvents.h"

#include <cctype>
#include <string_view>
#include <tuple>

namespace cosupdate::cli {

namespace {

using Kind = LogEvent::Kind;

constexpr std::string_view kManager = "[COSUpdateMgr] ";

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

// The name in "<name> " + suffix, when `text` is exactly that.
std::optional<std::string_view> nameBefore(std::string_view text, std::string_view suffix) {
    const size_t minimum = suffix.size() + 4;  // '<', at least one character, "> "
    if (text.size() < minimum || text.front() != '<' || !endsWith(text, suffix)) {
        return std::nullopt;
    }
    const std::string_view head = text.substr(0, text.size() - suffix.size());
    if (!endsWith(head, "> ")) {
        return std::nullopt;
    }
    return head.substr(1, head.size() - 3);
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
    for (const auto& [prefix, suffix, kind] : {
             std::tuple{std::string_view("Patch "),
                        std::string_view("matching with search constraint -> Select it"),
                        Kind::PatchSelected},
             std::tuple{std::string_view("Service "),
                        std::string_view("matching with search constraint -> Execute it to "
                                         "check if Service was deployed"),
                        Kind::ServiceCandidate},
         }) {
        if (!startsWith(text, prefix)) {
            continue;
        }
        if (const auto name = nameBefore(text.substr(prefix.size()), suffix)) {
            return LogEvent{kind, std::string(*name), "", false, 0};
        }
    }
    if (text == "Service not yet deployed -> Select it" ||
        text == "Service do not contains an Audit Script -> Select it") {
        return LogEvent{Kind::ServiceSelected, "", "", false, 0};
    }
    return std::nullopt;
}

// "Running <name> script (type:Patch) ..." or, for a script of unknown type,
// "Running <name> script ...". Audit scripts ("... audit script ...") are not
// update scripts and do not count.
std::optional<LogEvent> running(std::string_view text) {
    constexpr std::string_view kRunning = "Running ";
    if (!startsWith(text, kRunning)) {
        return std::nullopt;
    }
    const std::string_view rest = text.substr(kRunning.size());
    if (const auto name = nameBefore(rest, "script ...")) {
        return LogEvent{Kind::ScriptRunning, std::string(*name), "", false, 0};
    }
    constexpr std::string_view kTyped = "> script (type:";
    constexpr std::string_view kEnd = ") ...";
    const size_t typed = rest.rfind(kTyped);
    if (typed == std::string_view::npos || typed < 2 || rest.front() != '<' ||
        !endsWith(rest, kEnd)) {
        return std::nullopt;
    }
    const size_t typeStart = typed + kTyped.size();
    if (typeStart + kEnd.size() > rest.size()) {
        return std::nullopt;
    }
    const auto name = rest.substr(1, typed - 1);
    const auto type = rest.substr(typeStart, rest.size() - kEnd.size() - typeStart);
    return LogEvent{Kind::ScriptRunning, std::string(name), std::string(type), false, 0};
}

std::optional<LogEvent> managerEvent(std::string_view text) {
    if (auto event = running(text)) {
        return event;
    }
    constexpr std::string_view kResult = "Script execution result : ";
    if (startsWith(text, kResult)) {
        const auto result = text.substr(kResult.size());
        if (result == "Success" || result == "Failed") {
            return LogEvent{Kind::ScriptResult, "", "", result == "Success", 0};
        }
        return std::nullopt;
    }
    constexpr std::string_view kVersion = ">>> SE COS Version after script execution : ";
    if (startsWith(text, kVersion)) {
        if (const auto version = decimal(text.substr(kVersion.size()))) {
            return LogEvent{Kind::VersionAfter, "", "", false, *version};
        }
    }
    return std::nullopt;
}

std::optional<LogEvent> deployedCount(std::string_view text) {
    constexpr std::string_view kSuffix = " script(s) deployed successfully";
    if (!endsWith(text, kSuffix)) {
        return std::nullopt;
    }
    if (const auto count = decimal(text.substr(0, text.size() - kSuffix.size()))) {
        return LogEvent{Kind::DeployedCount, "", "", false, *count};
    }
    return std::nullopt;
}

}  // namespace

std::optional<LogEvent> parseLogEvent(const std::string& message) {
    const std::string_view text = message;
    if (startsWith(text, kManager)) {
        return managerEvent(text.substr(kManager.size()));
    }
    if (auto event = selection(text)) {
        return event;
    }
    return deployedCount(text);
}

}  // namespace cosupdate::cli

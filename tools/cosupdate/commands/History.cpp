// cosupdate history: the updates that touched a chip, newest first, from the
// update history the `update` command appends to. A line that is not a
// record is reported and skipped; the others are still listed.

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "ChipFile.h"
#include "Errors.h"
#include "HistoryFile.h"
#include "Progress.h"
#include "commands/ChipHistory.h"
#include "commands/CommandContext.h"
#include "cosupdate/apdu/Hex.h"

namespace cosupdate::cli {

namespace {

// The history of the chip the transport reaches: read from the chip itself
// for a transport other than the simulated chip.
HistoryFile historyOfTransport(CommandContext& context) {
    EngineSession& session = context.openSession();
    const CosIdentity identity = session.readIdentity();
    return chipHistory(context, identity, readChipFc(session));
}

// The simulated chip's history, its chip locked only when there is one to
// read: listing creates nothing.
std::vector<HistoryFile> simulatedChipHistory(CommandContext& context) {
    std::error_code error;
    if (!std::filesystem::exists(simHistoryFile(context.chipFile()), error)) {
        return {};
    }
    return {chipHistory(context, std::nullopt, std::nullopt)};
}

// The histories to list: one chip's when --chip or --transport names it,
// otherwise every one in the state directory, the default chip's included.
std::vector<HistoryFile> historiesToList(CommandContext& context) {
    const Options& options = context.options();
    if (options.transportGiven && !onSimulatedChip(options)) {
        if (!options.chipFile.empty()) {
            throw UsageError("--chip names a simulated chip: it cannot go with --transport " +
                             options.transport);
        }
        return {historyOfTransport(context)};
    }
    std::vector<HistoryFile> files = simulatedChipHistory(context);
    if (!options.transportGiven && options.chipFile.empty()) {
        for (const std::string& file : historyFilesIn(historyDirectory())) {
            files.push_back(HistoryFile::withOwnLock(file));
        }
    }
    return files;
}

std::string text(const Json& value, const std::string& otherwise = "") {
    return value.is_string() ? value.get<std::string>() : otherwise;
}

Json member(const Json& object, const char* name) {
    return object.is_object() ? object.value(name, Json()) : Json();
}

bool selected(const Json& record, const Options& options) {
    const Json chip = member(record, "chip");
    if (options.platformFilter && member(chip, "platformId") != *options.platformFilter) {
        return false;
    }
    return !options.fcFilter || member(chip, "fc") == apdu::encodeHex(*options.fcFilter);
}

std::string versionOf(const Json& identity) {
    return text(member(identity, "cosVersion"), "unknown");
}

std::string scriptLine(const Json& script) {
    const std::string type = text(member(script, "type"));
    std::string line = "  script:    " + text(member(script, "name")) +
                       (type.empty() ? "" : " (" + type + ")") + ": " +
                       text(member(script, "result"));
    if (member(script, "cosVersionAfter").is_string()) {
        line += ", COS " + text(member(script, "cosVersionAfter"));
    }
    const Json apdus = member(script, "apdus");
    return apdus.is_number_unsigned()
               ? line + ", " + std::to_string(apdus.get<uint64_t>()) + " APDUs"
               : line;
}

// A record as lines of text; recordFault() has checked what it reads.
void describeRecord(const Json& record, Reply& reply) {
    const Json before = record["before"];
    const Json chip = member(record, "chip");
    reply.line(record["time"].get<std::string>() + "  " + text(record["result"], "no update run") +
               ", exit status " + std::to_string(record["exitStatus"].get<int>()));
    reply.line("  chip:      platform " + text(member(chip, "platformId"), "unknown") + ", FC " +
               text(member(chip, "fc"), "unknown") + ", customer " +
               text(member(before, "customerId"), "unknown"));
    reply.line("  COS:       " + versionOf(before) + " -> " + versionOf(record["after"]));
    reply.line("  file:      " + record["file"].get<std::string>() + " (SHA-256 " +
               text(record["sha256"], "unknown") + ")");
    reply.line("  transport: " + record["transport"]["description"].get<std::string>());
    for (const Json& script : record["scripts"]) {
        reply.line(scriptLine(script));
    }
    const std::chrono::milliseconds elapsed(record["elapsedMs"].get<int64_t>());
    reply.line("  APDUs:     " + std::to_string(record["apdus"].get<uint64_t>()) + " in " +
               formatDuration(elapsed));
    if (record["error"].is_string()) {
        reply.line("  error:     " + record["error"].get<std::string>());
    }
    if (record["trace"].is_string()) {
        reply.line("  trace:     " + record["trace"].get<std::string>());
    }
}

}  // namespace

ExitStatus runHistory(CommandContext& context, Reply& reply) {
    const std::vector<HistoryFile> files = historiesToList(context);
    reply.json()["histories"] = Json::array();
    std::vector<Json> records;
    Json corrupt = Json::array();
    for (const HistoryFile& file : files) {
        reply.json()["histories"].push_back(file.path());
        HistoryListing listing = file.read([&context](const std::string& notice) {
            context.console().line("cosupdate: " + notice);
        });
        // Newest first within the file; the sort below keeps that order.
        std::reverse_copy(listing.records.begin(), listing.records.end(),
                          std::back_inserter(records));
        for (const CorruptLine& line : listing.corrupt) {
            context.console().line("cosupdate: " + line.file + ", line " +
                                   std::to_string(line.line) +
                                   ": not an update record: " + line.reason);
            corrupt.push_back(
                Json{{"file", line.file}, {"line", line.line}, {"reason", line.reason}});
        }
    }
    records.erase(std::remove_if(records.begin(), records.end(),
                                 [&context](const Json& record) {
                                     return !selected(record, context.options());
                                 }),
                  records.end());
    std::stable_sort(records.begin(), records.end(), [](const Json& a, const Json& b) {
        return a["time"].get<std::string>() > b["time"].get<std::string>();
    });
    if (records.empty()) {
        reply.line("no update recorded");
    }
    for (size_t i = 0; i < records.size(); ++i) {
        if (i > 0) {
            reply.line("");
        }
        describeRecord(records[i], reply);
    }
    reply.json()["records"] = records;
    reply.json()["corrupt"] = corrupt;
    return ExitStatus::Ok;
}

}  // namespace cosupdate::cli

// The update history of the chip a command reaches, and the facts that
// identify that chip: its platform id (from FE) and its FC.

#ifndef COSUPDATE_CLI_CHIP_HISTORY_H
#define COSUPDATE_CLI_CHIP_HISTORY_H

#include <optional>
#include <string>

#include "FeObject.h"
#include "HistoryFile.h"
#include "commands/CommandContext.h"

namespace cosupdate::cli {

bool onSimulatedChip(const Options& options);

// The chip's FC, read through the library on every transport (the simulated
// chip's too, so that a run and its replay make the same calls). Nothing when
// it cannot be read: that keeps no update from running.
std::optional<Bytes> readChipFc(EngineSession& session);

// The simulated chip's history beside its state file, whose lock this takes
// (see lockChipFile); another chip's in the history directory, by
// `identity`'s platform id and `fc`, or the history of unidentified chips
// when `identity` is unknown.
HistoryFile chipHistory(CommandContext& context, const std::optional<CosIdentity>& identity,
                        const std::optional<Bytes>& fc);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_CHIP_HISTORY_H

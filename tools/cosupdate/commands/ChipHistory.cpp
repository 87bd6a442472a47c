#include "commands/ChipHistory.h"

#include "ChipFile.h"

namespace cosupdate::cli {

bool onSimulatedChip(const Options& options) {
    return parseTransportChoice(options.transport).name == "sim";
}

std::optional<Bytes> readChipFc(EngineSession& session) {
    try {
        Bytes fc;
        session.engine().getCOSInfo(api::COSUPDATE_TAG_FC, fc);
        return fc;
    } catch (const api::COSUpdateException&) {
        return std::nullopt;
    }
}

HistoryFile chipHistory(CommandContext& context, const std::optional<CosIdentity>& identity,
                        const std::optional<Bytes>& fc) {
    if (onSimulatedChip(context.options())) {
        context.lockChipFile();
        return HistoryFile::underChipLock(simHistoryFile(context.chipFile()));
    }
    const std::string directory = historyDirectory();
    return HistoryFile::withOwnLock(identity ? chipHistoryFile(directory, identity->platformId, fc)
                                             : unidentifiedHistoryFile(directory));
}

}  // namespace cosupdate::cli

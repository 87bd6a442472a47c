#include "cosupdate/sim/Fault.h"

namespace cosupdate::sim {

std::string faultKindName(FaultKind kind) {
    switch (kind) {
        case FaultKind::PowerLossBeforeChip:
            return "power loss before the chip";
        case FaultKind::PowerLossAfterExecution:
            return "power loss after execution";
        case FaultKind::PowerLossTruncatedResponse:
            return "power loss during the answer";
        case FaultKind::StatusWord:
            return "injected status word";
        case FaultKind::ShortResponse:
            return "short answer";
        case FaultKind::TransportError:
            return "transport error";
        case FaultKind::ForeignError:
            return "foreign exception";
    }
    return "unknown fault";
}

bool isPowerLoss(FaultKind kind) {
    return kind == FaultKind::PowerLossBeforeChip || kind == FaultKind::PowerLossAfterExecution ||
           kind == FaultKind::PowerLossTruncatedResponse;
}

}  // namespace cosupdate::sim

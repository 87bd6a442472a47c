// Faults SimulatedSEMedia can inject into one exchange (one command APDU and
// its answer), chosen by the exchange's 1-based index. Every SELECT sent by
// openConnection() and every transmitApdu() is one exchange.

#ifndef COSUPDATE_SIM_FAULT_H
#define COSUPDATE_SIM_FAULT_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "cosupdate/apdu/StatusWords.h"

namespace cosupdate::sim {

enum class FaultKind {
    // Tearing: the chip loses power during the exchange. What it had staged
    // is lost; the link stays down (every exchange throws COSUpdateException,
    // isConnected() is false) until openConnection() or initialize() powers
    // the chip up again.
    PowerLossBeforeChip,         // the command never reached the chip; throws
    PowerLossAfterExecution,     // the chip executed it, the answer is lost; throws
    PowerLossTruncatedResponse,  // the chip executed it, `keptBytes` of the answer arrive

    // Link faults; the chip stays powered.
    StatusWord,      // the command never reached the chip; the answer is `statusWord`
    ShortResponse,   // the chip executed it; only `keptBytes` of the answer arrive
    TransportError,  // the command never reached the chip; throws COSUpdateException
    ForeignError,    // the command never reached the chip; throws std::runtime_error
};

struct Fault {
    FaultKind kind = FaultKind::PowerLossAfterExecution;
    uint64_t atExchange = 0;
    uint16_t statusWord = apdu::sw::kNoPreciseDiagnosis;
    size_t keptBytes = 1;  // always less than the full answer

    static Fault powerLoss(uint64_t atExchange,
                           FaultKind mode = FaultKind::PowerLossAfterExecution) {
        return Fault{mode, atExchange, apdu::sw::kNoPreciseDiagnosis, 1};
    }
};

std::string faultKindName(FaultKind kind);
bool isPowerLoss(FaultKind kind);

}  // namespace cosupdate::sim

#endif  // COSUPDATE_SIM_FAULT_H

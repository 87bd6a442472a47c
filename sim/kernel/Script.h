// Update scripts and audit scripts: a list of steps run against the chip.
//
//   <script>                                      (<audit> for an audit script)
//     <open aid="F05A4C4D0010"/>                  connect and SELECT; expects 9000
//     <apdu cmd="80500000 0C ..." sw="9000" done-sw="6A89"/>
//     <apdu cmd="00B0000000" data="C106" mask="FFFF"/>
//     <close/>
//   </script>
//
// sw: accepted status words, blank-separated, X matching any hex digit
// (default 9000). done-sw: status words that end the script successfully
// right there (the work was already done). data/mask: the answer's data must
// have data's length and match it under mask (all ones without a mask).

#ifndef SIMKERNEL_SCRIPT_H
#define SIMKERNEL_SCRIPT_H

#include <optional>
#include <string>
#include <vector>

#include "KernelApi.h"
#include "LiveObjects.h"
#include "cosupdate/apdu/Bytes.h"

namespace simkernel {

using cosupdate::apdu::Bytes;

struct StatusWordPattern {
    uint16_t value = 0;
    uint16_t mask = 0xFFFF;  // bits that must equal value's
    bool matches(uint16_t statusWord) const { return (statusWord & mask) == (value & mask); }
};

enum class StepKind { Open, Apdu, Close };

struct Step {
    StepKind kind = StepKind::Close;
    int line = 0;
    Bytes bytes;  // the AID to open or the command APDU
    std::vector<StatusWordPattern> expected;
    std::vector<StatusWordPattern> done;
    std::optional<Bytes> data;
    Bytes mask;  // same length as data
};

using Steps = std::vector<Step>;

enum class ScriptKind { Update, Audit };

// Parses a script's XML text. Throws KernelError naming the line at fault.
Steps parseSteps(const char* xml, ScriptKind kind);

// Structural faults of a parsed script, the first one found; empty when
// none: steps outside a connection, a connection left open, APDU lengths that
// do not add up, AIDs outside 5 to 16 bytes.
std::optional<std::string> findInconsistency(const Steps& steps);

// Runs the steps through the SE media callbacks. True when every step got
// what it expected or a done status word ended the script early.
bool runSteps(const Steps& steps, ScriptKind kind);

const char* scriptKindName(ScriptKind kind);

}  // namespace simkernel

// The opaque handles of the kernel's interface.
struct NATIVECOSPATCH_SCRIPT {
    simkernel::LiveCount<simkernel::ObjectKind::Script> live;
    simkernel::Steps steps;
};

struct NATIVECOSPATCH_AUDIT_SCRIPT {
    simkernel::LiveCount<simkernel::ObjectKind::AuditScript> live;
    simkernel::Steps steps;
};

#endif  // SIMKERNEL_SCRIPT_H

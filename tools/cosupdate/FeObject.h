// The FE data object: the chip's platform id, COS version and customer id as
// three BER-TLVs (C1, C2, C3), read through the library's getCOSInfo.

#ifndef COSUPDATE_CLI_FE_OBJECT_H
#define COSUPDATE_CLI_FE_OBJECT_H

#include <cstdint>
#include <string>

#include "HexArguments.h"

namespace cosupdate::cli {

struct CosIdentity {
    std::string platformId;
    uint16_t cosVersion = 0;
    std::string customerId;
};

// Throws ToolError when `fe` is not the three TLVs: a C2 that is not two
// bytes, a length running past the end, no platform id or no COS version.
// Unknown tags are skipped; a missing customer id is an empty one.
CosIdentity decodeFe(const Bytes& fe);

// "platform ZLM-P1, COS 0100, customer ACME" (or "no customer").
std::string describe(const CosIdentity& identity);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_FE_OBJECT_H

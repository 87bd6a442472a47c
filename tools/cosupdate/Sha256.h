// The SHA-256 of an update file: what tells two runs of the same file apart
// from runs of a file that only shares its name. Computed by libcrypto.

#ifndef COSUPDATE_CLI_SHA256_H
#define COSUPDATE_CLI_SHA256_H

#include <string>
#include <string_view>

namespace cosupdate::cli {

// 64 lower-case hex digits, as sha256sum prints them. Throws ToolError when
// libcrypto fails (it has no reason to, short of memory).
std::string sha256Hex(std::string_view bytes);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_SHA256_H

// Faults of an update file that the library does not look for when it loads
// one, but that an update would stop on or silently ignore: text the kernel
// never reads (after a NUL byte, a second root element), manifest versions
// that are not hex, audit scripts named but missing, scripts the kernel
// cannot parse or finds inconsistent.

#ifndef COSUPDATE_CLI_UPDATE_FILE_CHECK_H
#define COSUPDATE_CLI_UPDATE_FILE_CHECK_H

#include <string>
#include <vector>

#include "RunTracker.h"

namespace cosupdate::cli {

// `bytes`: the whole file, once the library has accepted it. Runs the kernel
// (KernelScripts.h: only inside an engine session); `tracker` is that
// session's, where the kernel logs why it refuses a script. Each finding
// names the entry or script and what is wrong; none when the file is sound.
std::vector<std::string> findRunFaults(const std::string& bytes, const RunTracker& tracker);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_UPDATE_FILE_CHECK_H

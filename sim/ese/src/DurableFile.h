// Files replaced so that a crash at any moment leaves the old content or the
// new one, and a host crash just after the replacement cannot bring back an
// empty file: a temporary file beside the target, written, synced, renamed
// over it, then the directory synced.
//
// Failures throw std::system_error whose what() is "<what failed>: <the OS's
// reason>".

#ifndef COSIM_DURABLE_FILE_H
#define COSIM_DURABLE_FILE_H

#include <sys/types.h>

#include <string>

namespace cosim::durable {

// `path` with every symbolic link in its last component followed; the final
// target need not exist.
std::string followLinks(const std::string& path);

// Empty when `path` (links followed) is missing or a regular file; otherwise
// what it is: "a directory", "a character device", "a FIFO", ...
std::string nonRegularKind(const std::string& path);

// "<path>.tmp.<pid>": where process `pid` writes the next content of `path`.
std::string temporaryName(const std::string& path, pid_t pid);

// Replaces the regular file `path` (no link, see followLinks) by `content`,
// keeping its mode and, where allowed, its owner; a new file gets 0666 minus
// the umask. The temporary file is removed on failure.
void replace(const std::string& path, const std::string& content);

// Removes the temporary files of `path` whose process no longer runs. Only
// safe while no other process may be writing `path`. Returns how many.
size_t removeStaleTemporaries(const std::string& path);

}  // namespace cosim::durable

#endif  // COSIM_DURABLE_FILE_H

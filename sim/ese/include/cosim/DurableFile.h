// Files replaced so that a crash at any moment leaves the old content or the
// new one, and a host crash just after the replacement cannot bring back an
// empty file: a temporary file beside the target, written, synced, renamed
// over it, then the directory synced. Journals appended to line by line, each
// line on disk once the call returns.
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

// Appends `line` (ending in '\n') to the regular file `path` in one O_APPEND
// write, then syncs it; a file it creates (0666 minus the umask) has its
// directory synced too. A file whose last byte is not a newline (a line a
// crash cut short) gets one first, so that the cut line stays a line of its
// own. A symbolic link or a file that is not regular is refused. Appenders
// must exclude one another (a lock): O_APPEND alone does not keep readers
// from seeing half a line.
void appendLine(const std::string& path, const std::string& line);

// Removes the temporary files of `path` whose process no longer runs. Only
// safe while no other process may be writing `path`. Returns how many.
size_t removeStaleTemporaries(const std::string& path);

}  // namespace cosim::durable

#endif  // COSIM_DURABLE_FILE_H

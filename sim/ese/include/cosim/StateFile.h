// The chip's persistent state as a small text file, so that separate
// processes (a command-line tool run after run, a virtual card) share one chip.
//
//   # simulated secure element
//   platform-id ZLM-P1
//   cos-version 0100
//   customer-id ACME
//   fc 5A4C4D010000002A
//   fd 0A010003
//   service F05A4C4D53000001
//
// One "key value" per line; '#' starts a comment line; hex values are digits
// only. platform-id, cos-version (hex) and fd are required; customer-id and fc
// default to empty; service may repeat.

#ifndef COSIM_STATE_FILE_H
#define COSIM_STATE_FILE_H

#include <stdexcept>
#include <string>

#include "cosim/ChipState.h"

namespace cosim {

class StateFileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

std::string formatState(const ChipState& state);
// Throws StateFileError naming the line at fault.
ChipState parseState(const std::string& text);

// Throws StateFileError naming the file and the OS's reason, or the line.
ChipState loadStateFile(const std::string& path);

// Writes "<file>.tmp.<pid>" beside the file, syncs it, renames it over the
// file and syncs the directory: a reader sees the old state or the new one,
// never half of one, even after a host crash. A symbolic link is followed and
// its target replaced; the file keeps its mode. Throws StateFileError, naming
// the file and the OS's reason, and leaves the file as it was, when it cannot
// be written or when `path` is something other than a regular file (a
// directory, a device, a FIFO, a socket).
void saveStateFile(const std::string& path, const ChipState& state);

// The file `path` stands for: every symbolic link followed.
std::string stateFileTarget(const std::string& path);

// Throws StateFileError when `path` exists and is not a regular file.
void requireRegularStateFile(const std::string& path);

// Removes the temporary files of processes that died while saving `path`.
// Only for a caller that keeps every other writer of `path` out (a lock).
// Returns how many it removed.
size_t removeStaleTemporaryFiles(const std::string& path);

}  // namespace cosim

#endif  // COSIM_STATE_FILE_H

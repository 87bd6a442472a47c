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
// One "key value" per line; '#' starts a comment line. platform-id,
// cos-version (hex) and fd are required; customer-id and fc default to empty;
// service may repeat.

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

ChipState loadStateFile(const std::string& path);
// Writes a temporary file and renames it over `path`: a reader sees the old
// state or the new one, never half of one.
void saveStateFile(const std::string& path, const ChipState& state);

}  // namespace cosim

#endif  // COSIM_STATE_FILE_H

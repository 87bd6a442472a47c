// Waits, through PC/SC itself, for pcscd to see a card come or go, so that a
// test starts on a settled reader.

#ifndef COSUPDATE_PCSC_E2E_READER_WATCH_H
#define COSUPDATE_PCSC_E2E_READER_WATCH_H

#include <chrono>
#include <string>

namespace pcsce2e {

// True when `reader` shows a card (or, for present == false, shows none)
// within `patience`.
bool waitForCard(const std::string& reader, bool present, std::chrono::milliseconds patience);

}  // namespace pcsce2e

#endif  // COSUPDATE_PCSC_E2E_READER_WATCH_H

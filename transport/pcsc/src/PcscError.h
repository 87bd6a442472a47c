// PC/SC return codes turned into the library's exception type.

#ifndef COSUPDATE_PCSC_PCSC_ERROR_H
#define COSUPDATE_PCSC_PCSC_ERROR_H

#include <PCSC/winscard.h>

#include <string>

namespace cosupdate {
namespace pcsc {

// COSUpdateException: "PC/SC: <action>: <pcsc-lite's text> (0x<code>)".
[[noreturn]] void throwPcscError(const std::string& action, LONG result);

// True for the codes that say the card or the reader is no longer there (or
// was reset by someone else): the card handle is then worth nothing.
bool isCardLost(LONG result);
// True for the codes that say pcscd itself is gone: the context is dead.
bool isServiceLost(LONG result);

}  // namespace pcsc
}  // namespace cosupdate

#endif  // COSUPDATE_PCSC_PCSC_ERROR_H

// Which reader the transport connects to.

#ifndef COSUPDATE_PCSC_READER_SELECTION_H
#define COSUPDATE_PCSC_READER_SELECTION_H

#include <string>

#include "PcscContext.h"

namespace cosupdate {
namespace pcsc {

// `wanted` empty: the first reader holding a card. Otherwise the reader of
// that exact name, else the first reader whose name starts with `wanted` and
// holds a card (names often end in slot numbers: "Virtual PCD 00 00").
// Throws COSUpdateException listing the readers there are when none fits.
std::string chooseReader(const PcscContext& context, const std::string& wanted);

}  // namespace pcsc
}  // namespace cosupdate

#endif  // COSUPDATE_PCSC_READER_SELECTION_H

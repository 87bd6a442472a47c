// Text from outside the tool (file and script names, the library's and the
// kernel's log, chip fields) on its way to a terminal: every line the tool
// prints that may carry such text goes through sanitize() first.

#ifndef COSUPDATE_CLI_SANITIZE_H
#define COSUPDATE_CLI_SANITIZE_H

#include <string>
#include <string_view>

namespace cosupdate::cli {

// `text` with nothing a terminal would act on: C0 controls, DEL and C1
// controls are shown escaped ("\n", "\t", "\x1B", "\u009B"), as are bytes that
// are not UTF-8 ("\xFF") and the backslash itself ("\\"), so that what is
// shown reads back unambiguously. Printable UTF-8 passes unchanged.
std::string sanitize(std::string_view text);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_SANITIZE_H

// The --help texts of the tool and of each command.

#ifndef COSUPDATE_CLI_HELP_H
#define COSUPDATE_CLI_HELP_H

#include <string>

namespace cosupdate::cli {

std::string toolHelp();
// Empty for a name that is not a command.
std::string commandHelp(const std::string& command);

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_HELP_H

// The tool's stderr: whole lines (log, progress, errors) and, on a terminal,
// one status line rewritten in place. Lines are written above the status line
// so that the two never mix.

#ifndef COSUPDATE_CLI_CONSOLE_H
#define COSUPDATE_CLI_CONSOLE_H

#include <cstddef>
#include <ostream>
#include <string>

namespace cosupdate::cli {

class Console {
  public:
    // `interactive`: `err` is a terminal `width` columns wide, a status line
    // can be rewritten (and is cut to fit, a wrapped one could not be).
    Console(std::ostream& err, bool interactive, size_t width = 80)
        : m_err(err), m_interactive(interactive), m_width(width) {}
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    bool interactive() const { return m_interactive; }

    void line(const std::string& text);
    // Replaces the status line; ignored when not interactive.
    void status(const std::string& text);
    void clearStatus();

  private:
    void erase();

    std::ostream& m_err;
    bool m_interactive;
    size_t m_width;
    std::string m_status;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_CONSOLE_H

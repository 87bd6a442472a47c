#include "Console.h"

namespace cosupdate::cli {

namespace {

// Control characters would break the one-line layout (and a terminal).
std::string printable(const std::string& text) {
    std::string result = text;
    for (char& c : result) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            c = ' ';
        }
    }
    return result;
}

}  // namespace

Console::~Console() {
    clearStatus();
}

void Console::line(const std::string& text) {
    erase();
    m_err << printable(text) << '\n';
    if (!m_status.empty()) {
        m_err << m_status;
    }
    m_err.flush();
}

void Console::status(const std::string& text) {
    if (!m_interactive) {
        return;
    }
    erase();
    m_status = printable(text);
    if (m_width > 1 && m_status.size() >= m_width) {
        m_status.resize(m_width - 1);
    }
    m_err << m_status << std::flush;
}

void Console::clearStatus() {
    erase();
    m_status.clear();
    m_err.flush();
}

void Console::erase() {
    if (!m_status.empty()) {
        m_err << "\r\033[K";
    }
}

}  // namespace cosupdate::cli

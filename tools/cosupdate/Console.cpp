#include "Console.h"

#include "Sanitize.h"

namespace cosupdate::cli {

namespace {

bool isContinuationByte(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// Cut to `width` bytes, never inside a UTF-8 sequence.
void cutTo(std::string& text, size_t width) {
    if (text.size() <= width) {
        return;
    }
    size_t end = width;
    while (end > 0 && isContinuationByte(text[end])) {
        --end;
    }
    text.resize(end);
}

}  // namespace

Console::~Console() {
    clearStatus();
}

void Console::line(const std::string& text) {
    erase();
    m_err << sanitize(text) << '\n';
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
    m_status = sanitize(text);
    if (m_width > 1) {
        cutTo(m_status, m_width - 1);  // a wrapped line could not be rewritten
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

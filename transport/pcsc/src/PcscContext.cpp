#include "PcscContext.h"

#include "PcscError.h"

namespace cosupdate {
namespace pcsc {

namespace {

// Asking for the current state only: no waiting.
constexpr DWORD kNoWait = 0;

// A multi-string: names separated by NULs, ended by an empty name.
std::vector<std::string> splitMultiString(const std::vector<char>& buffer) {
    std::vector<std::string> names;
    for (size_t at = 0; at < buffer.size() && buffer[at] != '\0';) {
        names.emplace_back(&buffer[at]);
        at += names.back().size() + 1;
    }
    return names;
}

}  // namespace

PcscContext::PcscContext() {
    const LONG result = SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &m_handle);
    if (result != SCARD_S_SUCCESS) {
        throwPcscError("connecting to pcscd", result);
    }
}

PcscContext::~PcscContext() {
    SCardReleaseContext(m_handle);
}

bool PcscContext::isValid() const {
    return SCardIsValidContext(m_handle) == SCARD_S_SUCCESS;
}

std::vector<std::string> PcscContext::readers() const {
    DWORD size = 0;
    LONG result = SCardListReaders(m_handle, nullptr, nullptr, &size);
    if (result == SCARD_E_NO_READERS_AVAILABLE) {
        return {};
    }
    if (result != SCARD_S_SUCCESS) {
        throwPcscError("listing the readers", result);
    }
    std::vector<char> buffer(size);
    result = SCardListReaders(m_handle, nullptr, buffer.data(), &size);
    if (result == SCARD_E_NO_READERS_AVAILABLE) {
        return {};  // the last reader went away in between
    }
    if (result != SCARD_S_SUCCESS) {
        throwPcscError("listing the readers", result);
    }
    buffer.resize(size);
    return splitMultiString(buffer);
}

bool PcscContext::hasCard(const std::string& reader) const {
    SCARD_READERSTATE state{};
    state.szReader = reader.c_str();
    state.dwCurrentState = SCARD_STATE_UNAWARE;
    const LONG result = SCardGetStatusChange(m_handle, kNoWait, &state, 1);
    if (result != SCARD_S_SUCCESS && result != SCARD_E_TIMEOUT) {
        throwPcscError("asking reader '" + reader + "' for its card", result);
    }
    return (state.dwEventState & SCARD_STATE_PRESENT) != 0 &&
           (state.dwEventState & SCARD_STATE_MUTE) == 0;
}

}  // namespace pcsc
}  // namespace cosupdate

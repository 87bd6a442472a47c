#include "ReaderWatch.h"

#include <PCSC/winscard.h>

#include <thread>

namespace pcsce2e {

namespace {

constexpr std::chrono::milliseconds kPollPause{50};
constexpr DWORD kNoWait = 0;

// The reader's state right now: 0 when pcscd cannot tell (no such reader yet).
DWORD readerState(SCARDCONTEXT context, const std::string& reader) {
    SCARD_READERSTATE state{};
    state.szReader = reader.c_str();
    state.dwCurrentState = SCARD_STATE_UNAWARE;
    const LONG result = SCardGetStatusChange(context, kNoWait, &state, 1);
    return result == SCARD_S_SUCCESS || result == SCARD_E_TIMEOUT ? state.dwEventState : 0;
}

}  // namespace

bool waitForCard(const std::string& reader, bool present, std::chrono::milliseconds patience) {
    SCARDCONTEXT context = 0;
    if (SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context) != SCARD_S_SUCCESS) {
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + patience;
    bool reached = false;
    while (!reached && std::chrono::steady_clock::now() < deadline) {
        const DWORD state = readerState(context, reader);
        reached = present ? (state & SCARD_STATE_PRESENT) != 0 && (state & SCARD_STATE_MUTE) == 0
                          : (state & SCARD_STATE_EMPTY) != 0;
        if (!reached) {
            std::this_thread::sleep_for(kPollPause);
        }
    }
    SCardReleaseContext(context);
    return reached;
}

}  // namespace pcsce2e

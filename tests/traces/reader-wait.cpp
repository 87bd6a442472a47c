// reader-wait READER present|empty: waits (10 s at most) until pcscd shows a
// card in READER, or none; exit 0 when it does, 1 when it does not. The trace
// recording script needs it between cards: pcscd polls its readers, and a
// card swapped faster than it looks never left.

#include <PCSC/winscard.h>

#include <cstring>
#include <iostream>
#include <string>

namespace {

constexpr DWORD kPatienceMs = 10000;

bool shows(DWORD state, bool present) {
    return present ? (state & (SCARD_STATE_PRESENT | SCARD_STATE_MUTE)) == SCARD_STATE_PRESENT
                   : (state & SCARD_STATE_EMPTY) != 0;
}

// Blocks in SCardGetStatusChange until the reader's state changes, as often
// as it takes within the patience.
bool waitFor(SCARDCONTEXT context, const char* reader, bool present) {
    SCARD_READERSTATE state{};
    state.szReader = reader;
    state.dwCurrentState = SCARD_STATE_UNAWARE;
    for (DWORD waited = 0; waited <= kPatienceMs; waited += 500) {
        const LONG rv = SCardGetStatusChange(context, 500, &state, 1);
        if (rv != SCARD_S_SUCCESS && rv != static_cast<LONG>(SCARD_E_TIMEOUT)) {
            std::cerr << "reader-wait: " << pcsc_stringify_error(rv) << '\n';
            return false;
        }
        if (shows(state.dwEventState, present)) {
            return true;
        }
        state.dwCurrentState = state.dwEventState & ~SCARD_STATE_CHANGED;
    }
    return false;
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc != 3 || (std::strcmp(argv[2], "present") != 0 && std::strcmp(argv[2], "empty") != 0)) {
        std::cerr << "usage: reader-wait READER present|empty\n";
        return 2;
    }
    SCARDCONTEXT context = 0;
    if (SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context) != SCARD_S_SUCCESS) {
        std::cerr << "reader-wait: no pcscd\n";
        return 1;
    }
    const bool reached = waitFor(context, argv[1], std::string(argv[2]) == "present");
    SCardReleaseContext(context);
    if (!reached) {
        std::cerr << "reader-wait: " << argv[1] << " did not become " << argv[2] << '\n';
    }
    return reached ? 0 : 1;
}

#include "PcscError.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate {
namespace pcsc {

namespace {

constexpr std::array<LONG, 8> kCardLost{
    SCARD_W_REMOVED_CARD,      SCARD_W_RESET_CARD,     SCARD_W_UNPOWERED_CARD,
    SCARD_W_UNRESPONSIVE_CARD, SCARD_E_NO_SMARTCARD,   SCARD_E_READER_UNAVAILABLE,
    SCARD_E_INVALID_HANDLE,    SCARD_E_UNKNOWN_READER,
};

constexpr std::array<LONG, 3> kServiceLost{
    SCARD_E_NO_SERVICE,
    SCARD_E_SERVICE_STOPPED,
    SCARD_E_INVALID_HANDLE,
};

template <size_t N>
bool contains(const std::array<LONG, N>& codes, LONG result) {
    return std::find(codes.begin(), codes.end(), result) != codes.end();
}

}  // namespace

void throwPcscError(const std::string& action, LONG result) {
    char code[16];
    std::snprintf(code, sizeof(code), "0x%08lX", static_cast<unsigned long>(result));
    throw Zelmar::Device::COS::V1_0::COSUpdateException(
        "PC/SC: " + action + ": " + pcsc_stringify_error(result) + " (" + code + ")");
}

bool isCardLost(LONG result) {
    return contains(kCardLost, result) || isServiceLost(result);
}

bool isServiceLost(LONG result) {
    return contains(kServiceLost, result);
}

}  // namespace pcsc
}  // namespace cosupdate

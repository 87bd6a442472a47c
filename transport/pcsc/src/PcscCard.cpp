#include "PcscCard.h"

#include <utility>

#include "LengthFields.h"
#include "PcscError.h"
#include "ZelmarNativeCOSUpdateApi.h"
#include "cosupdate/apdu/Hex.h"
#include "cosupdate/apdu/StatusWords.h"

namespace cosupdate {
namespace pcsc {

namespace {

// The largest answer an extended APDU can carry, status word included.
constexpr DWORD kReceiveCapacity = MAX_BUFFER_SIZE_EXTENDED;
constexpr size_t kShownCommandBytes = 5;

const SCARD_IO_REQUEST* sendPci(DWORD protocol) {
    return protocol == SCARD_PROTOCOL_T0 ? SCARD_PCI_T0 : SCARD_PCI_T1;
}

// "APDU 80520000 24..." for error texts: the header tells which command it was.
std::string describeCommand(const Bytes& command) {
    if (command.size() <= kShownCommandBytes) {
        return "APDU " + apdu::encodeHex(command);
    }
    return "APDU " + apdu::encodeHex(command.data(), kShownCommandBytes) + "...";
}

}  // namespace

PcscCard::PcscCard(const PcscContext& context, std::string reader, DWORD protocols)
    : m_reader(std::move(reader)) {
    const LONG result = SCardConnect(context.handle(), m_reader.c_str(), SCARD_SHARE_EXCLUSIVE,
                                     protocols, &m_handle, &m_protocol);
    if (result != SCARD_S_SUCCESS) {
        throwPcscError("connecting to the card in reader '" + m_reader + "'", result);
    }
}

PcscCard::~PcscCard() {
    SCardDisconnect(m_handle, m_lost ? SCARD_LEAVE_CARD : SCARD_RESET_CARD);
}

void PcscCard::fail(const std::string& action, LONG result) {
    if (isCardLost(result)) {
        m_lost = true;
    }
    throwPcscError(action + " (reader '" + m_reader + "')", result);
}

Bytes PcscCard::transmit(const Bytes& command) {
    const Bytes sent = m_protocol == SCARD_PROTOCOL_T0 ? forT0(command) : command;
    Bytes answer(kReceiveCapacity);
    DWORD answerSize = kReceiveCapacity;
    const LONG result =
        SCardTransmit(m_handle, sendPci(m_protocol), sent.data(), static_cast<DWORD>(sent.size()),
                      nullptr, answer.data(), &answerSize);
    if (result != SCARD_S_SUCCESS) {
        fail("sending " + describeCommand(command), result);
    }
    if (answerSize < apdu::kStatusWordSize) {
        // Not even a status word: what a reader passes on when the card went
        // away mid-exchange. Nothing on this connection can be trusted now.
        m_lost = true;
        throw Zelmar::Device::COS::V1_0::COSUpdateException(
            "PC/SC: sending " + describeCommand(command) + " (reader '" + m_reader +
            "'): no answer from the card (" + std::to_string(answerSize) + " byte(s))");
    }
    answer.resize(answerSize);
    return answer;
}

bool PcscCard::stillThere() {
    if (m_lost) {
        return false;
    }
    DWORD state = 0;
    DWORD protocol = 0;
    DWORD atrSize = MAX_ATR_SIZE;
    BYTE atr[MAX_ATR_SIZE];
    DWORD nameSize = 0;  // the name is known; pcsc-lite still wants the size
    const LONG result = SCardStatus(m_handle, nullptr, &nameSize, &state, &protocol, atr, &atrSize);
    if (isCardLost(result)) {
        m_lost = true;
    } else if (result != SCARD_S_SUCCESS) {
        throwPcscError("asking reader '" + m_reader + "' for the card's status", result);
    }
    return !m_lost;
}

}  // namespace pcsc
}  // namespace cosupdate

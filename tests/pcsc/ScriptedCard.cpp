#include "ScriptedCard.h"

#include <cctype>
#include <stdexcept>

#include "ZelmarNativeCOSUpdateApi.h"

namespace pcsctest {

const char* const kLinkFailure = "link failure";

Bytes hex(const std::string& text) {
    std::string digits;
    for (char c : text) {
        if (!std::isspace(static_cast<unsigned char>(c))) {
            digits += c;
        }
    }
    if (digits.size() % 2 != 0) {
        throw std::invalid_argument("odd hex: " + text);
    }
    Bytes bytes;
    for (size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

std::string hexOf(const Bytes& bytes) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (uint8_t b : bytes) {
        text += kDigits[b >> 4];
        text += kDigits[b & 0x0F];
    }
    return text;
}

std::string canonical(const std::string& text) {
    return hexOf(hex(text));
}

std::vector<std::string> canonical(const std::vector<std::string>& texts) {
    std::vector<std::string> result;
    for (const std::string& text : texts) {
        result.push_back(canonical(text));
    }
    return result;
}

ScriptedCard::ScriptedCard(std::vector<std::string> answers) : m_answers(std::move(answers)) {}

cosupdate::pcsc::RawTransmit ScriptedCard::transmit() {
    return [this](const Bytes& command) { return answer(command); };
}

Bytes ScriptedCard::answer(const Bytes& command) {
    m_sent.push_back(hexOf(command));
    if (m_next == m_answers.size()) {
        throw std::logic_error("the card's script has no answer to " + hexOf(command));
    }
    const std::string& next = m_answers[m_next++];
    if (next == kLinkFailure) {
        throw Zelmar::Device::COS::V1_0::COSUpdateException("PC/SC: link failure");
    }
    return hex(next);
}

}  // namespace pcsctest

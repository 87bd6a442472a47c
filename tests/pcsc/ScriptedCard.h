// A fake card for the APDU logic: answers from a script, in order, and
// remembers every command it was sent.

#ifndef COSUPDATE_PCSC_TEST_SCRIPTED_CARD_H
#define COSUPDATE_PCSC_TEST_SCRIPTED_CARD_H

#include <string>
#include <vector>

#include "Apdu.h"

namespace pcsctest {

using cosupdate::pcsc::Bytes;

// Hex digits, blanks ignored: "00A4 0400" is 00 A4 04 00.
Bytes hex(const std::string& text);
std::string hexOf(const Bytes& bytes);
// Hex written with blanks for reading, as hexOf() writes it.
std::string canonical(const std::string& text);
std::vector<std::string> canonical(const std::vector<std::string>& texts);

// In a script, this answer makes the exchange fail as a broken link would.
extern const char* const kLinkFailure;

class ScriptedCard {
  public:
    explicit ScriptedCard(std::vector<std::string> answers);

    cosupdate::pcsc::RawTransmit transmit();
    // Every command sent so far, as hex.
    const std::vector<std::string>& sent() const { return m_sent; }
    size_t unanswered() const { return m_answers.size() - m_next; }

  private:
    Bytes answer(const Bytes& command);

    std::vector<std::string> m_answers;
    size_t m_next = 0;
    std::vector<std::string> m_sent;
};

}  // namespace pcsctest

#endif  // COSUPDATE_PCSC_TEST_SCRIPTED_CARD_H

#include "cosupdate/apdu/StatusWords.h"

#include <stdexcept>
#include <string>

namespace cosupdate::apdu {

namespace {

void requireStatusWord(const Bytes& answer) {
    if (answer.size() < kStatusWordSize) {
        throw std::invalid_argument("an answer of " + std::to_string(answer.size()) +
                                    " byte(s) has no status word");
    }
}

}  // namespace

uint16_t statusWordOf(const Bytes& answer) {
    requireStatusWord(answer);
    return readU16(answer.data() + answer.size() - kStatusWordSize);
}

Bytes dataOf(const Bytes& answer) {
    requireStatusWord(answer);
    return Bytes(answer.begin(), answer.end() - kStatusWordSize);
}

}  // namespace cosupdate::apdu

#include "Sha256.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "Errors.h"
#include "cosupdate/apdu/Hex.h"

namespace cosupdate::cli {

std::string sha256Hex(std::string_view bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
        throw ToolError("cannot compute the SHA-256 of the update file");
    }
    std::string hex = apdu::encodeHex(digest.data(), size);
    std::transform(hex.begin(), hex.end(), hex.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return hex;
}

}  // namespace cosupdate::cli

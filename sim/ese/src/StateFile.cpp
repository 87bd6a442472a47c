#include "cosim/StateFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <system_error>

#include "cosim/DurableFile.h"
#include "cosupdate/apdu/Hex.h"

namespace cosim {

namespace {

constexpr size_t kMaxVersionDigits = 4;

[[noreturn]] void failAt(int line, const std::string& what) {
    throw StateFileError("chip state, line " + std::to_string(line) + ": " + what);
}

// Exactly as formatState() writes it: digits only.
Bytes hexValue(const std::string& value, int line) {
    apdu::HexDecoded decoded = apdu::decodeHex(value);
    if (decoded.error) {
        failAt(line, apdu::describe(*decoded.error, value));
    }
    return std::move(decoded.bytes);
}

uint16_t versionValue(const std::string& value, int line) {
    if (value.empty() || value.size() > kMaxVersionDigits) {
        failAt(line, "cos-version needs 1 to 4 hex digits");
    }
    const Bytes bytes = hexValue(std::string(kMaxVersionDigits - value.size(), '0') + value, line);
    return apdu::readU16(bytes.data());
}

class StateParser {
  public:
    void take(const std::string& key, const std::string& value, int line) {
        if (key != "service" && !m_seen.insert(key).second) {
            failAt(line, "'" + key + "' given twice");
        }
        if (key == "platform-id") {
            m_state.platformId = value;
        } else if (key == "customer-id") {
            m_state.customerId = value;
        } else if (key == "cos-version") {
            m_state.cosVersion = versionValue(value, line);
        } else if (key == "fc") {
            m_state.fc = hexValue(value, line);
        } else if (key == "fd") {
            takeFd(value, line);
        } else if (key == "service") {
            if (!m_state.services.insert(hexValue(value, line)).second) {
                failAt(line, "service " + value + " listed twice");
            }
        } else {
            failAt(line, "unknown key '" + key + "'");
        }
    }

    ChipState finish() {
        for (const char* required : {"platform-id", "cos-version", "fd"}) {
            if (m_seen.count(required) == 0) {
                throw StateFileError(std::string("chip state: '") + required + "' missing");
            }
        }
        try {
            validate(m_state);
        } catch (const std::invalid_argument& e) {
            throw StateFileError(std::string("chip state: ") + e.what());
        }
        return m_state;
    }

  private:
    void takeFd(const std::string& value, int line) {
        const Bytes fd = hexValue(value, line);
        if (fd.size() != kFdSize) {
            failAt(line, "fd needs exactly 4 bytes");
        }
        std::copy(fd.begin(), fd.end(), m_state.fd.begin());
    }

    ChipState m_state;
    std::set<std::string> m_seen;
};

}  // namespace

std::string formatState(const ChipState& state) {
    std::ostringstream out;
    out << "# simulated secure element\n"
        << "platform-id " << state.platformId << '\n'
        << "cos-version " << apdu::encodeHexU16(state.cosVersion) << '\n'
        << "customer-id " << state.customerId << '\n'
        << "fc " << apdu::encodeHex(state.fc) << '\n'
        << "fd " << apdu::encodeHex(state.fd.data(), state.fd.size()) << '\n';
    for (const Bytes& service : state.services) {
        out << "service " << apdu::encodeHex(service) << '\n';
    }
    return out.str();
}

ChipState parseState(const std::string& text) {
    StateParser parser;
    std::istringstream in(text);
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.empty() || line[0] == '#') {
            continue;
        }
        const size_t space = line.find(' ');
        const std::string key = line.substr(0, space);
        const std::string value = space == std::string::npos ? "" : line.substr(space + 1);
        parser.take(key, value, number);
    }
    return parser.finish();
}

ChipState loadStateFile(const std::string& path) {
    requireRegularStateFile(path);
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw StateFileError("cannot read chip state file " + path + ": " + std::strerror(errno));
    }
    std::ostringstream text;
    text << file.rdbuf();
    return parseState(text.str());
}

void saveStateFile(const std::string& path, const ChipState& state) {
    validate(state);
    try {
        const std::string target = durable::followLinks(path);
        requireRegularStateFile(target);
        durable::replace(target, formatState(state));
    } catch (const std::system_error& e) {
        throw StateFileError("chip state file " + path + ": " + e.what());
    }
}

std::string stateFileTarget(const std::string& path) {
    try {
        return durable::followLinks(path);
    } catch (const std::system_error& e) {
        throw StateFileError("chip state file " + path + ": " + e.what());
    }
}

void requireRegularStateFile(const std::string& path) {
    const std::string kind = durable::nonRegularKind(path);
    if (!kind.empty()) {
        throw StateFileError("chip state file " + path + " is " + kind + ", not a regular file");
    }
}

size_t removeStaleTemporaryFiles(const std::string& path) {
    return durable::removeStaleTemporaries(stateFileTarget(path));
}

}  // namespace cosim

// The trace of a transport's calls, as RecordingSEMedia writes it and
// ReplaySEMedia reads it (docs/trace-format.md): JSON Lines, ASCII only, a
// header line, then one line per call, each ending in the CRC-32 of the rest
// of the line so that a changed byte is found at its line.
//
// Stateless functions and constants; thread-safe.

#ifndef COSUPDATE_TRACE_TRACE_FORMAT_H
#define COSUPDATE_TRACE_TRACE_FORMAT_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace cosupdate::trace {

// The header's "format" and "version".
inline constexpr char kFormatName[] = "cosupdate-apdu-trace";
inline constexpr int kFormatVersion = 1;

// The six calls of COSUpdateSEMediaInterface, named in a trace as in the interface.
enum class Operation {
    Initialize,
    IsInitialized,
    OpenConnection,
    IsConnected,
    TransmitApdu,
    CloseConnection,
};

const char* operationName(Operation operation);
std::optional<Operation> operationNamed(std::string_view name);

// openConnection carries an AID, transmitApdu a command; both answer bytes.
bool hasBytesIn(Operation operation);
// isInitialized and isConnected return a bool.
bool returnsBool(Operation operation);
// What a trace calls the bytes a call sends: "aid" or "command".
const char* bytesInKey(Operation operation);

// What a call threw, if anything.
enum class Thrown {
    Nothing,
    Library,   // COSUpdateException
    Standard,  // another std::exception
    Other,     // anything else
};

// "COSUpdateException", "std::exception", "other"; nullptr for Nothing.
const char* thrownName(Thrown thrown);
std::optional<Thrown> thrownNamed(std::string_view name);

// Appends `text` as a JSON string, quotes included. Every byte outside
// printable ASCII, '"' and '\' are written \u00XX, so that any byte string
// comes back byte for byte (the replay reads U+0000..U+00FF back as bytes)
// and a trace stays ASCII. Hand-written: the recorder builds as a vendor
// module, which has no JSON library, and this fixed format is faster so.
void appendJsonString(std::string& out, std::string_view text);

// A line's CRC member: `,"crc":"XXXXXXXX"}` closes the object.
inline constexpr std::string_view kCrcKey = ",\"crc\":\"";
inline constexpr size_t kCrcTailSize = kCrcKey.size() + 8 + 2;  // digits, '"', '}'

// Closes `line`, an object opened with '{' and holding its members, with the
// CRC-32 of everything written so far, and the newline.
void sealLine(std::string& line);

// The CRC-32 (zlib's) of `content`.
uint32_t crcOf(std::string_view content);

}  // namespace cosupdate::trace

#endif  // COSUPDATE_TRACE_TRACE_FORMAT_H

#include "cosupdate/trace/TraceFormat.h"

#include <zlib.h>

#include <array>
#include <cstdio>

#include "cosupdate/apdu/Hex.h"

namespace cosupdate::trace {

namespace {

struct OperationInfo {
    Operation operation;
    const char* name;
};

constexpr std::array<OperationInfo, 6> kOperations{{
    {Operation::Initialize, "initialize"},
    {Operation::IsInitialized, "isInitialized"},
    {Operation::OpenConnection, "openConnection"},
    {Operation::IsConnected, "isConnected"},
    {Operation::TransmitApdu, "transmitApdu"},
    {Operation::CloseConnection, "closeConnection"},
}};

struct ThrownInfo {
    Thrown thrown;
    const char* name;
};

constexpr std::array<ThrownInfo, 3> kThrown{{
    {Thrown::Library, "COSUpdateException"},
    {Thrown::Standard, "std::exception"},
    {Thrown::Other, "other"},
}};

bool isPlain(unsigned char c) {
    return c >= 0x20 && c <= 0x7E && c != '"' && c != '\\';
}

}  // namespace

const char* operationName(Operation operation) {
    for (const OperationInfo& info : kOperations) {
        if (info.operation == operation) {
            return info.name;
        }
    }
    return "?";
}

std::optional<Operation> operationNamed(std::string_view name) {
    for (const OperationInfo& info : kOperations) {
        if (name == info.name) {
            return info.operation;
        }
    }
    return std::nullopt;
}

bool hasBytesIn(Operation operation) {
    return operation == Operation::OpenConnection || operation == Operation::TransmitApdu;
}

bool returnsBool(Operation operation) {
    return operation == Operation::IsInitialized || operation == Operation::IsConnected;
}

const char* bytesInKey(Operation operation) {
    return operation == Operation::OpenConnection ? "aid" : "command";
}

const char* thrownName(Thrown thrown) {
    for (const ThrownInfo& info : kThrown) {
        if (info.thrown == thrown) {
            return info.name;
        }
    }
    return nullptr;
}

std::optional<Thrown> thrownNamed(std::string_view name) {
    for (const ThrownInfo& info : kThrown) {
        if (name == info.name) {
            return info.thrown;
        }
    }
    return std::nullopt;
}

void appendJsonString(std::string& out, std::string_view text) {
    out.push_back('"');
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (isPlain(byte)) {
            out.push_back(c);
        } else {
            out += "\\u00";
            out += apdu::encodeHex(&byte, 1);
        }
    }
    out.push_back('"');
}

void sealLine(std::string& line) {
    const uint32_t crc = crcOf(line);
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08X", static_cast<unsigned>(crc));
    line += kCrcKey;
    line.append(digits, 8);
    line += "\"}\n";
}

uint32_t crcOf(std::string_view content) {
    return static_cast<uint32_t>(
        crc32_z(0L, reinterpret_cast<const Bytef*>(content.data()), content.size()));
}

}  // namespace cosupdate::trace

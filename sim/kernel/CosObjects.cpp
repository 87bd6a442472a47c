#include "CosObjects.h"

#include "KernelError.h"
#include "Log.h"
#include "SeMedia.h"
#include "cosupdate/apdu/Hex.h"
#include "cosupdate/apdu/StatusWords.h"

namespace simkernel {

namespace {

namespace apdu = cosupdate::apdu;

constexpr uint8_t kReadBinary[] = {0x00, 0xB0};
constexpr size_t kReadChunk = 256;         // Le 00
constexpr size_t kMaxObjectSize = 0x7FFF;  // READ BINARY offsets are 15 bits

constexpr uint8_t kPlatformIdTag = 0xC1;
constexpr uint8_t kCosVersionTag = 0xC2;
constexpr uint8_t kCustomerIdTag = 0xC3;
constexpr uint8_t kLengthFollowsInOne = 0x81;
constexpr uint8_t kLengthFollowsInTwo = 0x82;
constexpr size_t kVersionSize = 2;

bool isKnownType(NATIVECOSPATCH_COS_DATA_TYPE type) {
    return type == NATIVECOSPATCH_COS_DATA_TYPE_FC || type == NATIVECOSPATCH_COS_DATA_TYPE_FD ||
           type == NATIVECOSPATCH_COS_DATA_TYPE_FE;
}

size_t slotOf(NATIVECOSPATCH_COS_DATA_TYPE type) {
    return static_cast<size_t>(type) - 1;
}

Bytes readBinaryCommand(size_t offset) {
    return Bytes{kReadBinary[0], kReadBinary[1], static_cast<uint8_t>(offset >> 8),
                 static_cast<uint8_t>(offset), 0x00};
}

// Reads the selected object chunk by chunk until a short chunk ends it.
Bytes readSelectedObject(const char* name) {
    SeMediaManager& media = SeMediaManager::instance();
    Bytes content;
    for (;;) {
        const std::optional<Bytes> answer = media.transmit(readBinaryCommand(content.size()));
        if (!answer) {
            throw KernelError(std::string("reading ") + name + ": exchange failed");
        }
        const uint16_t statusWord = apdu::statusWordOf(*answer);
        if (statusWord != apdu::sw::kOk) {
            throw KernelError(std::string("reading ") + name + ": status word " +
                              apdu::encodeHexU16(statusWord));
        }
        const Bytes chunk = apdu::dataOf(*answer);
        content.insert(content.end(), chunk.begin(), chunk.end());
        if (chunk.size() < kReadChunk) {
            return content;
        }
        if (content.size() > kMaxObjectSize) {
            throw KernelError(std::string("reading ") + name + ": object too large");
        }
    }
}

struct Tlv {
    uint8_t tag;
    const uint8_t* value;
    size_t size;
};

// One BER-TLV at `pos`; advances `pos` past it.
Tlv nextTlv(const Bytes& data, size_t& pos) {
    auto need = [&](size_t n) {
        if (data.size() - pos < n) {
            throw KernelError("FE: truncated TLV");
        }
    };
    need(2);
    const uint8_t tag = data[pos++];
    size_t length = data[pos++];
    if (length == kLengthFollowsInOne) {
        need(1);
        length = data[pos++];
    } else if (length == kLengthFollowsInTwo) {
        need(2);
        length = size_t{data[pos]} << 8 | data[pos + 1];
        pos += 2;
    } else if (length > 0x7F) {
        throw KernelError("FE: unsupported TLV length form");
    }
    need(length);
    const Tlv tlv{tag, data.data() + pos, length};
    pos += length;
    return tlv;
}

}  // namespace

SeContext& SeContext::instance() {
    static SeContext context;
    return context;
}

void SeContext::cleanup() {
    m_initialized = false;
    for (Bytes& aid : m_aids) {
        aid.clear();
    }
}

void SeContext::setAid(NATIVECOSPATCH_COS_DATA_TYPE type, Bytes aid) {
    if (!m_initialized) {
        throw KernelError("SE context not initialised");
    }
    if (!isKnownType(type)) {
        throw KernelError("unknown COS data type " + std::to_string(type));
    }
    m_aids[slotOf(type)] = std::move(aid);
}

size_t SeContext::aidSize(NATIVECOSPATCH_COS_DATA_TYPE type) const {
    if (!isKnownType(type)) {
        throw KernelError("unknown COS data type " + std::to_string(type));
    }
    return m_aids[slotOf(type)].size();
}

const Bytes& SeContext::aidOf(NATIVECOSPATCH_COS_DATA_TYPE type) const {
    if (!m_initialized) {
        throw KernelError("SE context not initialised");
    }
    if (!isKnownType(type)) {
        throw KernelError("unknown COS data type " + std::to_string(type));
    }
    const Bytes& aid = m_aids[slotOf(type)];
    if (aid.empty()) {
        throw KernelError(std::string("no AID registered for ") + cosDataName(type));
    }
    return aid;
}

Bytes SeContext::readObject(NATIVECOSPATCH_COS_DATA_TYPE type) {
    const Bytes& aid = aidOf(type);
    const char* name = cosDataName(type);
    logLine(kDebug, "reading %s (AID %s)", name, apdu::encodeHex(aid).c_str());
    ConnectionGuard connection;
    const std::optional<Bytes> selected = SeMediaManager::instance().open(aid);
    if (!selected) {
        throw KernelError(std::string("selecting ") + name + ": no connection");
    }
    const uint16_t statusWord = apdu::statusWordOf(*selected);
    if (statusWord != apdu::sw::kOk) {
        throw KernelError(std::string("selecting ") + name + ": status word " +
                          apdu::encodeHexU16(statusWord));
    }
    return readSelectedObject(name);
}

ChipIdentity SeContext::readIdentity() {
    return parseFe(readObject(NATIVECOSPATCH_COS_DATA_TYPE_FE));
}

ChipIdentity parseFe(const Bytes& fe) {
    ChipIdentity identity;
    bool hasPlatform = false;
    bool hasVersion = false;
    size_t pos = 0;
    while (pos < fe.size()) {
        const Tlv tlv = nextTlv(fe, pos);
        const char* text = reinterpret_cast<const char*>(tlv.value);
        if (tlv.tag == kPlatformIdTag) {
            identity.platformId.assign(text, tlv.size);
            hasPlatform = true;
        } else if (tlv.tag == kCosVersionTag) {
            if (tlv.size != kVersionSize) {
                throw KernelError("FE: COS version of " + std::to_string(tlv.size) + " bytes");
            }
            identity.cosVersion = static_cast<uint16_t>(tlv.value[0] << 8 | tlv.value[1]);
            hasVersion = true;
        } else if (tlv.tag == kCustomerIdTag) {
            identity.customerId.assign(text, tlv.size);
        }
    }
    if (!hasPlatform || !hasVersion) {
        throw KernelError("FE: platform id or COS version missing");
    }
    return identity;
}

const char* cosDataName(NATIVECOSPATCH_COS_DATA_TYPE type) {
    switch (type) {
        case NATIVECOSPATCH_COS_DATA_TYPE_FC:
            return "FC";
        case NATIVECOSPATCH_COS_DATA_TYPE_FD:
            return "FD";
        case NATIVECOSPATCH_COS_DATA_TYPE_FE:
            return "FE";
        case NATIVECOSPATCH_COS_DATA_TYPE_NONE:
            break;
    }
    return "?";
}

}  // namespace simkernel

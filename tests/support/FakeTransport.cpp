#include "FakeTransport.h"

#include <algorithm>
#include <stdexcept>

namespace testsupport {

using Zelmar::Device::COS::V1_0::COSUpdateException;

void FakeTransport::enter(const std::string& operation) {
    calls.push_back(operation);
    Throw kind = Throw::Nothing;
    auto it = throws.find(operation);
    if (it != throws.end()) {
        kind = it->second;
    }
    if (throwAt != 0 && calls.size() == throwAt) {
        kind = throwKind;
    }
    if (kind == Throw::COSUpdate) {
        throw COSUpdateException("transport failure in " + operation);
    }
    if (kind == Throw::Other) {
        throw std::logic_error("unexpected transport failure");
    }
}

size_t FakeTransport::count(const std::string& operation) const {
    return static_cast<size_t>(std::count(calls.begin(), calls.end(), operation));
}

void FakeTransport::initialize() {
    enter("initialize");
    initialized = true;
}

bool FakeTransport::isInitialized() {
    enter("isInitialized");
    return initialized;
}

void FakeTransport::openConnection(const std::vector<uint8_t>& aid,
                                   std::vector<uint8_t>& response) {
    enter("openConnection");
    lastAid = aid;
    connected = connectOnOpen;
    response = openAnswer;
}

bool FakeTransport::isConnected() {
    enter("isConnected");
    return connected;
}

void FakeTransport::transmitApdu(const std::vector<uint8_t>& command,
                                 std::vector<uint8_t>& response) {
    enter("transmitApdu");
    lastCommand = command;
    response = apduAnswer;
}

void FakeTransport::closeConnection() {
    enter("closeConnection");
    connected = false;
}

}  // namespace testsupport

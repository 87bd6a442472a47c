// A transport whose every exchange succeeds with 90 00 unless a test says
// otherwise: a chosen answer, or a call that throws.

#ifndef TESTS_SUPPORT_FAKE_TRANSPORT_H
#define TESTS_SUPPORT_FAKE_TRANSPORT_H

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"

namespace testsupport {

using Zelmar::Device::COS::V1_0::COSUpdateException;
using Zelmar::Device::COS::V1_0::COSUpdateSEMediaInterface;

class FakeTransport : public COSUpdateSEMediaInterface {
  public:
    enum class Throw { Nothing, COSUpdate, Other };

    void initialize() override {
        enter("initialize");
        initialized = true;
    }
    bool isInitialized() override {
        enter("isInitialized");
        return initialized;
    }
    void openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) override {
        enter("openConnection");
        lastAid = aid;
        connected = connectOnOpen;
        response = openAnswer;
    }
    bool isConnected() override {
        enter("isConnected");
        return connected;
    }
    void transmitApdu(const std::vector<uint8_t>& command,
                      std::vector<uint8_t>& response) override {
        enter("transmitApdu");
        lastCommand = command;
        response = apduAnswer;
    }
    void closeConnection() override {
        enter("closeConnection");
        connected = false;
    }

    bool initialized = true;
    bool connected = false;
    bool connectOnOpen = true;
    std::vector<uint8_t> openAnswer{0x90, 0x00};
    std::vector<uint8_t> apduAnswer{0x90, 0x00};

    // Calls made, by operation name, and what each should throw.
    std::vector<std::string> calls;
    std::map<std::string, Throw> throws;
    // When non-zero, the throwAt-th call of any operation throws `throwKind`.
    size_t throwAt = 0;
    Throw throwKind = Throw::COSUpdate;

    std::vector<uint8_t> lastAid;
    std::vector<uint8_t> lastCommand;
    size_t count(const std::string& operation) const {
        return static_cast<size_t>(std::count(calls.begin(), calls.end(), operation));
    }

  private:
    void enter(const std::string& operation) {
        calls.push_back(operation);
        auto planned = throws.find(operation);
        Throw kind = planned == throws.end() ? Throw::Nothing : planned->second;
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
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_FAKE_TRANSPORT_H

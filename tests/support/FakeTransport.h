// A transport whose every exchange succeeds with 90 00 unless a test says
// otherwise: a chosen answer, or a call that throws.

#ifndef TESTS_SUPPORT_FAKE_TRANSPORT_H
#define TESTS_SUPPORT_FAKE_TRANSPORT_H

#include <map>
#include <string>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"

namespace testsupport {

using Zelmar::Device::COS::V1_0::COSUpdateSEMediaInterface;

class FakeTransport : public COSUpdateSEMediaInterface {
  public:
    enum class Throw { Nothing, COSUpdate, Other };

    void initialize() override;
    bool isInitialized() override;
    void openConnection(const std::vector<uint8_t>& aid, std::vector<uint8_t>& response) override;
    bool isConnected() override;
    void transmitApdu(const std::vector<uint8_t>& command, std::vector<uint8_t>& response) override;
    void closeConnection() override;

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
    size_t count(const std::string& operation) const;

  private:
    void enter(const std::string& operation);
};

}  // namespace testsupport

#endif  // TESTS_SUPPORT_FAKE_TRANSPORT_H

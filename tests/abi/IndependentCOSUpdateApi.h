// The library's interface as a host service might have written it from the
// interface description alone: the same names, namespace and slot orders, but
// none of our header's definitions. Every non-pure member is only declared,
// so the client links only if the library defines and exports it; the
// transport operations whose result the library ignores return values here.

#ifndef INDEPENDENT_COS_UPDATE_API_H
#define INDEPENDENT_COS_UPDATE_API_H

#include <cstdint>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

enum COSUpdateLogLevel : int32_t {
    COSUPDATE_LOG_VERBOSE,
    COSUPDATE_LOG_DEBUG,
    COSUPDATE_LOG_INFO,
    COSUPDATE_LOG_WARNING,
    COSUPDATE_LOG_ERROR
};
enum COSUpdateTag : int32_t { COSUPDATE_TAG_FC = 1, COSUPDATE_TAG_FD = 2, COSUPDATE_TAG_FE = 4 };

class COSUpdateException : public std::runtime_error {
  public:
    COSUpdateException(const std::string& message);
};

class COSUpdateLogInterface {
  public:
    COSUpdateLogInterface();
    virtual ~COSUpdateLogInterface();
    virtual void writeLogMessage(COSUpdateLogLevel level, const std::string& message);
};

class COSUpdateSEMediaInterface {
  public:
    virtual ~COSUpdateSEMediaInterface() = default;
    virtual int initialize() = 0;
    virtual bool isInitialized() = 0;
    virtual bool openConnection(const std::vector<uint8_t>& aid,
                                std::vector<uint8_t>& response) = 0;
    virtual bool isConnected() = 0;
    virtual int transmitApdu(const std::vector<uint8_t>& command,
                             std::vector<uint8_t>& response) = 0;
    virtual bool closeConnection() = 0;
};

class COSUpdateInterface {
  public:
    virtual ~COSUpdateInterface() = default;
    virtual void setCOSUpdateTagAID(COSUpdateTag tag, const std::vector<uint8_t>& aid) = 0;
    virtual void initialize(std::shared_ptr<COSUpdateSEMediaInterface> seMedia) = 0;
    virtual bool isInitialized() = 0;
    virtual void loadCOSUpdateFileOnMemory(std::ifstream& file) = 0;
    virtual bool isUpdateAvailable() = 0;
    virtual int doUpdate() = 0;
    virtual void unloadCOSUpdateFromMemory() = 0;
    virtual void getCOSInfo(COSUpdateTag tag, std::vector<uint8_t>& data) = 0;
    virtual void release() = 0;
};

class COSUpdateFactory {
  public:
    static std::unique_ptr<COSUpdateInterface> create(std::shared_ptr<COSUpdateLogInterface> log);
};

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar

#endif  // INDEPENDENT_COS_UPDATE_API_H

// Public interface of libnativecosupdateapi-zelmar.so: updates the card operating
// system (COS) of an embedded secure element.
//
// A host service creates an engine with COSUpdateFactory::create, binds its
// transport with initialize(), registers the AIDs of the COS data objects, loads
// an update file and runs the update:
//
//   auto engine = COSUpdateFactory::create(std::make_shared<COSUpdateLogInterface>());
//   engine->initialize(transport);
//   engine->setCOSUpdateTagAID(COSUPDATE_TAG_FE, feAid);
//   std::ifstream file("update.xml", std::ios::binary);
//   engine->loadCOSUpdateFileOnMemory(file);
//   int result = engine->doUpdate();  // -1 failed, 0 nothing to do, 1 deployed
//   engine->unloadCOSUpdateFromMemory();
//   engine->release();
//
// Threading: the library starts no thread and takes no lock. Every call, and
// every call back into the log sink and the transport, runs on the caller's
// thread. Only one engine may be in use at a time in a process, running one
// operation at a time.
//
// The virtual slot order of every class below is part of the binary interface.

#ifndef ZELMAR_NATIVE_COS_UPDATE_API_H
#define ZELMAR_NATIVE_COS_UPDATE_API_H

#include <cstdint>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#define COSUPDATE_EXPORT __attribute__((visibility("default")))

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

// Severity of a log line handed to COSUpdateLogInterface::writeLogMessage.
enum COSUpdateLogLevel : int32_t {
    COSUPDATE_LOG_VERBOSE = 0,
    COSUPDATE_LOG_DEBUG = 1,
    COSUPDATE_LOG_INFO = 2,
    COSUPDATE_LOG_WARNING = 3,
    COSUPDATE_LOG_ERROR = 4,
};

// COS data objects whose AID can be configured and whose content can be read.
// There is deliberately no value 3.
enum COSUpdateTag : int32_t {
    COSUPDATE_TAG_FC = 1,
    COSUPDATE_TAG_FD = 2,
    COSUPDATE_TAG_FE = 4,
};

// The one exception type the library throws. what() is one of the library's
// fixed English texts, at times with a detail appended.
class COSUPDATE_EXPORT COSUpdateException : public std::runtime_error {
  public:
    explicit COSUpdateException(const std::string& message);
};

// Log sink. An instance of this class itself writes every line to the Android
// log as "eSE upgrade:" + message (VERBOSE, DEBUG and INFO at INFO, WARNING and
// ERROR at ERROR). Override writeLogMessage to receive the lines yourself; an
// exception it throws travels back through the operation that logged.
class COSUPDATE_EXPORT COSUpdateLogInterface {
  public:
    COSUpdateLogInterface();
    virtual ~COSUpdateLogInterface();
    virtual void writeLogMessage(COSUpdateLogLevel level, const std::string& message);
};

// Transport to the secure element, implemented by the caller. A failed exchange
// is reported by throwing COSUpdateException; the library logs its text. The
// vectors live for one call only: aid and command hold the bytes to send,
// response comes in empty and must hold the answer (data and status word) when
// the call returns. Do not keep references to them.
class COSUpdateSEMediaInterface {
  public:
    virtual ~COSUpdateSEMediaInterface() {}
    virtual void initialize() = 0;
    virtual bool isInitialized() = 0;
    virtual void openConnection(const std::vector<uint8_t>& aid,
                                std::vector<uint8_t>& response) = 0;
    virtual bool isConnected() = 0;
    virtual void transmitApdu(const std::vector<uint8_t>& command,
                              std::vector<uint8_t>& response) = 0;
    virtual void closeConnection() = 0;
};

// The update engine. Every operation but initialize() and isInitialized()
// requires the initialized state and otherwise throws
// "COSUpdate component not initialized". Failures are thrown as
// COSUpdateException unless stated otherwise.
class COSUPDATE_EXPORT COSUpdateInterface {
  public:
    COSUpdateInterface() {}
    virtual ~COSUpdateInterface() {}

    // Registers the AID (3 bytes at least) under which the data object `tag` is
    // selected on the chip. The AID of FE is required before an update can be
    // searched or run. The AID is copied.
    virtual void setCOSUpdateTagAID(COSUpdateTag tag, const std::vector<uint8_t>& aid) = 0;

    // Binds the transport (shared with the engine) and initializes it if it
    // reports itself not initialized. Throws if already initialized.
    virtual void initialize(std::shared_ptr<COSUpdateSEMediaInterface> seMedia) = 0;

    // True between a successful initialize() and release(). Never throws.
    virtual bool isInitialized() = 0;

    // Reads the open stream to its end, parses and validates the update file.
    // Replaces any file loaded before; a file that fails validation is not kept
    // and the engine then holds no file at all. The stream is not closed.
    virtual void loadCOSUpdateFileOnMemory(std::ifstream& file) = 0;

    // True when a script of the loaded file applies to the chip; the selection
    // is kept for doUpdate(). Starts the SE media for its own duration if
    // nobody has started it.
    virtual bool isUpdateAvailable() = 0;

    // Runs the selected script and every script that applies after it.
    // Returns 1 when the update was deployed, 0 when no update applies and -1
    // when a script failed or did not verify (a later call resumes with the
    // entry that failed).
    virtual int doUpdate() = 0;

    // Frees the loaded update file and the selection made from it.
    virtual void unloadCOSUpdateFromMemory() = 0;

    // Reads the content of data object `tag` from the chip into `data` (cleared
    // first). FD yields the first two bytes of its four. Requires the tag's AID.
    virtual void getCOSInfo(COSUpdateTag tag, std::vector<uint8_t>& data) = 0;

    // Undoes initialize(): frees the update file and unbinds the transport.
    virtual void release() = 0;
};

class COSUPDATE_EXPORT COSUpdateFactory {
  public:
    // Creates an engine logging to `log`, which must not be empty (throws
    // "COSUpdateLog not exist"). Pass std::make_shared<COSUpdateLogInterface>()
    // for the Android log.
    static std::unique_ptr<COSUpdateInterface> create(std::shared_ptr<COSUpdateLogInterface> log);
};

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar

#endif  // ZELMAR_NATIVE_COS_UPDATE_API_H

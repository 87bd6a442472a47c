// One engine from create() to release(): initialized over a transport, with
// the AIDs of FC, FD and FE registered. The library allows one engine per
// process at a time; a command makes at most one session.

#ifndef COSUPDATE_CLI_ENGINE_SESSION_H
#define COSUPDATE_CLI_ENGINE_SESSION_H

#include <memory>
#include <string>

#include "EngineLog.h"
#include "FeObject.h"
#include "HexArguments.h"
#include "UpdateFile.h"
#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate::cli {

namespace api = Zelmar::Device::COS::V1_0;

struct AidSet {
    Bytes fc;
    Bytes fd;
    Bytes fe;
};

class EngineSession {
  public:
    // The transport is wrapped so that the log's tracker counts every exchange.
    EngineSession(std::shared_ptr<EngineLog> log,
                  std::shared_ptr<api::COSUpdateSEMediaInterface> media, const AidSet& aids);
    ~EngineSession();
    EngineSession(const EngineSession&) = delete;
    EngineSession& operator=(const EngineSession&) = delete;

    api::COSUpdateInterface& engine() { return *m_engine; }
    EngineLog& log() { return *m_log; }

    // Loads the update file and validates it: as the library does, then for
    // what an update would stop on (UpdateFileCheck.h). Throws
    // InvalidUpdateFile when either finds a fault.
    void loadUpdateFile(UpdateFile& file);

    // The chip's identity from its FE object.
    CosIdentity readIdentity();

  private:
    std::shared_ptr<EngineLog> m_log;
    std::unique_ptr<api::COSUpdateInterface> m_engine;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_ENGINE_SESSION_H

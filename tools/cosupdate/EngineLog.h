// The log sink the tool gives the engine. Every line feeds the RunTracker
// (that is how the tool learns what the engine selected and ran); on demand
// it is also shown on stderr and handed on to the library's default sink,
// which writes it to the Android log.

#ifndef COSUPDATE_CLI_ENGINE_LOG_H
#define COSUPDATE_CLI_ENGINE_LOG_H

#include <string>

#include "Console.h"
#include "RunTracker.h"
#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate::cli {

namespace api = Zelmar::Device::COS::V1_0;

struct LogOptions {
    bool show = false;        // --verbose: one line each on stderr
    bool androidLog = false;  // --android-log: the default sink as well
    api::COSUpdateLogLevel minimum = api::COSUPDATE_LOG_VERBOSE;  // of what is shown or passed on
};

class EngineLog : public api::COSUpdateLogInterface {
  public:
    EngineLog(const LogOptions& options, Console& console)
        : m_options(options), m_console(console) {}

    void writeLogMessage(api::COSUpdateLogLevel level, const std::string& message) override;

    RunTracker& tracker() { return m_tracker; }

  private:
    LogOptions m_options;
    Console& m_console;
    RunTracker m_tracker;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_ENGINE_LOG_H

// The SE media for the length of one engine operation: started for it when
// nobody had started it, and stopped again only if it was started here.

#ifndef ZELMAR_NATIVE_COS_UPDATE_SEMEDIA_CONTROL_H
#define ZELMAR_NATIVE_COS_UPDATE_SEMEDIA_CONTROL_H

#include <functional>
#include <string>

#include "ZelmarNativeCOSUpdate.h"

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

// One operation's use of the SE media. start() starts it unless somebody
// already has; from the kernel's yes to start until its yes to stop, this use
// owes a stop, and only then does stop() ask the kernel.
//
// guard() runs the operation's work in the handler the operations share: a
// COSUpdateException is written at WARNING behind the operation's failure
// line, what is still owed is stopped, and the exception is rethrown. Any other
// exception passes through and leaves the SE media as it is, unless the
// operation says how to turn it into a COSUpdateException. The stop on failure
// is made by the handler rather than by a destructor for two reasons: it
// writes to the caller's sink, which may throw, and an exception that passes
// through must not stop anything.
class COSUpdate::SEMediaUse {
  public:
    struct Failure {
        std::string line;  // followed by the COSUpdateException's text
        // Both set: any other exception writes otherLine, stops what is owed
        // and becomes COSUpdateException(otherMessage).
        const char* otherLine = nullptr;
        const char* otherMessage = nullptr;
    };

    SEMediaUse(COSUpdate& engine, Failure failure);
    SEMediaUse(const SEMediaUse&) = delete;
    SEMediaUse& operator=(const SEMediaUse&) = delete;

    // start(), work, stop(), all inside guard().
    void run(const std::function<void()>& work);
    void guard(const std::function<void()>& work);

    // Throws "Unable to retrieve SEMedia status" or "Unable to start SEMedia".
    void start();
    // A stop the kernel refuses is written at WARNING, not thrown, and stays owed.
    void stop();

  private:
    COSUpdate& m_engine;
    Failure m_failure;
    bool m_stopOwed = false;
};

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar

#endif  // ZELMAR_NATIVE_COS_UPDATE_SEMEDIA_CONTROL_H

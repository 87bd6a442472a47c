// cosupdate validate FILE: loads the update file into an engine that has no
// chip behind it, and reports what the library made of it.

#include "Errors.h"
#include "commands/CommandContext.h"

namespace cosupdate::cli {

ExitStatus runValidate(CommandContext& context, Reply& reply) {
    const std::string& path = context.args().at(0);
    std::ifstream file = openUpdateFile(path);
    EngineSession& session = context.openOfflineSession();
    reply.json().set("file", path);
    try {
        session.loadUpdateFile(file, path);
    } catch (const InvalidUpdateFile& e) {
        reply.line(path + ": invalid: " + e.libraryMessage());
        JsonArray faults;
        for (const std::string& fault : e.details()) {
            reply.line("  " + fault);
            faults.add(fault);
        }
        reply.json().set("valid", false).set("error", e.libraryMessage()).set("faults", faults);
        return ExitStatus::InvalidFile;
    }
    reply.line(path + ": valid");
    reply.json().set("valid", true);
    return ExitStatus::Ok;
}

}  // namespace cosupdate::cli

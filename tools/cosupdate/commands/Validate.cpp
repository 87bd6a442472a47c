// cosupdate validate FILE: loads the update file into an engine that has no
// chip behind it, and reports what the library, and the kernel for what the
// library leaves to run time, made of it.

#include "Errors.h"
#include "commands/CommandContext.h"

namespace cosupdate::cli {

ExitStatus runValidate(CommandContext& context, Reply& reply) {
    reply.json()["file"] = context.args().at(0);
    UpdateFile file = UpdateFile::open(context.args().at(0));
    EngineSession& session = context.openOfflineSession();
    try {
        session.loadUpdateFile(file);
    } catch (const InvalidUpdateFile& e) {
        reply.line(file.path() + ": invalid: " + e.libraryMessage());
        for (const std::string& fault : e.details()) {
            reply.line("  " + fault);
        }
        reply.json()["valid"] = false;
        reply.json()["error"] = e.libraryMessage();
        reply.json()["details"] = Json(e.details());
        return ExitStatus::InvalidFile;
    }
    reply.line(file.path() + ": valid");
    reply.json()["valid"] = true;
    return ExitStatus::Ok;
}

}  // namespace cosupdate::cli

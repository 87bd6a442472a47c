// cosupdate check FILE: whether an update of the file applies to the chip,
// and which script the engine selected (as its log names it).

#include "FeObject.h"
#include "Progress.h"
#include "commands/CommandContext.h"

namespace cosupdate::cli {

ExitStatus runCheck(CommandContext& context, Reply& reply) {
    const std::string& path = context.args().at(0);
    std::ifstream file = openUpdateFile(path);
    EngineSession& session = context.openSession();
    session.loadUpdateFile(file, path);
    const CosIdentity identity = session.readIdentity();

    RunTracker& tracker = session.log().tracker();
    tracker.clearSelection();
    const bool available = session.engine().isUpdateAvailable();

    reply.json().set("file", path).set("updateAvailable", available);
    if (available && tracker.selected()) {
        const ScriptRef& selected = *tracker.selected();
        reply.line("update available: " + describeScript(selected));
        reply.json().set("selected",
                         JsonObject().set("name", selected.name).set("type", selected.type));
    } else if (available) {
        // The library always names it; a kernel or library that does not
        // still gets a correct answer.
        reply.line("update available (the library did not name the script)");
        reply.json().setNull("selected");
    } else {
        reply.line("no update applies");
        reply.json().setNull("selected");
    }
    reply.line("chip: " + describe(identity));
    reply.json().merge(identityJson(identity));
    return available ? ExitStatus::Ok : ExitStatus::NothingToDo;
}

}  // namespace cosupdate::cli

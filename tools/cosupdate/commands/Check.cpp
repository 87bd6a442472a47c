// cosupdate check FILE: whether an update of the file applies to the chip,
// and which script the engine selected (as its log names it).

#include "FeObject.h"
#include "Progress.h"
#include "commands/CommandContext.h"

namespace cosupdate::cli {

ExitStatus runCheck(CommandContext& context, Reply& reply) {
    reply.json()["file"] = context.args().at(0);
    UpdateFile file = UpdateFile::open(context.args().at(0));
    EngineSession& session = context.openSession();
    session.loadUpdateFile(file);
    const CosIdentity identity = session.readIdentity();

    RunTracker& tracker = session.log().tracker();
    tracker.clearSelection();
    const bool available = session.engine().isUpdateAvailable();

    reply.json()["updateAvailable"] = available;
    if (available && tracker.selected()) {
        const ScriptRef& selected = *tracker.selected();
        reply.line("update available: " + describeScript(selected));
        reply.json()["selected"] = Json{{"name", selected.name}, {"type", selected.type}};
    } else if (available) {
        // The library always names it; a kernel or library that does not
        // still gets a correct answer ("selected" stays null).
        reply.line("update available (the library did not name the script)");
    } else {
        reply.line("no update applies");
    }
    reply.line("chip: " + describe(identity));
    reply.json().update(identityJson(identity));
    return available ? ExitStatus::Ok : ExitStatus::NothingToDo;
}

}  // namespace cosupdate::cli

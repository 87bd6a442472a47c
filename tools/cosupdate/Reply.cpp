#include "Reply.h"

namespace cosupdate::cli {

void Reply::print(std::ostream& out, bool asJson, const std::string& command,
                  ExitStatus status) const {
    if (asJson) {
        JsonObject object;
        if (command.empty()) {
            object.setNull("command");  // the command line named none
        } else {
            object.set("command", command);
        }
        object.set("exitStatus", toInt(status)).merge(m_json);
        out << object.text() << '\n';
    } else {
        for (const std::string& text : m_lines) {
            out << text << '\n';
        }
    }
    out.flush();
}

}  // namespace cosupdate::cli

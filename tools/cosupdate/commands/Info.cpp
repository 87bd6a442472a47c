// cosupdate info FC|FD|FE: a COS data object's bytes as the library reads
// them (FD: its first two bytes).

#include <algorithm>
#include <array>
#include <cctype>

#include "Errors.h"
#include "FeObject.h"
#include "commands/CommandContext.h"
#include "cosupdate/apdu/Hex.h"

namespace cosupdate::cli {

namespace {

struct TagDef {
    const char* name;
    api::COSUpdateTag tag;
    const char* aidOption;
};

constexpr std::array<TagDef, 3> kTags{{
    {"FC", api::COSUPDATE_TAG_FC, "--aid-fc"},
    {"FD", api::COSUPDATE_TAG_FD, "--aid-fd"},
    {"FE", api::COSUPDATE_TAG_FE, "--aid-fe"},
}};

const TagDef& parseTag(const std::string& text) {
    std::string upper = text;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    for (const TagDef& def : kTags) {
        if (upper == def.name) {
            return def;
        }
    }
    throw UsageError("info: unknown tag '" + text + "' (FC, FD or FE)");
}

}  // namespace

ExitStatus runInfo(CommandContext& context, Reply& reply) {
    const TagDef& def = parseTag(context.args().at(0));
    const std::string name = def.name;
    const std::string aidHint = std::string(" (is ") + def.aidOption + " the object's AID?)";
    reply.json()["tag"] = name;
    EngineSession& session = context.openSession();
    Bytes data;
    session.engine().getCOSInfo(def.tag, data);

    if (data.empty()) {
        // The library gives nothing, and no error, for an empty object and
        // for an FD that is not four bytes long (an AID that selects another
        // object, for instance).
        throw ToolError(name + ": the chip returned no data: the object is empty" +
                        (def.tag == api::COSUPDATE_TAG_FD ? " or not 4 bytes long" : "") + aidHint);
    }
    reply.json()["hex"] = apdu::encodeHex(data);
    if (def.tag == api::COSUPDATE_TAG_FE) {
        try {
            reply.json().update(identityJson(decodeFe(data)));
        } catch (const ToolError& e) {
            throw ToolError(name + ": not an FE object" + aidHint + ": " + e.what());
        }
    }
    reply.line(apdu::encodeHex(data));
    return ExitStatus::Ok;
}

}  // namespace cosupdate::cli

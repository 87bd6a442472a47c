// cosupdate info FC|FD|FE: a COS data object's bytes as the library reads
// them (FD: its first two bytes).

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "Errors.h"
#include "FeObject.h"
#include "commands/CommandContext.h"

namespace cosupdate::cli {

namespace {

constexpr std::array<std::pair<const char*, api::COSUpdateTag>, 3> kTags{{
    {"FC", api::COSUPDATE_TAG_FC},
    {"FD", api::COSUPDATE_TAG_FD},
    {"FE", api::COSUPDATE_TAG_FE},
}};

std::pair<std::string, api::COSUpdateTag> parseTag(const std::string& text) {
    std::string upper = text;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    for (const auto& [name, tag] : kTags) {
        if (upper == name) {
            return {name, tag};
        }
    }
    throw UsageError("info: unknown tag '" + text + "' (FC, FD or FE)");
}

}  // namespace

ExitStatus runInfo(CommandContext& context, Reply& reply) {
    const auto [name, tag] = parseTag(context.args().at(0));
    EngineSession& session = context.openSession();
    Bytes data;
    session.engine().getCOSInfo(tag, data);

    if (data.empty()) {
        // The library gives nothing, and no error, for an empty object and
        // for an FD that is not four bytes long.
        context.console().line("cosupdate: " + name + ": the library returned no bytes");
    }
    reply.line(toHex(data));
    reply.json().set("tag", name).set("hex", toHex(data));
    if (tag == api::COSUPDATE_TAG_FE) {
        // The bytes are the answer; their decoding is a bonus for scripts.
        try {
            reply.json().merge(identityJson(decodeFe(data)));
        } catch (const ToolError&) {
        }
    }
    return ExitStatus::Ok;
}

}  // namespace cosupdate::cli

#include "Session.h"

#include <cstdio>
#include <stdexcept>

#include "cosupdate/trace/ReplaySEMedia.h"

namespace cosupdate::trace::session {

namespace {

using Exchange = void (api::COSUpdateSEMediaInterface::*)(const Bytes&, Bytes&);

// An exchange and what it answered: "answered 809000".
Step exchange(Exchange call, Bytes bytes, const char* done) {
    return [=](api::COSUpdateSEMediaInterface& media) {
        Bytes response;
        const std::string result = outcome([&] {
            (media.*call)(bytes, response);
            return std::string(done);
        });
        return result + " " + hex(response);
    };
}

}  // namespace

std::string hex(const Bytes& bytes) {
    std::string text;
    char digits[3];
    for (const uint8_t byte : bytes) {
        std::snprintf(digits, sizeof digits, "%02X", byte);
        text += digits;
    }
    return text;
}

std::string outcome(const std::function<std::string()>& call) {
    try {
        return call();
    } catch (const api::COSUpdateException& e) {
        return std::string("COSUpdateException: ") + e.what();
    } catch (const std::exception& e) {
        return std::string("std::exception: ") + e.what();
    } catch (const ReplayedForeignException&) {
        return "foreign";
    } catch (...) {
        return "foreign";
    }
}

Step transmit(Bytes command) {
    return exchange(&api::COSUpdateSEMediaInterface::transmitApdu, std::move(command), "answered");
}

Step open(Bytes aid) {
    return exchange(&api::COSUpdateSEMediaInterface::openConnection, std::move(aid), "opened");
}

const Step kInitialize = [](api::COSUpdateSEMediaInterface& media) {
    return outcome([&] {
        media.initialize();
        return std::string("initialized");
    });
};
const Step kIsInitialized = [](api::COSUpdateSEMediaInterface& media) {
    return outcome([&] { return std::string(media.isInitialized() ? "true" : "false"); });
};
const Step kIsConnected = [](api::COSUpdateSEMediaInterface& media) {
    return outcome([&] { return std::string(media.isConnected() ? "true" : "false"); });
};
const Step kClose = [](api::COSUpdateSEMediaInterface& media) {
    return outcome([&] {
        media.closeConnection();
        return std::string("closed");
    });
};

std::string thrown(const std::vector<std::string>& outcomes) {
    const std::string& last = outcomes.back();
    return last.back() == ' ' ? last.substr(0, last.size() - 1) : last;
}

std::vector<std::string> run(api::COSUpdateSEMediaInterface& media,
                             const std::vector<Step>& steps) {
    std::vector<std::string> outcomes;
    for (const Step& step : steps) {
        outcomes.push_back(step(media));
    }
    return outcomes;
}

}  // namespace cosupdate::trace::session

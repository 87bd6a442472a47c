// The transports that wrap or stand in for another: which calls reach the
// inner transport, which exchanges are reported or refused, and the texts of
// the refusals the tool and the library's log show.

#include <gtest/gtest.h>

#include <exception>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "cosupdate/transport/CountingSEMedia.h"
#include "cosupdate/transport/GuardedSEMedia.h"
#include "cosupdate/transport/OfflineSEMedia.h"

namespace cosupdate::transport {
namespace {

using Bytes = std::vector<uint8_t>;

// Answers every exchange with 90 00; a call named in `failures` throws what
// is stored there, once.
class ScriptedMedia : public api::COSUpdateSEMediaInterface {
  public:
    void initialize() override { enter("initialize"); }
    bool isInitialized() override {
        enter("isInitialized");
        return true;
    }
    void openConnection(const Bytes&, Bytes& response) override { answer("open", response); }
    bool isConnected() override {
        enter("isConnected");
        return true;
    }
    void transmitApdu(const Bytes&, Bytes& response) override { answer("transmit", response); }
    void closeConnection() override { enter("close"); }

    std::vector<std::string> calls;
    std::map<std::string, std::exception_ptr> failures;

  private:
    void enter(const std::string& name) {
        calls.push_back(name);
        const auto failure = failures.find(name);
        if (failure != failures.end()) {
            const std::exception_ptr thrown = failure->second;
            failures.erase(failure);
            std::rethrow_exception(thrown);
        }
    }
    void answer(const std::string& name, Bytes& response) {
        enter(name);
        response = {0x90, 0x00};
    }
};

// The text of the COSUpdateException `call` throws; "" when it returns.
template <typename Call>
std::string refusal(Call call) {
    try {
        call();
    } catch (const api::COSUpdateException& e) {
        return e.what();
    }
    return "";
}

TEST(CountingSEMedia, ReportsEachExchangeThatReturnsAndNothingElse) {
    auto inner = std::make_shared<ScriptedMedia>();
    size_t exchanges = 0;
    Bytes seenAtReport;
    Bytes response;
    CountingSEMedia media(inner, [&] {
        ++exchanges;
        seenAtReport = response;
    });

    media.initialize();
    media.openConnection({0xA0}, response);
    EXPECT_EQ(seenAtReport, (Bytes{0x90, 0x00})) << "reported before the answer arrived";
    media.transmitApdu({0x00, 0xB0, 0x00, 0x00}, response);
    inner->failures["transmit"] = std::make_exception_ptr(api::COSUpdateException("link lost"));
    EXPECT_EQ(refusal([&] { media.transmitApdu({0x00}, response); }), "link lost");
    EXPECT_TRUE(media.isConnected());
    media.closeConnection();

    EXPECT_EQ(exchanges, 2u);
    EXPECT_EQ(inner->calls, (std::vector<std::string>{"initialize", "open", "transmit", "transmit",
                                                      "isConnected", "close"}));
    EXPECT_THROW(CountingSEMedia(nullptr, [] {}), std::invalid_argument);
    EXPECT_THROW(CountingSEMedia(inner, nullptr), std::invalid_argument);
}

TEST(GuardedSEMedia, AStopRequestRefusesEveryExchangeFromTheNextOn) {
    auto inner = std::make_shared<ScriptedMedia>();
    bool stop = false;
    GuardedSEMedia media(inner, [&] { return stop; });
    Bytes response;

    media.openConnection({0xA0}, response);
    stop = true;
    EXPECT_EQ(refusal([&] { media.transmitApdu({0x00}, response); }),
              "exchange refused: the run was interrupted");
    stop = false;
    EXPECT_EQ(refusal([&] { media.openConnection({0xA0}, response); }),
              "exchange refused: the run was interrupted");
    media.closeConnection();

    EXPECT_TRUE(media.interrupted());
    EXPECT_FALSE(media.fatalError());
    EXPECT_EQ(inner->calls, (std::vector<std::string>{"open", "close"}));
}

TEST(GuardedSEMedia, AForeignFailureIsKeptAndRefusesLaterExchanges) {
    struct Case {
        const char* name;
        std::exception_ptr thrown;
        const char* text;
    };
    const Case cases[] = {
        {"standard exception", std::make_exception_ptr(std::runtime_error("disk full")),
         "disk full"},
        {"anything else", std::make_exception_ptr(42),
         "the transport failed with an unknown error"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto inner = std::make_shared<ScriptedMedia>();
        GuardedSEMedia media(inner, [] { return false; });
        Bytes response;

        inner->failures["transmit"] = c.thrown;
        EXPECT_EQ(refusal([&] { media.transmitApdu({0x00}, response); }), c.text);
        EXPECT_EQ(refusal([&] { media.openConnection({0xA0}, response); }),
                  std::string("exchange refused after an earlier failure: ") + c.text);
        // A later failure of its own is reported, the first one kept.
        inner->failures["close"] = std::make_exception_ptr(std::logic_error("close failed"));
        EXPECT_EQ(refusal([&] { media.closeConnection(); }), "close failed");

        EXPECT_EQ(media.fatalError(), std::optional<std::string>(c.text));
        EXPECT_FALSE(media.interrupted());
        EXPECT_EQ(inner->calls, (std::vector<std::string>{"transmit", "close"}));
    }
}

TEST(GuardedSEMedia, TheLibrarysOwnFailuresPassThroughWithoutRefusingMore) {
    auto inner = std::make_shared<ScriptedMedia>();
    GuardedSEMedia media(inner, [] { return false; });
    Bytes response;

    inner->failures["open"] = std::make_exception_ptr(api::COSUpdateException("no card"));
    EXPECT_EQ(refusal([&] { media.openConnection({0xA0}, response); }), "no card");
    media.openConnection({0xA0}, response);

    EXPECT_EQ(response, (Bytes{0x90, 0x00}));
    EXPECT_FALSE(media.fatalError());
    EXPECT_THROW(GuardedSEMedia(nullptr, [] { return false; }), std::invalid_argument);
    EXPECT_THROW(GuardedSEMedia(inner, nullptr), std::invalid_argument);
}

TEST(OfflineSEMedia, InitializesButRefusesEveryExchangeWithItsText) {
    OfflineSEMedia media("no chip here");
    Bytes response{0x01};
    EXPECT_FALSE(media.isInitialized());
    media.initialize();
    EXPECT_TRUE(media.isInitialized());
    EXPECT_EQ(refusal([&] { media.openConnection({0xA0}, response); }), "no chip here");
    EXPECT_EQ(refusal([&] { media.transmitApdu({0x00}, response); }), "no chip here");
    EXPECT_FALSE(media.isConnected());
    EXPECT_EQ(response, (Bytes{0x01}));
}

}  // namespace
}  // namespace cosupdate::transport

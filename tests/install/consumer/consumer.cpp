// A program built against an installed libnativecosupdateapi-zelmar, the way
// an integrator builds one: it runs an update file against a chip and exits 0
// only when the library deployed it and the chip then runs COS_VERSION.
//
//   consumer UPDATE_FILE COS_VERSION        (COS_VERSION in hex, e.g. 0102)
//
// Its transport is a tiny chip: SELECT, READ BINARY of the FE object and the
// loader's BEGIN PATCH, LOAD BLOCK, COMMIT and INSTALL SERVICE, as the
// simulation kernel sends them for the example update; images are not checked.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"

namespace {

using namespace Zelmar::Device::COS::V1_0;
using Bytes = std::vector<uint8_t>;

const Bytes kFeAid{0xF0, 0x5A, 0x4C, 0x4D, 0x00, 0xFE};
const Bytes kLoaderAid{0xF0, 0x5A, 0x4C, 0x4D, 0x00, 0x10};
const Bytes kOk{0x90, 0x00};

enum Instruction : uint8_t {
    kSelect = 0xA4,
    kReadBinary = 0xB0,
    kBeginPatch = 0x50,
    kLoadBlock = 0x52,
    kCommit = 0x54,
    kInstallService = 0xE6,
};

class TinyChip final : public COSUpdateSEMediaInterface {
  public:
    uint16_t version = 0x0100;
    std::set<Bytes> services;

    void initialize() override { initialized_ = true; }
    bool isInitialized() override { return initialized_; }
    void openConnection(const Bytes& aid, Bytes& response) override {
        connected_ = true;
        response = select(aid);
    }
    bool isConnected() override { return connected_; }
    void closeConnection() override { connected_ = false; }

    void transmitApdu(const Bytes& command, Bytes& response) override {
        if (command.size() < 4) {
            throw COSUpdateException("APDU shorter than its header");
        }
        const Bytes data(command.size() > 5 ? command.begin() + 5 : command.end(), command.end());
        switch (command[1]) {
            case kSelect:
                response = select(data);
                break;
            case kReadBinary:
                response = readBinary();
                break;
            case kBeginPatch:
                response = beginPatch(data);
                break;
            case kLoadBlock:
                response = kOk;
                break;
            case kCommit:
                response = commit();
                break;
            case kInstallService:
                response = installService(data);
                break;
            default:
                response = {0x6D, 0x00};
        }
    }

  private:
    Bytes select(const Bytes& aid) {
        target_ = 0;
        staged_.clear();
        selected_ = aid;
        if (aid != kFeAid && aid != kLoaderAid && services.count(aid) == 0) {
            return {0x6A, 0x82};
        }
        Bytes fci{0x6F, static_cast<uint8_t>(aid.size() + 2), 0x84,
                  static_cast<uint8_t>(aid.size())};
        fci.insert(fci.end(), aid.begin(), aid.end());
        fci.insert(fci.end(), kOk.begin(), kOk.end());
        return fci;
    }

    Bytes readBinary() const {
        if (selected_ != kFeAid) {
            return {0x69, 0x86};
        }
        Bytes fe{0xC1, 6, 'Z', 'L', 'M', '-', 'P', '1', 0xC2, 2};
        fe.push_back(static_cast<uint8_t>(version >> 8));
        fe.push_back(static_cast<uint8_t>(version & 0xFF));
        fe.insert(fe.end(), {0xC3, 4, 'A', 'C', 'M', 'E', 0x90, 0x00});
        return fe;
    }

    // base(2) target(2) length(4) crc(4)
    Bytes beginPatch(const Bytes& data) {
        if (data.size() != 12) {
            return {0x67, 0x00};
        }
        const uint16_t base = static_cast<uint16_t>(data[0] << 8 | data[1]);
        const uint16_t target = static_cast<uint16_t>(data[2] << 8 | data[3]);
        if (target == version) {
            return {0x6A, 0x89};
        }
        if (base != version) {
            return {0x69, 0x85};
        }
        target_ = target;
        return kOk;
    }

    Bytes installService(const Bytes& aid) {
        if (services.count(aid) != 0) {
            return {0x6A, 0x89};
        }
        staged_.insert(aid);
        return kOk;
    }

    Bytes commit() {
        if (target_ == 0 && staged_.empty()) {
            return {0x69, 0x85};
        }
        if (target_ != 0) {
            version = target_;
        }
        services.insert(staged_.begin(), staged_.end());
        target_ = 0;
        staged_.clear();
        return kOk;
    }

    bool initialized_ = false;
    bool connected_ = false;
    Bytes selected_;
    uint16_t target_ = 0;
    std::set<Bytes> staged_;
};

// Shows what the library and the kernel report from warnings up.
class StderrLog final : public COSUpdateLogInterface {
  public:
    void writeLogMessage(COSUpdateLogLevel level, const std::string& message) override {
        if (level >= COSUPDATE_LOG_WARNING) {
            std::fprintf(stderr, "consumer: library: %s\n", message.c_str());
        }
    }
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: consumer UPDATE_FILE COS_VERSION\n");
        return 2;
    }
    const unsigned long expected = std::strtoul(argv[2], nullptr, 16);
    auto chip = std::make_shared<TinyChip>();
    try {
        auto engine = COSUpdateFactory::create(std::make_shared<StderrLog>());
        engine->initialize(chip);
        engine->setCOSUpdateTagAID(COSUPDATE_TAG_FE, kFeAid);
        std::ifstream file(argv[1], std::ios::binary);
        if (!file) {
            std::fprintf(stderr, "consumer: cannot open %s\n", argv[1]);
            return 1;
        }
        engine->loadCOSUpdateFileOnMemory(file);
        const int result = engine->doUpdate();
        engine->unloadCOSUpdateFromMemory();
        engine->release();
        std::printf("doUpdate: %d, COS %04X, %zu service(s)\n", result, chip->version,
                    chip->services.size());
        return result == 1 && chip->version == expected && !chip->services.empty() ? 0 : 1;
    } catch (const COSUpdateException& e) {
        // Caught by its type: the exception's typeinfo crosses the library boundary.
        std::fprintf(stderr, "consumer: COSUpdateException: %s\n", e.what());
        return 1;
    }
}

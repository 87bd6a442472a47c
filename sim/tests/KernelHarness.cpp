#include "KernelHarness.h"

#include <cstdio>
#include <cstring>

#include "cosim/Protocol.h"

namespace harness {

namespace {

struct World {
    std::vector<LogLine> log;
    cosim::Chip chip;
    bool connected = false;
    bool broken = false;
    int closes = 0;
};

World& world() {
    static World instance;
    return instance;
}

bool logOpen() {
    return true;
}

bool logIsOpened(bool* opened) {
    *opened = true;
    return true;
}

bool logWrite(NATIVECOSPATCH_LOG_MESSAGE_LEVEL level, const char* format, va_list args) {
    char line[1024];
    std::vsnprintf(line, sizeof(line), format, args);
    world().log.emplace_back(level, line);
    return false;  // as the library does: the kernel must not care
}

bool logClose() {
    return true;
}

bool mediaStart() {
    return true;
}

bool mediaIsStarted(bool* started) {
    *started = true;
    return true;
}

bool answer(const cosim::Bytes& response, uint8_t* out, uint16_t max, uint16_t* length) {
    if (response.size() > max) {
        return false;
    }
    std::memcpy(out, response.data(), response.size());
    *length = static_cast<uint16_t>(response.size());
    return true;
}

bool mediaOpen(uint8_t* aid, uint16_t aidLength, uint8_t* out, uint16_t max, uint16_t* length) {
    if (world().broken) {
        return false;
    }
    world().connected = true;
    return answer(world().chip.transmit(cosim::selectCommand(cosim::Bytes(aid, aid + aidLength))),
                  out, max, length);
}

bool mediaIsConnected(bool* connected) {
    *connected = world().connected;
    return true;
}

bool mediaTransmit(uint8_t* command, uint16_t commandLength, uint8_t* out, uint16_t max,
                   uint16_t* length) {
    if (world().broken || !world().connected) {
        return false;
    }
    return answer(world().chip.transmit(cosim::Bytes(command, command + commandLength)), out, max,
                  length);
}

bool mediaClose() {
    world().connected = false;
    ++world().closes;
    return true;
}

bool mediaStop() {
    return true;
}

void registerAid(NATIVECOSPATCH_COS_DATA_TYPE type, cosim::Bytes aid) {
    nativeCOSPatch_seContextManager_updateCOSTagAID(type, aid.data(),
                                                    static_cast<uint16_t>(aid.size()));
}

}  // namespace

KernelFixture::KernelFixture() {
    World& w = world();
    w.log.clear();
    w.chip.setState(cosim::ChipState::factoryDefault());
    w.chip.powerOn();
    w.connected = false;
    w.broken = false;
    w.closes = 0;
    nativeCOSPatch_memory_initComponent();
    NATIVECOSPATCH_LOG_COMPONENT log{logOpen, logIsOpened, logWrite, logClose};
    nativeCOSPatch_logManager_initComponent(&log);
    nativeCOSPatch_logManager_open();
    NATIVECOSPATCH_SEMEDIA_COMPONENT media{mediaStart,       mediaIsStarted, mediaOpen,
                                           mediaIsConnected, mediaTransmit,  mediaClose,
                                           mediaStop};
    nativeCOSPatch_seMediaManager_initComponent(&media);
    nativeCOSPatch_seContextManager_initComponent();
    registerAid(NATIVECOSPATCH_COS_DATA_TYPE_FC, cosim::aid::kFC);
    registerAid(NATIVECOSPATCH_COS_DATA_TYPE_FD, cosim::aid::kFD);
    registerAid(NATIVECOSPATCH_COS_DATA_TYPE_FE, cosim::aid::kFE);
}

KernelFixture::~KernelFixture() {
    nativeCOSPatch_seContextManager_cleanupComponent();
    nativeCOSPatch_seMediaManager_cleanupComponent();
    nativeCOSPatch_memory_cleanupComponent();
    nativeCOSPatch_logManager_cleanupComponent();
}

cosim::Chip& KernelFixture::chip() {
    return world().chip;
}

const std::vector<LogLine>& KernelFixture::log() const {
    return world().log;
}

bool KernelFixture::logged(NATIVECOSPATCH_LOG_MESSAGE_LEVEL level, const std::string& text) const {
    for (const LogLine& line : world().log) {
        if (line.first == level && line.second.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::string KernelFixture::dump() const {
    std::string text;
    for (const LogLine& line : world().log) {
        text += std::to_string(line.first) + " " + line.second + "\n";
    }
    return text;
}

void KernelFixture::breakTransport(bool broken) {
    world().broken = broken;
}

int KernelFixture::closes() const {
    return world().closes;
}

NATIVECOSPATCH_SCRIPT* loadScript(const std::string& xml) {
    return nativeCOSPatch_xml_script_loadFromString(xml.c_str());
}

}  // namespace harness

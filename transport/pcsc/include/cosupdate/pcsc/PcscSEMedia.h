// The library's transport over PC/SC (pcsc-lite): a secure element in a
// reader, reached through the pcscd daemon.
//
//   auto media = cosupdate::pcsc::makePcscSEMedia("Virtual PCD 00 00");
//   engine->initialize(media);  // connects to the reader
//
// initialize() connects to the card in exclusive mode, T=1 preferred over
// T=0. openConnection() opens a logical channel when the card supports one
// and SELECTs the AID on it, else it SELECTs on the basic channel. Every
// PC/SC failure, a card pulled or a reader unplugged included, is thrown as
// COSUpdateException naming what was being done and pcsc-lite's error text.
// A later openConnection() connects to the card again.
//
// Not thread-safe, like the engine that drives it.

#ifndef COSUPDATE_PCSC_PCSC_SE_MEDIA_H
#define COSUPDATE_PCSC_PCSC_SE_MEDIA_H

#include <memory>
#include <string>

#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate {
namespace pcsc {

// Transmission protocols the transport accepts from the card.
enum class Protocol {
    Any,  // T=1 when the card offers it, else T=0
    T0,
    T1,
};

struct PcscOptions {
    // Empty: the first reader holding a card. Otherwise a reader's full name,
    // or the start of it (the first such reader holding a card is used).
    std::string reader;
    Protocol protocol = Protocol::Any;
};

std::shared_ptr<Zelmar::Device::COS::V1_0::COSUpdateSEMediaInterface> makePcscSEMedia(
    const PcscOptions& options);

// The same with default options: `reader` as in PcscOptions::reader.
std::shared_ptr<Zelmar::Device::COS::V1_0::COSUpdateSEMediaInterface> makePcscSEMedia(
    const std::string& reader = std::string());

}  // namespace pcsc
}  // namespace cosupdate

#endif  // COSUPDATE_PCSC_PCSC_SE_MEDIA_H

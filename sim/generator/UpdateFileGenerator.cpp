#include "UpdateFileGenerator.h"

#include <sstream>
#include <stdexcept>

#include "cosim/Crc32.h"
#include "cosim/Protocol.h"
#include "cosupdate/apdu/Hex.h"

namespace cosim {

const Bytes kGeneratedServiceAid{0xF0, 0x5A, 0x4C, 0x4D, 0x53, 0x00, 0x00, 0x01};

namespace {

const char kServiceName[] = "service-transit";
const char kAuditName[] = "audit-transit";
const char kFillerName[] = "patch-other-platform";

std::string patchName(uint16_t base, uint16_t target) {
    return "patch-" + apdu::encodeHexU16(base) + "-" + apdu::encodeHexU16(target);
}

void apduLine(std::ostream& out, const Bytes& command, const char* extra = "") {
    out << "  <apdu cmd=\"" << apdu::encodeHex(command) << "\"" << extra << "/>\n";
}

void checkOptions(const GeneratorOptions& options) {
    if (options.blockSize == 0 || options.blockSize > kMaxBlockData) {
        throw std::invalid_argument("block size must be 1 to " + std::to_string(kMaxBlockData));
    }
    if (options.imageSize == 0 || options.imageSize > kMaxImageSize) {
        throw std::invalid_argument("image size must be 1 to " + std::to_string(kMaxImageSize));
    }
    if (options.baseVersion + options.patches >= 0xFFFF) {
        throw std::invalid_argument("too many patches for a 16-bit COS version");
    }
}

void cdataElement(std::ostream& out, const char* element, const std::string& name,
                  const std::string& content) {
    out << "    <" << element << " name=\"" << name << "\"><![CDATA[\n"
        << content << "]]></" << element << ">\n";
}

}  // namespace

Bytes generatedImage(uint32_t seed, unsigned patchIndex, size_t size) {
    // xorshift32: cheap, and the same bytes on every platform.
    uint32_t state = seed * 2654435761u + patchIndex * 40503u + 1u;
    Bytes image(size);
    for (uint8_t& byte : image) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        byte = static_cast<uint8_t>(state);
    }
    return image;
}

std::string patchScript(uint16_t baseVersion, uint16_t targetVersion, const Bytes& image,
                        size_t blockSize) {
    std::ostringstream out;
    out << "<script>\n"
        << "  <open aid=\"" << apdu::encodeHex(aid::kLoader) << "\"/>\n";
    const std::string alreadyDone = " done-sw=\"" + apdu::encodeHexU16(sw::kAlreadyExists) + "\"";
    apduLine(out,
             beginPatchCommand(baseVersion, targetVersion, static_cast<uint32_t>(image.size()),
                               crc32(image.data(), image.size())),
             alreadyDone.c_str());
    for (size_t offset = 0; offset < image.size(); offset += blockSize) {
        const size_t size = std::min(blockSize, image.size() - offset);
        apduLine(out, loadBlockCommand(static_cast<uint32_t>(offset), &image[offset], size));
    }
    apduLine(out, commitCommand());
    out << "  <close/>\n</script>\n";
    return out.str();
}

std::string serviceScript(const Bytes& serviceAid) {
    std::ostringstream out;
    out << "<script>\n"
        << "  <open aid=\"" << apdu::encodeHex(aid::kLoader) << "\"/>\n";
    const std::string alreadyDone = " done-sw=\"" + apdu::encodeHexU16(sw::kAlreadyExists) + "\"";
    apduLine(out, installServiceCommand(serviceAid), alreadyDone.c_str());
    apduLine(out, commitCommand());
    out << "  <close/>\n</script>\n";
    return out.str();
}

std::string serviceAuditScript(const Bytes& serviceAid) {
    return "<audit>\n  <open aid=\"" + apdu::encodeHex(serviceAid) + "\"/>\n  <close/>\n</audit>\n";
}

void writeUpdateFile(const GeneratorOptions& options, std::ostream& out) {
    checkOptions(options);
    const uint16_t finalVersion = static_cast<uint16_t>(options.baseVersion + options.patches);
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        << "<!-- Generated: " << options.patches << " patch(es) of " << options.imageSize
        << " bytes from COS " << apdu::encodeHexU16(options.baseVersion) << ", a service, "
        << options.extraEntries << " entries for other platforms. -->\n"
        << "<COSUpdate format=\"1\">\n  <manifest>\n";
    for (size_t i = 0; i < options.extraEntries; ++i) {
        out << "    <entry scriptName=\"" << kFillerName
            << "\" scriptType=\"Patch\" platformId=\"ZLM-X" << i << "\" cosVersion=\""
            << apdu::encodeHexU16(options.baseVersion) << "\"/>\n";
    }
    for (unsigned p = 0; p < options.patches; ++p) {
        const uint16_t base = static_cast<uint16_t>(options.baseVersion + p);
        out << "    <entry scriptName=\"" << patchName(base, base + 1)
            << "\" scriptType=\"Patch\" platformId=\"" << options.platformId << "\" cosVersion=\""
            << apdu::encodeHexU16(base) << "\"/>\n";
    }
    out << "    <entry scriptName=\"" << kServiceName << "\" scriptType=\"Service\" platformId=\""
        << options.platformId << "\" cosVersion=\"" << apdu::encodeHexU16(finalVersion)
        << "\" auditScriptName=\"" << kAuditName << "\"/>\n"
        << "  </manifest>\n  <scripts>\n";
    for (unsigned p = 0; p < options.patches; ++p) {
        const uint16_t base = static_cast<uint16_t>(options.baseVersion + p);
        const Bytes image = generatedImage(options.seed, p, options.imageSize);
        cdataElement(out, "script", patchName(base, base + 1),
                     patchScript(base, static_cast<uint16_t>(base + 1), image, options.blockSize));
    }
    cdataElement(out, "script", kFillerName,
                 patchScript(options.baseVersion, static_cast<uint16_t>(options.baseVersion + 1),
                             generatedImage(options.seed, 0xFFFF, 16), options.blockSize));
    cdataElement(out, "script", kServiceName, serviceScript(kGeneratedServiceAid));
    out << "  </scripts>\n  <auditScripts>\n";
    cdataElement(out, "auditScript", kAuditName, serviceAuditScript(kGeneratedServiceAid));
    out << "  </auditScripts>\n</COSUpdate>\n";
}

}  // namespace cosim

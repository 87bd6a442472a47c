// Builds update files for the simulated chip: a chain of patches from the
// factory COS version, a service with its audit script, and as many manifest
// entries for other platforms as asked, to load-test the file handling. The
// output depends on the options only.

#ifndef COSIM_UPDATE_FILE_GENERATOR_H
#define COSIM_UPDATE_FILE_GENERATOR_H

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

#include "cosim/Protocol.h"

namespace cosim {

struct GeneratorOptions {
    size_t extraEntries = 100;  // manifest entries that apply to no chip
    size_t imageSize = 4096;    // bytes of COS image per patch
    unsigned patches = 2;       // chained from baseVersion
    size_t blockSize = 240;     // image bytes per LOAD BLOCK
    uint32_t seed = 1;          // of the image contents
    std::string platformId = "ZLM-P1";
    uint16_t baseVersion = 0x0100;
};

// Throws std::invalid_argument on options the chip could not take.
void writeUpdateFile(const GeneratorOptions& options, std::ostream& out);

// The pieces, for tests and other tools.
Bytes generatedImage(uint32_t seed, unsigned patchIndex, size_t size);
std::string patchScript(uint16_t baseVersion, uint16_t targetVersion, const Bytes& image,
                        size_t blockSize);
std::string serviceScript(const Bytes& serviceAid);
std::string serviceAuditScript(const Bytes& serviceAid);

extern const Bytes kGeneratedServiceAid;

}  // namespace cosim

#endif  // COSIM_UPDATE_FILE_GENERATOR_H

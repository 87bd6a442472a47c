// Owner of a PC/SC context (SCARDCONTEXT): the link to pcscd.

#ifndef COSUPDATE_PCSC_PCSC_CONTEXT_H
#define COSUPDATE_PCSC_PCSC_CONTEXT_H

#include <PCSC/winscard.h>

#include <string>
#include <vector>

namespace cosupdate {
namespace pcsc {

class PcscContext {
  public:
    // Throws COSUpdateException when pcscd cannot be reached.
    PcscContext();
    ~PcscContext();
    PcscContext(const PcscContext&) = delete;
    PcscContext& operator=(const PcscContext&) = delete;

    SCARDCONTEXT handle() const { return m_handle; }
    // False once pcscd has gone away (stopped, restarted).
    bool isValid() const;

    // The readers pcscd knows, in its order; empty when there is none.
    std::vector<std::string> readers() const;
    // True when `reader` holds a card that answered its reset.
    bool hasCard(const std::string& reader) const;

  private:
    SCARDCONTEXT m_handle = 0;
};

}  // namespace pcsc
}  // namespace cosupdate

#endif  // COSUPDATE_PCSC_PCSC_CONTEXT_H

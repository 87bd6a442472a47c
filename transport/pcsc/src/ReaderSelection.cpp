#include "ReaderSelection.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "ZelmarNativeCOSUpdateApi.h"

namespace cosupdate {
namespace pcsc {

namespace {

using Zelmar::Device::COS::V1_0::COSUpdateException;

std::string quotedList(const std::vector<std::string>& names) {
    if (names.empty()) {
        return "none";
    }
    std::string list;
    for (const std::string& name : names) {
        list += (list.empty() ? "'" : ", '") + name + "'";
    }
    return list;
}

std::vector<std::string> candidates(const std::vector<std::string>& readers,
                                    const std::string& wanted) {
    if (std::find(readers.begin(), readers.end(), wanted) != readers.end()) {
        return {wanted};
    }
    std::vector<std::string> matching;
    std::copy_if(readers.begin(), readers.end(), std::back_inserter(matching),
                 [&](const std::string& name) { return name.rfind(wanted, 0) == 0; });
    return matching;
}

}  // namespace

std::string chooseReader(const PcscContext& context, const std::string& wanted) {
    const std::vector<std::string> readers = context.readers();
    if (readers.empty()) {
        throw COSUpdateException("PC/SC: pcscd knows no reader");
    }
    const std::vector<std::string> matching = candidates(readers, wanted);
    if (matching.empty()) {
        throw COSUpdateException("PC/SC: no reader named '" + wanted +
                                 "'; readers: " + quotedList(readers));
    }
    for (const std::string& reader : matching) {
        if (context.hasCard(reader)) {
            return reader;
        }
    }
    const std::string where = wanted.empty() ? "any reader" : "reader " + quotedList(matching);
    throw COSUpdateException("PC/SC: no card in " + where + "; readers: " + quotedList(readers));
}

}  // namespace pcsc
}  // namespace cosupdate

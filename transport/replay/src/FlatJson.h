// The one kind of JSON a trace line is: an object whose members are strings,
// whole numbers of up to 64 bits and booleans. Strings decode \u00XX (and the
// other JSON escapes) back to the bytes the recorder wrote.

#ifndef COSUPDATE_TRACE_FLAT_JSON_H
#define COSUPDATE_TRACE_FLAT_JSON_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>

namespace cosupdate::trace {

using FlatValue = std::variant<std::string, uint64_t, bool>;
using FlatObject = std::map<std::string, FlatValue, std::less<>>;

struct FlatParse {
    FlatObject object;
    std::string error;  // empty when `object` is the line's
};

// `text`: the object and nothing else, blanks around tokens allowed.
FlatParse parseFlatObject(std::string_view text);

}  // namespace cosupdate::trace

#endif  // COSUPDATE_TRACE_FLAT_JSON_H

// The archive that carries a message's dictionary: a "bplist00" as the keyed archiver of macOS
// writes it for one dictionary. Bounded and without recursion both ways. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/property_list.h"

namespace kelvo {

// Strings, integers, reals and booleans are written; a value of another kind and a text that is not
// UTF-8 drop their key (logged).
std::string EncodeKeyedArchive(const PropertyList::Dictionary& dictionary);

// Accepts NSDictionary and NSMutableDictionary at the root; strings plain or as {NS.string,
// $class}; integers, reals, booleans. Any other value drops its key. nullopt with the reason in
// `error` (may be null) when there is no such dictionary.
std::optional<PropertyList::Dictionary> DecodeKeyedArchive(std::string_view bytes,
                                                           std::string* error);
// The same. An ASCII text that is nearly all of the archive takes over its memory, since a copy of
// a list of very many files would hold the loop; what is left in `bytes` then is unspecified.
std::optional<PropertyList::Dictionary> DecodeKeyedArchive(std::string&& bytes, std::string* error);

}  // namespace kelvo

// Paths, UTF-8 and text conversions. Stateless: any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/property_list.h"

namespace kelvo {

// Splits at the last "/": "/a/b" gives "/a" and "b", "/x" the empty directory and "x", "x" the
// empty directory and "x", "/" two empty parts. False, with both outputs untouched, for an empty
// path and for one that ends in "/".
[[nodiscard]] bool SplitPath(std::string_view path, std::string_view* directory,
                             std::string_view* name);
[[nodiscard]] bool SplitPath(std::string_view path, std::string* directory, std::string* name);

// What follows the last "/" but those at the very end: "/a/b/" gives "b", "/" itself.
std::string LastPathComponent(std::string_view path);

// "~" at the very start becomes the home folder. A user name after the tilde is not understood: the
// home folder is simply followed by the rest.
std::string ExpandTildeInPath(std::string_view path);

// Whether the bytes are UTF-8: no overlong form, no surrogate, nothing above U+10FFFF.
[[nodiscard]] bool IsValidUtf8(std::string_view text);

[[nodiscard]] bool IsAscii(std::string_view text);

// `text` as valid UTF-8, cut at a zero byte; each broken sequence becomes U+FFFD.
std::string ToValidUtf8(std::string_view text);

// Control characters (C0, DEL, C1) as \n, \t, \r or \xNN, so that a value cannot forge a log line.
std::string EscapeControlCharacters(std::string_view text);

// The text's beginning, `most` bytes of it or, where a character would be cut, a few less: foreign
// texts that go into the log are as long as the sender likes.
std::string_view CutText(std::string_view text, std::size_t most);

// The encodings that callers ask for.
enum class StringEncoding { kUtf8, kAscii };

// The text of a string or number value; empty for a null pointer, for any other kind, and when the
// text has no form in the encoding.
std::string ConvertCfStringToString(const PropertyList* value, StringEncoding encoding);

// As above, in the form in which the file system takes a path (base/file_system.h).
std::string ConvertCfStringToFilesystemString(const PropertyList* value);

}  // namespace kelvo

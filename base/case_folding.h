// Texts compared without regard to case: of all letters that have one, not only of ASCII. A byte
// that belongs to no valid UTF-8 is a character of its own, equal to no other, since file names
// need not be UTF-8. Stateless: any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelvo {

// The text's characters without their case, for comparing and sorting.
std::u32string FoldedText(std::string_view text);

// What follows the prefix in the text, both taken without their case; nullopt when the text does
// not begin with it.
std::optional<std::string_view> RestAfterPrefix(std::string_view text, std::string_view prefix);

}  // namespace kelvo

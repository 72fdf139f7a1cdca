// Texts of others, such as names of files, made fit for a line of a window. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace kelvo {

// Valid UTF-8, at most 80 characters, what is too long shortened in the middle. What would break
// the line or reorder it (control characters, directional marks) becomes U+FFFD.
std::string DisplayText(std::string_view text);
// The same for a place within a sentence: text that runs from right to left is isolated, so that
// it does not rearrange the rest.
std::string DisplayTextInSentence(std::string_view text);
// Valid UTF-8 of any number of lines, at most 1000 characters, without other control characters.
std::string DisplayParagraph(std::string_view text);

}  // namespace kelvo

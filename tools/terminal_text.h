// Foreign text on a terminal, and the lines that the tools write there.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo::tools {

// `bytes` so that they can be shown on one line and told apart: a backslash is doubled; \n, \r, \t
// and \xNN stand for line feed, carriage return, tab, and the bytes of other control and format
// characters (those that turn the direction of writing, too) and of what is not UTF-8.
std::string PrintableText(std::string_view bytes);

// PrintableText in double quotes, with quotes inside escaped. Beyond `limit` bytes the text is cut
// and its length told.
std::string QuotedText(std::string_view bytes, std::size_t limit);

// One line on standard output, handed out at once.
void PrintLine(std::string_view line);
// Each row on a line of standard output behind two blanks, its cells below those of the other rows.
// The cells are printable; blanks at a line's end are left out.
void PrintTable(const std::vector<std::vector<std::string>>& rows);
// One line on standard error, after the program's name.
void PrintError(std::string_view message);

}  // namespace kelvo::tools

// Localised format texts, filled in without handing them to printf: a translation is data that
// somebody else wrote. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kelvo {

using FormatArgument = std::variant<std::int64_t, double, std::string>;

// Fills `format`, which knows %@ %s (text), %d %i %u %ld %lu %lld %qd (integers), %.Nf (numbers),
// %% and positions as in %2$@. A specifier without an argument of its kind is kept as it stands.
std::string FormatText(std::string_view format, const std::vector<FormatArgument>& arguments);

// The specifiers of a format in order of their arguments, such as {"@", "d"}; two formats with
// equal lists can stand for each other.
std::vector<std::string> FormatSpecifiers(std::string_view format);

}  // namespace kelvo

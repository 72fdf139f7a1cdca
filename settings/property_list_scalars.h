// The texts of single values in XML property lists, both ways. Stateless, independent of the
// locale: any thread. White space around a text is ignored.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/property_list.h"

namespace kelvo {

// Decimal or 0x hexadecimal with an optional sign; nullopt for anything else and beyond 64 bits.
std::optional<PropertyList> ParseIntegerText(std::string_view text);
// A decimal number, or "nan", "inf", "infinity" with an optional sign in any case.
std::optional<double> ParseRealText(std::string_view text);
// "2024-01-31T09:05:00Z"; nullopt also for a day that the calendar has not.
std::optional<PropertyList::Date> ParseDateText(std::string_view text);
// The padding must be complete; white space may stand anywhere.
std::optional<std::string> DecodeBase64(std::string_view text);

// The shortest text that reads back as the same number.
std::string RealText(double value);
// Cut to whole seconds; nullopt outside of the years 0 to 9999.
std::optional<std::string> DateText(PropertyList::Date value);
std::string EncodeBase64(std::string_view bytes);

// The text without leading and trailing XML white space.
std::string_view TrimWhiteSpace(std::string_view text);

}  // namespace kelvo

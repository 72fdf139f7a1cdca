#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/format_text.h"
#include "fuzz/input.h"
#include "settings/application_bundle.h"
#include "settings/property_list_xml.h"

namespace {

using kelvo::FormatArgument;
using kelvo::FormatSpecifiers;
using kelvo::FormatText;
using kelvo::PropertyList;
using kelvo::fuzz::Input;
using kelvo::fuzz::Require;

constexpr std::string_view kSeparator = "\n----\n";
// Each byte of a format becomes at most so many: "%99d" takes four.
constexpr std::size_t kMaxGrowth = 25;

std::string Mark(std::size_t index) { return "<" + std::to_string(index) + ">"; }

// An argument of the right kind for each specifier.
std::vector<FormatArgument> ArgumentsFor(const std::vector<std::string>& specifiers) {
  std::vector<FormatArgument> arguments;
  for (std::size_t i = 0; i < specifiers.size(); ++i) {
    if (specifiers[i] == "d") {
      arguments.emplace_back(std::int64_t{-17});
    } else if (specifiers[i] == "f") {
      arguments.emplace_back(0.25);
    } else {
      arguments.emplace_back(Mark(i));
    }
  }
  return arguments;
}

// Whether every "%" begins a specifier that is known.
bool HasKnownSpecifiersOnly(std::string_view text) {
  while (text.find('%') != text.npos) {
    text.remove_prefix(text.find('%') + 1);
    text.remove_prefix(std::min(text.find_first_not_of("0123456789$-."), text.size()));
    if (text.empty() || std::string_view("@sdiuf").find(text.front()) == text.npos) return false;
  }
  return true;
}

void CheckText(const std::string& text) {
  const std::vector<std::string> specifiers = FormatSpecifiers(text);
  const std::string filled = FormatText(text, ArgumentsFor(specifiers));
  Require(filled.size() <= kMaxGrowth * text.size());
  bool hasAll = HasKnownSpecifiersOnly(text);
  for (std::size_t i = 0; i < specifiers.size(); ++i) {
    if (specifiers[i] == "@") Require(filled.find(Mark(i)) != std::string::npos);
    hasAll = hasAll && specifiers[i].size() <= 1;  // no argument is wanted as two kinds
  }
  Require(!hasAll || filled.find('%') == std::string::npos);
  std::string literal;
  for (const char c : text) literal.append(c == '%' ? 2 : 1, c);
  Require(FormatSpecifiers(literal).empty() && FormatText(literal, {}) == text);
}

// Whatever the tables hold, a text takes the values of the one that it stands for.
void CheckTables(const std::string& base, const std::string& translation) {
  const kelvo::Bundle bundle("/bundle", {"de"}, [&](const std::string& path) {
    return path.find("/de.lproj/") != path.npos ? translation : base;
  });
  const auto table = kelvo::ReadPropertyList(base, nullptr);
  const auto other = kelvo::ReadPropertyList(translation, nullptr);
  if (!table || table->AsDictionary() == nullptr) return;
  for (const auto& [key, value] : *table->AsDictionary()) {
    const std::string* text = value.AsString();
    if (text == nullptr) continue;
    const std::string chosen = bundle.localizedString(key, *text);
    Require(FormatSpecifiers(chosen) == FormatSpecifiers(*text));
    if (chosen != *text) {
      const auto* translated = kelvo::FindValue(*other->AsDictionary(), key);
      Require(translated != nullptr && *translated == PropertyList(chosen));
    }
    CheckText(chosen);
    const std::string inCode = bundle.localizedString(key, "%@ of %d");
    Require(FormatSpecifiers(inCode) == std::vector<std::string>{"@", "d"});
  }
}

// A number in any width and precision, as printf writes it.
void CheckNumber(Input& input) {
  const unsigned form = input.Byte();
  std::string start = "%";
  if ((form & 1) != 0) start += '-';
  if ((form & 2) != 0) start += '0';
  start += std::to_string(input.Byte() % 99 + 1);
  std::uint64_t bits = 0;
  for (int i = 0; i < 8; ++i) bits = bits << 8 | input.Byte();
  char expected[512];
  if ((form & 4) != 0) {
    std::snprintf(expected, sizeof expected, (start + "lld").c_str(), static_cast<long long>(bits));
    Require(FormatText(start + "d", {static_cast<std::int64_t>(bits)}) == expected);
    return;
  }
  double value;
  std::memcpy(&value, &bits, sizeof value);
  if (value - value != 0) return;  // infinite or none; padded differently
  const std::string format = start + "." + std::to_string(form >> 4) + "f";
  std::snprintf(expected, sizeof expected, format.c_str(), value);
  Require(FormatText(format, {value}) == expected);
}

}  // namespace

// Base table and translation, of which the latter is anybody's, and numbers to be formatted.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kelvo::fuzz::kMaxInput) return 0;
  Input input(data, size);
  const std::string base(input.UpTo(kSeparator));
  const std::string translation(input.UpTo(kSeparator));
  CheckText(base);
  CheckTables(base, translation);
  while (!input.IsEmpty()) CheckNumber(input);
  return 0;
}

#include "settings/value_utilities.h"

#include <algorithm>
#include <limits>

#include "base/format_text.h"
#include "base/property_list.h"
#include "settings/application_bundle.h"

namespace kelvo {
namespace {

// At most this many characters between "%" and ";" are looked at.
constexpr int kMaxEscapeLength = 10;
constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// How many UTF-16 code units the UTF-8 sequence that `byte` belongs to adds at this byte.
int Utf16Units(char byte) {
  if (IsContinuation(byte)) return 0;
  return static_cast<unsigned char>(byte) >= 0xF0 ? 2 : 1;
}

// The escape's digits when `text`, which follows a "%", has its ";" in time.
std::optional<std::string_view> EscapeDigits(std::string_view text) {
  int units = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == ';') return text.substr(0, i);
    units += Utf16Units(text[i]);
    if (units >= kMaxEscapeLength) return std::nullopt;
  }
  return std::nullopt;
}

int HexDigit(char character) {
  if (character >= '0' && character <= '9') return character - '0';
  const char lower = static_cast<char>(character | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Up to the first character that is no hex digit, cut to 16 bits.
char16_t ParseUnit(std::string_view digits) {
  std::uint32_t value = 0;
  for (const char character : digits) {
    const int digit = HexDigit(character);
    if (digit < 0) break;
    value = (value << 4 | static_cast<std::uint32_t>(digit)) & 0xFFFF;
  }
  return static_cast<char16_t>(value);
}

// UTF-8 out of text in UTF-8 and single UTF-16 code units.
class UnitAppender {
 public:
  void Text(char byte) {
    EndPair();
    text_ += byte;
  }
  void Unit(char16_t unit) {
    const bool isLow = unit >= 0xDC00 && unit <= 0xDFFF;
    if (isLow && high_ != 0) {
      const char32_t character = 0x10000 + ((high_ - 0xD800U) << 10) + (unit - 0xDC00U);
      high_ = 0;
      return Character(character);
    }
    EndPair();
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      high_ = unit;
    } else if (isLow) {
      text_ += kReplacementCharacter;
    } else {
      Character(unit);
    }
  }
  std::string Finish() {
    EndPair();
    return std::move(text_);
  }

 private:
  void EndPair() {
    if (high_ != 0) text_ += kReplacementCharacter;
    high_ = 0;
  }
  void Character(char32_t character) {
    int shift = character < 0x80 ? 0 : character < 0x800 ? 6 : character < 0x10000 ? 12 : 18;
    const unsigned lead = shift == 0 ? 0 : shift == 6 ? 0xC0 : shift == 12 ? 0xE0 : 0xF0;
    text_ += static_cast<char>(lead | character >> shift);
    while (shift > 0) {
      shift -= 6;
      text_ += static_cast<char>(0x80 | (character >> shift & 0x3F));
    }
  }

  std::string text_;
  char16_t high_ = 0;  // a high surrogate that waits for its other half
};

std::string SizeText(const LocalizedText& format, const FormatArgument& size) {
  return FormatText(LocalizedString(format), {size});
}

}  // namespace

std::int32_t IntValue(const std::string* text) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(LongLongValue(text), Limits::min(), Limits::max()));
}

std::int64_t LongValue(const std::string* text) { return LongLongValue(text); }

std::int64_t LongLongValue(const std::string* text) {
  return text == nullptr ? 0 : PropertyList(*text).ToInteger().value_or(0);
}

std::string FileSizeString(std::int64_t bytes) {
  constexpr std::int64_t kKilo = 1'000, kMega = 1'000'000, kGiga = 1'000'000'000;
  const auto size = static_cast<double>(bytes);
  if (bytes < 0) return "---";
  if (bytes < kKilo) return SizeText(Localizable("FileSize.Bytes", "%qd B"), bytes);
  if (bytes < kMega) return SizeText(Localizable("FileSize.Kbytes", "%.1f KB"), size / 1000.0);
  if (bytes < kGiga) return SizeText(Localizable("FileSize.Mbytes", "%.1f MB"), size / 1000000.0);
  return SizeText(Localizable("FileSize.Gbytes", "%.1f GB"), size / 1000000000.0);
}

std::string HexEncodeBytes(const void* bytes, std::size_t length) {
  constexpr char kDigits[] = "0123456789abcdef";
  const auto* const data = static_cast<const unsigned char*>(bytes);
  std::string text;
  text.reserve(length * 2);
  for (std::size_t i = 0; i < length; ++i) {
    text += kDigits[data[i] >> 4];
    text += kDigits[data[i] & 0xF];
  }
  return text;
}

std::optional<std::string> UnescapeString(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  std::string_view rest = *text;
  UnitAppender unescaped;
  while (!rest.empty()) {
    const char first = rest.front();
    rest.remove_prefix(1);
    const auto digits = first == '%' ? EscapeDigits(rest) : std::nullopt;
    if (digits) {
      unescaped.Unit(ParseUnit(*digits));
      rest.remove_prefix(digits->size() + 1);
    } else {
      unescaped.Text(first);
    }
  }
  return unescaped.Finish();
}

xmlNode* FindChildNode(xmlNode* node, std::string_view name) {
  // The children of other kinds of node are no elements, or not their own.
  const bool hasChildren =
      node != nullptr && (node->type == XML_ELEMENT_NODE || node->type == XML_DOCUMENT_NODE);
  for (xmlNode* child = hasChildren ? node->children : nullptr; child != nullptr;
       child = child->next) {
    if (child->type != XML_ELEMENT_NODE) continue;
    std::string qualified;
    if (child->ns != nullptr && child->ns->prefix != nullptr) {
      qualified.append(reinterpret_cast<const char*>(child->ns->prefix)).append(":");
    }
    if (qualified.append(reinterpret_cast<const char*>(child->name)) == name) return child;
  }
  return nullptr;
}

}  // namespace kelvo

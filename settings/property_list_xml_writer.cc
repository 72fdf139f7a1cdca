#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/string_utils.h"
#include "settings/property_list_scalars.h"
#include "settings/property_list_xml.h"

namespace kelvo {
namespace {

constexpr std::string_view kHeader =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

// A container whose elements are being written.
struct Open {
  const PropertyList::Array* array = nullptr;
  const PropertyList::Dictionary* dictionary = nullptr;
  std::size_t next = 0;
  PropertyList::Dictionary::const_iterator entry;
};

class Writer {
 public:
  std::optional<std::string> Write(const PropertyList& value) {
    text_ = kHeader;
    Value(value);
    while (!open_.empty() && !failed_) Step();
    if (failed_) return std::nullopt;
    text_ += "</plist>\n";
    return std::move(text_);
  }

 private:
  // Writes the next element of the innermost container, or its end.
  void Step() {
    Open& open = open_.back();
    if (open.array != nullptr && open.next < open.array->size()) {
      return Value((*open.array)[open.next++]);
    }
    if (open.dictionary != nullptr && open.entry != open.dictionary->end()) {
      const auto& [key, value] = *open.entry++;
      Text("key", key);
      return Value(value);
    }
    const char* end = open.array != nullptr ? "</array>" : "</dict>";
    open_.pop_back();
    Line(end);
  }

  void Value(const PropertyList& value) {
    if (const auto* array = value.AsArray()) {
      Line(array->empty() ? "<array/>" : "<array>");
      if (!array->empty()) open_.push_back({array, nullptr, 0, {}});
    } else if (const auto* dictionary = value.AsDictionary()) {
      Line(dictionary->empty() ? "<dict/>" : "<dict>");
      if (!dictionary->empty()) open_.push_back({nullptr, dictionary, 0, dictionary->begin()});
    } else if (const auto* string = value.AsString()) {
      Text("string", *string);
    } else if (const auto* data = value.AsData()) {
      Data(data->bytes);
    } else if (const auto* date = value.AsDate()) {
      const auto text = DateText(*date);
      failed_ = failed_ || !text;
      Line("<date>" + text.value_or("") + "</date>");
    } else {
      Scalar(value);
    }
  }

  void Scalar(const PropertyList& value) {
    if (const bool* boolean = value.AsBool()) {
      Line(*boolean ? "<true/>" : "<false/>");
    } else if (const std::int64_t* integer = value.AsInteger()) {
      Line("<integer>" + std::to_string(*integer) + "</integer>");
    } else if (const std::uint64_t* number = value.AsUnsigned()) {
      Line("<integer>" + std::to_string(*number) + "</integer>");
    } else if (const double* real = value.AsReal()) {
      Line("<real>" + RealText(*real) + "</real>");
    }
  }

  void Data(std::string_view bytes) {
    constexpr std::size_t kLineWidth = 76, kTabWidth = 8, kLeast = 16;
    const std::size_t indent = std::min(open_.size() * kTabWidth, kLineWidth - kLeast);
    const std::size_t width = (kLineWidth - indent) / 4 * 4;
    const std::string base64 = EncodeBase64(bytes);
    Line("<data>");
    for (std::size_t i = 0; i < base64.size(); i += width) Line(base64.substr(i, width));
    Line("</data>");
  }

  void Text(const char* element, std::string_view text) {
    if (!IsValidUtf8(text) || HasForbiddenCharacter(text)) failed_ = true;
    Indent();
    text_.append("<").append(element).append(">");
    for (const char character : text) Character(character);
    text_.append("</").append(element).append(">\n");
  }

  void Character(char character) {
    switch (character) {
      case '&':
        text_ += "&amp;";
        break;
      case '<':
        text_ += "&lt;";
        break;
      case '>':
        text_ += "&gt;";
        break;
      case '\r':  // as it stands a reader would take it for a line feed
        text_ += "&#13;";
        break;
      default:
        text_ += character;
    }
  }

  // Control characters and U+FFFE, U+FFFF have no form in XML 1.0, not even as references.
  static bool HasForbiddenCharacter(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
      const char character = text[i];
      if (static_cast<unsigned char>(character) < 0x20 && character != '\t' && character != '\n' &&
          character != '\r') {
        return true;
      }
      const std::string_view three = text.substr(i, 3);
      if (three == "\xEF\xBF\xBE" || three == "\xEF\xBF\xBF") return true;
    }
    return false;
  }

  void Line(std::string_view line) {
    Indent();
    text_.append(line).append("\n");
  }
  void Indent() { text_.append(open_.size(), '\t'); }

  std::string text_;
  std::vector<Open> open_;
  bool failed_ = false;
};

}  // namespace

std::optional<std::string> WriteXmlPropertyList(const PropertyList& value) {
  return Writer().Write(value);
}

}  // namespace kelvo

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <limits>
#include <utility>

#include "base/string_utils.h"
#include "settings/property_list_binary.h"
#include "settings/property_list_limits.h"

namespace kelvo {
namespace {

constexpr std::string_view kMagic = "bplist00";
constexpr std::size_t kTrailerSize = 32;

// Up to eight bytes, the highest first.
std::uint64_t BigEndian(std::string_view bytes) {
  std::uint64_t value = 0;
  for (const char byte : bytes) value = value << 8 | static_cast<std::uint8_t>(byte);
  return value;
}

char* PutUtf8(std::uint32_t character, char* out) {
  const auto tail = [&](int shift) {
    *out++ = static_cast<char>(0x80 | (character >> shift & 0x3F));
  };
  if (character < 0x80) {
    *out++ = static_cast<char>(character);
  } else if (character < 0x800) {
    *out++ = static_cast<char>(0xC0 | character >> 6);
    tail(0);
  } else if (character < 0x10000) {
    *out++ = static_cast<char>(0xE0 | character >> 12);
    tail(6);
    tail(0);
  } else {
    *out++ = static_cast<char>(0xF0 | character >> 18);
    tail(12);
    tail(6);
    tail(0);
  }
  return out;
}

std::uint32_t UnitAt(std::string_view bytes, std::size_t place) {
  const auto high = static_cast<std::uint8_t>(bytes[place]);
  return std::uint32_t{high} << 8 | static_cast<std::uint8_t>(bytes[place + 1]);
}

// Four ASCII characters in UTF-16.
bool IsAsciiBlock(const char* bytes) {
  constexpr char kOthers[] = "\xFF\x80\xFF\x80\xFF\x80\xFF\x80";
  std::uint64_t block;
  std::uint64_t others;
  std::memcpy(&block, bytes, sizeof block);
  std::memcpy(&others, kOthers, sizeof others);
  return (block & others) == 0;
}

// How long the text of `bytes`, an even number of them, is in UTF-8.
std::size_t Utf8Size(std::string_view bytes) {
  std::size_t size = 0;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    for (; bytes.size() - i > 8 && IsAsciiBlock(&bytes[i]); i += 8) size += 4;
    const std::uint32_t unit = UnitAt(bytes, i);
    const bool isHalf = (unit & 0xF800) == 0xD800;  // of four bytes
    size += 1 + (unit >= 0x80) + (unit >= 0x800 && !isHalf);
  }
  return size;
}

// One name that is not ASCII makes a whole list's text UTF-16, so nearly all of it is ASCII.
std::optional<std::string> Utf16ToUtf8(std::string_view bytes) {
  std::string text(Utf8Size(bytes), '\0');
  char* out = text.data();
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    for (; bytes.size() - i > 8 && IsAsciiBlock(&bytes[i]); i += 8) {
      const char* const block = &bytes[i];
      out[0] = block[1];
      out[1] = block[3];
      out[2] = block[5];
      out[3] = block[7];
      out += 4;
    }
    const std::uint32_t unit = UnitAt(bytes, i);
    if (unit < 0xD800 || unit > 0xDFFF) {
      out = PutUtf8(unit, out);
      continue;
    }
    i += 2;
    const std::uint32_t low = i < bytes.size() ? UnitAt(bytes, i) : 0;
    if (unit > 0xDBFF || low < 0xDC00 || low > 0xDFFF) return std::nullopt;
    out = PutUtf8(0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00), out);
  }
  return text;
}

using Object = BinaryPropertyListReader::Object;
using Kind = BinaryPropertyListReader::Kind;

// Objects whose size is in their marker; `rest` begins behind it.
std::optional<Object> Integer(unsigned exponent, std::string_view rest) {
  const std::size_t size = std::size_t{1} << exponent;
  if (exponent > 4 || rest.size() < size) return std::nullopt;
  Object object{.kind = Kind::kInteger};
  const std::uint64_t low =
      BigEndian(rest.substr(size > 8 ? 8 : 0, std::min<std::size_t>(size, 8)));
  object.integer = static_cast<std::int64_t>(low);
  if (size < 16) return object;
  const std::uint64_t high = BigEndian(rest.substr(0, 8));
  if (high == 0 && object.integer < 0) {
    object.kind = Kind::kUnsigned;
    object.integer = 0;
    object.number = low;
  } else if (high != (object.integer < 0 ? std::numeric_limits<std::uint64_t>::max() : 0)) {
    return std::nullopt;
  }
  return object;
}

std::optional<Object> Real(unsigned exponent, std::string_view rest, Kind kind) {
  const std::size_t size = std::size_t{1} << exponent;
  const bool isSingle = exponent == 2 && kind == Kind::kReal;
  if ((!isSingle && exponent != 3) || rest.size() < size) return std::nullopt;
  const std::uint64_t bits = BigEndian(rest.substr(0, size));
  return Object{.kind = kind,
                .real = isSingle ? std::bit_cast<float>(static_cast<std::uint32_t>(bits))
                                 : std::bit_cast<double>(bits)};
}

std::optional<Object> Simple(unsigned value) {
  if (value == 0x0) return Object{};
  if (value == 0x8 || value == 0x9) return Object{.kind = Kind::kBool, .boolean = value == 0x9};
  return std::nullopt;
}

std::optional<Object> Uid(unsigned value, std::string_view rest) {
  const std::size_t size = value + 1;
  if (size > 8 || rest.size() < size) return std::nullopt;
  return Object{.kind = Kind::kUid, .number = BigEndian(rest.substr(0, size))};
}

// Takes the count of a counted object off `rest`; `value` is the low half of its marker.
std::optional<std::uint64_t> TakeCount(unsigned value, std::string_view& rest) {
  if (value < 0xF) return value;
  if (rest.empty()) return std::nullopt;
  const auto marker = static_cast<std::uint8_t>(rest.front());
  rest.remove_prefix(1);
  const std::size_t size = std::size_t{1} << (marker & 0xF);
  if (marker >> 4 != 0x1 || (marker & 0xF) > 3 || rest.size() < size) return std::nullopt;
  const std::uint64_t count = BigEndian(rest.substr(0, size));
  rest.remove_prefix(size);
  return count;
}

// A counted object of `count` elements of `elementSize` bytes; nullopt when they are not all there.
std::optional<Object> Counted(Kind kind, unsigned value, std::string_view rest,
                              std::size_t elementSize) {
  const auto count = TakeCount(value, rest);
  if (!count || *count > rest.size() / elementSize) return std::nullopt;
  Object object{.kind = kind};
  const std::string_view extent = rest.substr(0, *count * elementSize);
  if (kind == Kind::kArray || kind == Kind::kSet || kind == Kind::kDictionary) {
    object.count = *count;
    object.references = extent;
  } else {
    object.bytes = extent;
  }
  return object;
}

}  // namespace

std::optional<BinaryPropertyListReader> BinaryPropertyListReader::Open(std::string_view bytes,
                                                                       std::string* error) {
  const auto fail = [error](const char* reason) {
    if (error != nullptr) *error = reason;
    return std::nullopt;
  };
  if (!bytes.starts_with(kMagic)) return fail("not a binary property list of version 00");
  if (bytes.size() < kMagic.size() + kTrailerSize) return fail("too short for a trailer");
  const std::string_view trailer = bytes.substr(bytes.size() - kTrailerSize);
  const std::uint64_t limit = bytes.size() - kTrailerSize;
  BinaryPropertyListReader reader;
  reader.offsetSize_ = static_cast<std::uint8_t>(trailer[6]);
  reader.referenceSize_ = static_cast<std::uint8_t>(trailer[7]);
  reader.objectCount_ = BigEndian(trailer.substr(8, 8));
  reader.top_ = BigEndian(trailer.substr(16, 8));
  const std::uint64_t table = BigEndian(trailer.substr(24, 8));
  if (reader.offsetSize_ < 1 || reader.offsetSize_ > 8 || reader.referenceSize_ < 1 ||
      reader.referenceSize_ > 8) {
    return fail("impossible size of offsets or references");
  }
  if (table < kMagic.size() || table > limit) return fail("offset table outside of the data");
  if (reader.objectCount_ > (limit - table) / reader.offsetSize_) {
    return fail("more objects than the offset table holds");
  }
  if (reader.top_ >= reader.objectCount_) return fail("no top object");
  reader.bytes_ = bytes.substr(0, table);
  reader.offsets_ = bytes.substr(table, reader.objectCount_ * reader.offsetSize_);
  return reader;
}

std::optional<Object> BinaryPropertyListReader::At(std::uint64_t index) const {
  if (index >= objectCount_) return std::nullopt;
  const std::uint64_t offset = BigEndian(offsets_.substr(index * offsetSize_, offsetSize_));
  if (offset < kMagic.size() || offset >= bytes_.size()) return std::nullopt;
  const auto marker = static_cast<std::uint8_t>(bytes_[offset]);
  const std::string_view rest = bytes_.substr(offset + 1);
  const unsigned value = marker & 0xF;
  switch (marker >> 4) {
    case 0x0:
      return Simple(value);
    case 0x1:
      return Integer(value, rest);
    case 0x2:
      return Real(value, rest, Kind::kReal);
    case 0x3:
      return Real(value, rest, Kind::kDate);
    case 0x4:
      return Counted(Kind::kData, value, rest, 1);
    case 0x5:
      return Counted(Kind::kAsciiString, value, rest, 1);
    case 0x6:
      return Counted(Kind::kUtf16String, value, rest, 2);
    case 0x8:
      return Uid(value, rest);
    case 0xA:
      return Counted(Kind::kArray, value, rest, referenceSize_);
    case 0xB:
    case 0xC:
      return Counted(Kind::kSet, value, rest, referenceSize_);
    case 0xD:
      return Counted(Kind::kDictionary, value, rest, std::size_t{2} * referenceSize_);
    default:
      return std::nullopt;
  }
}

std::uint64_t BinaryPropertyListReader::Reference(const Object& container, std::uint64_t i) const {
  if (i >= container.references.size() / referenceSize_) {
    return std::numeric_limits<std::uint64_t>::max();
  }
  return BigEndian(container.references.substr(i * referenceSize_, referenceSize_));
}

std::optional<std::string> BinaryPropertyListReader::Text(const Object& object) {
  if (object.kind == Kind::kUtf16String) return Utf16ToUtf8(object.bytes);
  if (object.kind != Kind::kAsciiString || !IsAscii(object.bytes)) return std::nullopt;
  return std::string(object.bytes);
}

}  // namespace kelvo

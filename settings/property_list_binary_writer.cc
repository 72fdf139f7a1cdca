#include <algorithm>
#include <bit>
#include <cstddef>
#include <limits>
#include <utility>

#include "base/string_utils.h"
#include "settings/property_list_binary.h"

namespace kelvo {
namespace {

void AppendBigEndian(std::uint64_t value, std::size_t size, std::string& bytes) {
  for (std::size_t i = size; i > 0; --i) bytes += static_cast<char>(value >> (8 * (i - 1)) & 0xFF);
}

// The fewest bytes, of 1, 2, 4 and 8, that hold the number; given as a power of two.
unsigned SizeExponent(std::uint64_t value) {
  if (value <= 0xFF) return 0;
  if (value <= 0xFFFF) return 1;
  return value <= 0xFFFFFFFF ? 2 : 3;
}

// Non-negative only: readers take 1, 2 and 4 bytes as unsigned.
void AppendInteger(std::uint64_t value, std::string& bytes) {
  const unsigned exponent = SizeExponent(value);
  bytes += static_cast<char>(0x10 | exponent);
  AppendBigEndian(value, std::size_t{1} << exponent, bytes);
}

void AppendMarker(unsigned kind, std::uint64_t count, std::string& bytes) {
  bytes += static_cast<char>(kind << 4 | std::min<std::uint64_t>(count, 0xF));
  if (count >= 0xF) AppendInteger(count, bytes);
}

std::string Counted(unsigned kind, std::uint64_t count, std::string_view payload) {
  std::string bytes;
  AppendMarker(kind, count, bytes);
  return bytes.append(payload);
}

std::string Real(unsigned marker, double value) {
  std::string bytes(1, static_cast<char>(marker));
  AppendBigEndian(std::bit_cast<std::uint64_t>(value), 8, bytes);
  return bytes;
}

// Valid UTF-8 only.
std::string Utf16BigEndian(std::string_view utf8) {
  std::string units;
  for (std::size_t i = 0; i < utf8.size();) {
    const auto lead = static_cast<std::uint8_t>(utf8[i]);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    std::uint32_t character = length == 1 ? lead : lead & (0x7FU >> length);
    for (std::size_t j = 1; j < length; ++j) {
      character = character << 6 | (static_cast<std::uint8_t>(utf8[i + j]) & 0x3FU);
    }
    i += length;
    if (character >= 0x10000) {
      AppendBigEndian(0xD800 + ((character - 0x10000) >> 10), 2, units);
      character = 0xDC00 + ((character - 0x10000) & 0x3FF);
    }
    AppendBigEndian(character, 2, units);
  }
  return units;
}

}  // namespace

using Index = BinaryPropertyListWriter::Index;

Index BinaryPropertyListWriter::Add(std::string bytes) {
  entries_.push_back({std::move(bytes), Container::kNone, {}});
  return entries_.size() - 1;
}

Index BinaryPropertyListWriter::AddBool(bool value) { return Add(value ? "\x09" : "\x08"); }

Index BinaryPropertyListWriter::AddInteger(std::int64_t value) {
  std::string bytes;
  if (value >= 0) {
    AppendInteger(static_cast<std::uint64_t>(value), bytes);
  } else {
    bytes = "\x13";
    AppendBigEndian(static_cast<std::uint64_t>(value), 8, bytes);
  }
  return Add(std::move(bytes));
}

Index BinaryPropertyListWriter::AddUnsigned(std::uint64_t value) {
  if (value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    return AddInteger(static_cast<std::int64_t>(value));
  }
  std::string bytes = "\x14";
  AppendBigEndian(0, 8, bytes);
  AppendBigEndian(value, 8, bytes);
  return Add(std::move(bytes));
}

Index BinaryPropertyListWriter::AddReal(double value) { return Add(Real(0x23, value)); }

Index BinaryPropertyListWriter::AddDate(double secondsSince2001) {
  return Add(Real(0x33, secondsSince2001));
}

Index BinaryPropertyListWriter::AddData(std::string_view bytes) {
  return Add(Counted(0x4, bytes.size(), bytes));
}

std::optional<Index> BinaryPropertyListWriter::AddString(std::string_view utf8) {
  const bool isAscii = std::all_of(utf8.begin(), utf8.end(),
                                   [](char c) { return static_cast<std::uint8_t>(c) < 0x80; });
  if (isAscii) return Add(Counted(0x5, utf8.size(), utf8));
  if (!IsValidUtf8(utf8)) return std::nullopt;
  const std::string units = Utf16BigEndian(utf8);
  return Add(Counted(0x6, units.size() / 2, units));
}

Index BinaryPropertyListWriter::AddUid(std::uint64_t value) {
  const std::size_t size = std::size_t{1} << SizeExponent(value);
  std::string bytes(1, static_cast<char>(0x80 | (size - 1)));
  AppendBigEndian(value, size, bytes);
  return Add(std::move(bytes));
}

// A null until it is set, so that a place forgotten still makes a well-formed file.
Index BinaryPropertyListWriter::Reserve() { return Add(std::string(1, '\0')); }

void BinaryPropertyListWriter::SetArray(Index place, const std::vector<Index>& elements) {
  entries_[place] = {{}, Container::kArray, elements};
}

void BinaryPropertyListWriter::SetDictionary(Index place, const std::vector<Index>& keys,
                                             const std::vector<Index>& values) {
  entries_[place] = {{}, Container::kDictionary, keys};
  auto& references = entries_[place].references;
  references.insert(references.end(), values.begin(), values.end());
}

std::string BinaryPropertyListWriter::Finish(Index top) {
  const std::size_t referenceSize = std::size_t{1} << SizeExponent(entries_.size() - 1);
  std::string file = "bplist00";
  std::vector<std::uint64_t> offsets;
  offsets.reserve(entries_.size());
  for (const Entry& entry : entries_) {
    offsets.push_back(file.size());
    file += entry.bytes;
    if (entry.container == Container::kArray) {
      AppendMarker(0xA, entry.references.size(), file);
    } else if (entry.container == Container::kDictionary) {
      AppendMarker(0xD, entry.references.size() / 2, file);
    }
    for (const Index reference : entry.references) AppendBigEndian(reference, referenceSize, file);
  }
  const std::uint64_t table = file.size();
  const std::size_t offsetSize = std::size_t{1} << SizeExponent(table);
  for (const std::uint64_t offset : offsets) AppendBigEndian(offset, offsetSize, file);
  file.append(6, '\0');
  file += static_cast<char>(offsetSize);
  file += static_cast<char>(referenceSize);
  AppendBigEndian(entries_.size(), 8, file);
  AppendBigEndian(top, 8, file);
  AppendBigEndian(table, 8, file);
  entries_.clear();
  return file;
}

}  // namespace kelvo

#include "settings/property_list_binary.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo {
namespace {

using namespace std::string_literals;

std::string BigEndian(std::uint64_t value) {
  std::string bytes;
  for (int shift = 56; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
  return bytes;
}

std::string Trailer(int offsetSize, int referenceSize, std::uint64_t objects, std::uint64_t top,
                    std::uint64_t table) {
  return std::string(6, '\0') + static_cast<char>(offsetSize) + static_cast<char>(referenceSize) +
         BigEndian(objects) + BigEndian(top) + BigEndian(table);
}

// A file of these objects, each given by its bytes; one byte per offset and reference; the first is
// the top.
std::string File(const std::vector<std::string>& objects) {
  std::string file = "bplist00", offsets;
  for (const std::string& object : objects) {
    offsets += static_cast<char>(file.size());
    file += object;
  }
  const std::uint64_t table = file.size();
  return file + offsets + Trailer(1, 1, objects.size(), 0, table);
}

std::string ErrorOf(std::string_view file) {
  std::string error;
  EXPECT_FALSE(ReadBinaryPropertyList(file, &error));
  EXPECT_FALSE(error.empty());
  return error;
}

TEST(BinaryPropertyListTest, ReadsScalars) {
  const struct {
    std::string object;
    PropertyList value;
  } kRows[] = {
      {"\x12\xFF\xFF\xFF\xFF"s, std::int64_t{0xFFFFFFFF}},
      {"\x14"s + BigEndian(0) + BigEndian(1ull << 63), std::uint64_t{1} << 63},
      {"\x14"s + BigEndian(~0ull) + BigEndian(~0ull), -1},
      {"\x14"s + BigEndian(0) + BigEndian(7), 7},
      {"\x22\x3F\x80\x00\x00"s, 1.0},
      {"\x33"s + BigEndian(0xBFF0000000000000), PropertyList::Date{-1}},
      {"\x5F\x10\x0Fwith fifteen ch"s, "with fifteen ch"},
      {"\x63\x00\xE4\xD8\x3D\xDE\x00"s, "\xC3\xA4\xF0\x9F\x98\x80"},
  };
  for (const auto& row : kRows) {
    std::string error;
    const auto value = ReadBinaryPropertyList(File({row.object}), &error);
    ASSERT_TRUE(value) << testing::PrintToString(row.object) << error;
    EXPECT_EQ(*value, row.value) << testing::PrintToString(row.object);
  }
}

TEST(BinaryPropertyListTest, RefusesObjectsThatAreNotWhole) {
  const std::string kRows[] = {
      "\x00"s,                                              // null
      "\x13\x01"s,                                          // cut integer
      "\x15"s + std::string(32, '\0'),                      // 32-byte integer
      "\x14"s + BigEndian(1) + BigEndian(0),                // beyond 64 bits
      "\x14"s + BigEndian(~0ull) + BigEndian(1),            // below them
      "\x21\x00\x00"s,                                      // 2-byte real
      "\x4F\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s,          // data of 2^64-1 bytes
      "\x6F\x13\x80\x00\x00\x00\x00\x00\x00\x01\x00\x00"s,  // twice the count overflows to 2
      "\xDF\x13\x80\x00\x00\x00\x00\x00\x00\x00"s,          // so do twice the pairs, to 0
      "\x5F\x50"s,                                          // a count that is no integer
      "\x51\xE4"s,                                          // not ASCII
      "\x61\xD8\x3D"s,                                      // half a surrogate pair
      "\x80\x01"s,                                          // an archiver's reference
      "\xA1\x05"s,                                          // an element that is not there
      "\xA2\x00"s,                                          // an array cut short
      "\xD1\x00\x00"s,                                      // a key that is not a string
  };
  for (const std::string& object : kRows) {
    EXPECT_FALSE(ReadBinaryPropertyList(File({object}), nullptr)) << testing::PrintToString(object);
  }
}

TEST(BinaryPropertyListTest, RefusesTrailersThatPointOutside) {
  constexpr std::uint64_t kHuge = std::numeric_limits<std::uint64_t>::max();
  const std::string head = "bplist00\x09\x08";  // one object and its offset
  ASSERT_TRUE(ReadBinaryPropertyList(head + Trailer(1, 1, 1, 0, 9), nullptr));
  const std::string kRows[] = {
      Trailer(0, 1, 1, 0, 9),     Trailer(9, 1, 1, 0, 9),          Trailer(1, 0, 1, 0, 9),
      Trailer(8, 1, 1, 0, 9),     Trailer(1, 1, 1, 1, 9),          Trailer(1, 1, 1, kHuge, 9),
      Trailer(1, 1, 1, 0, 7),     Trailer(1, 1, 1, 0, 11),         Trailer(1, 1, 1, 0, kHuge),
      Trailer(8, 1, kHuge, 0, 9), Trailer(8, 8, 1ull << 61, 0, 9),
  };
  for (const std::string& trailer : kRows) {
    ErrorOf(head + trailer);
  }
  for (const char* offset : {"\x07", "\x09", "\xFF"}) {
    ErrorOf("bplist00\x09"s + offset + Trailer(1, 1, 1, 0, 9));
  }
  ErrorOf("bplist15" + std::string(40, '\0'));
  ErrorOf("bplist00");
}

TEST(BinaryPropertyListTest, CyclesAndSharedReferencesEnd) {
  EXPECT_EQ(ErrorOf(File({"\xA1\x01"s, "\xA1\x00"s})), "a container contains itself");
  EXPECT_EQ(ErrorOf(File({"\xD1\x01\x00"s, "\x51k"s})), "a container contains itself");

  // Each of 30 arrays holds the next one twice: a thousand million values in 130 bytes.
  std::vector<std::string> doubling;
  for (char i = 1; i <= 30; ++i) doubling.push_back("\xA2"s + i + i);
  doubling.push_back("\x09");
  EXPECT_NE(ErrorOf(File(doubling)).find("too many values"), std::string::npos);

  BinaryPropertyListWriter writer;
  const auto top = writer.Reserve();
  const auto large = writer.AddData(std::string(1 << 20, 'x'));
  writer.SetArray(top, std::vector<BinaryPropertyListWriter::Index>(1000, large));
  EXPECT_NE(ErrorOf(writer.Finish(top)).find("too large"), std::string::npos);

  EXPECT_EQ(ReadBinaryPropertyList(File({"\xA2\x01\x01"s, "\xA1\x02"s, "\x09"s}), nullptr),
            (PropertyList::Array{PropertyList::Array{true}, PropertyList::Array{true}}));
}

TEST(BinaryPropertyListTest, NestingEndsAtTheDepthLimit) {
  for (const int levels : {PropertyList::kMaxDepth, PropertyList::kMaxDepth + 1, 200'000}) {
    BinaryPropertyListWriter writer;
    auto inner = writer.AddBool(true);
    for (int i = 1; i < levels; ++i) {
      const auto outer = writer.Reserve();
      writer.SetArray(outer, {inner});
      inner = outer;
    }
    const std::string file = writer.Finish(inner);
    EXPECT_EQ(ReadBinaryPropertyList(file, nullptr).has_value(), levels <= PropertyList::kMaxDepth);
  }
}

}  // namespace
}  // namespace kelvo

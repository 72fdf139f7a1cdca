#include "agent/keyed_archive.h"

#include <limits>
#include <string_view>

#include "tests/support/fixture.h"

namespace kelvo::test {
namespace {

using namespace std::string_literals;
using Dictionary = PropertyList::Dictionary;

class KeyedArchiveTest : public Fixture {
 protected:
  // An archive of another implementation's, one of those that the fuzzer starts from.
  std::string Foreign(const char* name) {
    const std::string bytes = ReadFile(std::string(KELVO_ARCHIVES "/") + name);
    EXPECT_NE("", bytes) << name;
    return bytes;
  }
  // The archive of {event_name: fp_ping} with a change.
  std::string Spoilt(std::string_view from, std::string_view to) {
    std::string bytes = Foreign("event");
    const std::size_t at = bytes.find(from);
    EXPECT_NE(std::string::npos, at) << from;
    return bytes.replace(at, from.size(), to);
  }
};

TEST_F(KeyedArchiveTest, WhatWasWrittenReadsBack) {
  Dictionary dictionary = {
      {"", PropertyList("")},
      {"$null", PropertyList("$null")},
      {"event_name", PropertyList("sync_item")},
      {"same", PropertyList("sync_item")},
      {"sync_item", PropertyList("event_name")},
      {"größe", PropertyList("/日本/𝄞\n")},
      {"zero byte", PropertyList(std::string("a\0b", 3))},
      {"yes", PropertyList(true)},
      {"no", PropertyList(false)},
      {"least", PropertyList(std::numeric_limits<std::int64_t>::min())},
      {"most", PropertyList(std::numeric_limits<std::uint64_t>::max())},
      {"status", PropertyList(4)},
      {"real", PropertyList(-0.5)},
      {"long", PropertyList(std::string(100'000, 'x'))},
  };
  for (int i = 0; i < 20'000; ++i) dictionary.insert({std::to_string(i), PropertyList(i)});
  std::string error;
  EXPECT_EQ(dictionary, DecodeKeyedArchive(EncodeKeyedArchive(dictionary), &error)) << error;
  EXPECT_EQ(Dictionary(), DecodeKeyedArchive(EncodeKeyedArchive({}), &error));
  dictionary = {{"list", PropertyList(std::string(300'000, 'x'))},
                {"other", PropertyList(std::string(70'000, 'y'))},
                {"path", PropertyList("/w")}};
  EXPECT_EQ(dictionary, DecodeKeyedArchive(EncodeKeyedArchive(dictionary), &error)) << error;
  const std::string archive = EncodeKeyedArchive(dictionary);
  EXPECT_EQ(dictionary, DecodeKeyedArchive(archive, &error)) << error;
}

TEST_F(KeyedArchiveTest, ALargeTextTakesTheArchivesBuffer) {
  const Dictionary dictionary = {{"list", PropertyList(std::string(200'000, 'x') + "end")},
                                 {"path", PropertyList("/w")}};
  std::string archive = EncodeKeyedArchive(dictionary);
  archive.shrink_to_fit();
  const char* const begin = archive.data();
  const std::size_t size = archive.size();
  const auto decoded = DecodeKeyedArchive(std::move(archive), nullptr);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(dictionary, *decoded);
  const char* const text = FindValue(*decoded, "list")->ToSharedText()->data();
  EXPECT_TRUE(text >= begin && text < begin + size) << "it was copied";
}

TEST_F(KeyedArchiveTest, ValuesWithoutAFormDropTheirKey) {
  const Dictionary dictionary = {
      {"bad text", PropertyList("\xFF")},
      {"\xC3(", PropertyList("x")},
      {"list", PropertyList(PropertyList::Array{})},
      {"kept", PropertyList("y")},
  };
  const Dictionary kept = {{"kept", PropertyList("y")}};
  EXPECT_EQ(kept, DecodeKeyedArchive(EncodeKeyedArchive(dictionary), nullptr));
  EXPECT_EQ(3, LogCount("keyed archive: cannot write"));
}

TEST_F(KeyedArchiveTest, ReadsArchivesOfOtherWriters) {
  SetLogLevel(4);
  const Dictionary known = {{"event_name", PropertyList("x")}, {"null", PropertyList("$null")}};
  EXPECT_EQ(known, DecodeKeyedArchive(Foreign("other-kinds"), nullptr));
  EXPECT_EQ(1, LogCount("keyed archive: dropped 4 of 6 keys"));
}

TEST_F(KeyedArchiveTest, RefusesWhatIsNoArchiveOfADictionary) {
  const struct {
    const char* error;
    std::string bytes;
  } rows[] = {
      {"$version is not 100000", Spoilt("\x86\xA0", "\x86\xA1")},
      {"$archiver is not NSKeyedArchiver", Spoilt("NSKeyed", "NRKeyed")},
      {"the root is no object", Spoilt("\x80\x01\xA5", "\x80\0\xA5"s)},
      {"the root is no object", Spoilt("\x80\x01\xA5", "\x80\x02\xA5")},
      {"the root is no object", Spoilt("\x80\x01\xA5", "\x80\x05\xA5")},
      {"the root is no dictionary", Spoilt("NSDictionary", "NSBictionary")},
      {"the root is no dictionary", Spoilt("\x80\x04Z", "\x80\x01Z")},
      {"the root is no dictionary", Spoilt("\x80\x04Z", "\x80\x09Z")},
      {"keys and values of the root do not match", Spoilt("\xA1\x13", "\xA0\x13")},
      {"shared texts amount to many times the archive", Foreign("shared-text")},
      {"not a binary property list of version 00", "<plist version=\"1.0\"></plist>"},
      {"too short for a trailer", "bplist00"},
  };
  for (const auto& row : rows) {
    std::string error;
    EXPECT_FALSE(DecodeKeyedArchive(row.bytes, &error)) << row.error;
    EXPECT_EQ(row.error, error);
  }
}

TEST_F(KeyedArchiveTest, ReferencesThatLeadNowhereDropTheirKey) {
  for (const char reference : {'\0', '\1', '\4', '\5', '\xFF'}) {
    for (const std::string before : {"\xA1\x11\x80", "\xA1\x13\x80"}) {
      const std::string after = before[1] == '\x11' ? "\x02" : "\x03";
      EXPECT_EQ(Dictionary(),
                DecodeKeyedArchive(Spoilt(before + after, before + reference), nullptr));
    }
  }
  EXPECT_EQ(Dictionary(), DecodeKeyedArchive(Foreign("cycle"), nullptr));
}

TEST_F(KeyedArchiveTest, CutOrDamagedArchiveNeverDoesMoreThanFail) {
  const std::string bytes = Foreign("mutable-wrapped");
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    EXPECT_FALSE(DecodeKeyedArchive(std::string_view(bytes).substr(0, i), nullptr));
    for (const char change : {'\x01', '\x0F', '\x80', '\xFF'}) {
      std::string damaged = bytes;
      damaged[i] = static_cast<char>(damaged[i] ^ change);
      EXPECT_LE(DecodeKeyedArchive(damaged, nullptr).value_or(Dictionary()).size(), 9U);
    }
  }
}

}  // namespace
}  // namespace kelvo::test

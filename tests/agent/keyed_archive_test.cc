#include "agent/keyed_archive.h"

#include <functional>
#include <limits>
#include <vector>

#include "settings/property_list_binary.h"
#include "tests/support/fixture.h"

namespace kelvo::test {
namespace {

using Index = BinaryPropertyListWriter::Index;
using Kind = BinaryPropertyListReader::Kind;

std::string FromHex(std::string_view hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
  }
  return bytes;
}

// Written by another implementation. An NSMutableDictionary with strings as {NS.string, $class}.
constexpr char kMutableArchive[] =
    "62706c6973743030d4010203040506070a582476657273696f6e592461726368697665725424746f7058246f"
    "626a6563747312000186a05f100f4e534b657965644172636869766572d1080954726f6f748001af10160b0c"
    "25262728292a2b2c2d2e35393c3f40414243444555246e756c6cd30d0e0f101a24574e532e6b6579735a4e53"
    "2e6f626a656374735624636c617373a911121314151617181980028003800480058006800780088009800aa9"
    "1b1c1d1e1f20212223800c800d800e800f8010801180128013801480155a6576656e745f6e616d6554706174"
    "6856737461747573516e536e656753626967517251745166d22f3031325a24636c6173736e616d655824636c"
    "61737365735f100f4e534d757461626c65537472696e67a3313334584e53537472696e67584e534f626a6563"
    "74d2360f3738594e532e737472696e675973796e635f6974656d800bd2360f3a3b6f1011002f0068006f006d"
    "0065002f00fc002f65e5672c0020d834dd1e002e007400780074800bd2360f3d3e5133800b100713ffffffff"
    "fffffffb140000000000000000ffffffffffffffff233ff80000000000000908d22f3046475f10134e534d75"
    "7461626c6544696374696f6e617279a34648345c4e5344696374696f6e61727900080011001a002400290032"
    "00370049004c00510053006c007200790081008c0093009d009f00a100a300a500a700a900ab00ad00af00b9"
    "00bb00bd00bf00c100c300c500c700c900cb00cd00d800dd00e400e600ea00ee00f000f200f400f90104010d"
    "011f0123012c0135013a0144014e01500155017a017c0181018301850187019001a101aa01ab01ac01b101c7"
    "01cb00000000000002010000000000000049000000000000000000000000000001d8";

// Written by another implementation: a date, data, an array, a URL, and the text "$null", which
// shares its bytes with the object that stands for nil.
constexpr char kOtherKindsArchive[] =
    "62706c6973743030d4010203040506070a582476657273696f6e592461726368697665725424746f7058246f"
    "626a6563747312000186a05f100f4e534b657965644172636869766572d1080954726f6f748001af10130b0c"
    "1f202122232425262c30313235393c0b3e55246e756c6cd30d0e0f10171e574e532e6b6579735a4e532e6f62"
    "6a656374735624636c617373a6111213141516800280038004800580068007a618191a1b1c1d8008800a800b"
    "800e8010801180125a6576656e745f6e616d65547768656e5464617461546c6973745375726c546e756c6c51"
    "78d22728292a5a24636c6173736e616d655824636c6173736573564e5344617465a2292b584e534f626a6563"
    "74d22d0f2e2f574e532e74696d65233ff00000000000008009436162635161d227283334574e534172726179"
    "a2332bd20e0f3638a137800c800dd227283a3b554e5355524ca23a2bd10f3d800fd227283f405c4e53446963"
    "74696f6e617279a23f2b00080011001a00240029003200370049004c005100530069006f0076007e00890090"
    "00970099009b009d009f00a100a300aa00ac00ae00b000b200b400b600b800c300c800cd00d200d600db00dd"
    "00e200ed00f600fd01000109010e0116011f012101250127012c01340137013c013e014001420147014d0150"
    "01530155015a0167000000000000020100000000000000410000000000000000000000000000016a";

class KeyedArchiveTest : public Fixture {};

TEST_F(KeyedArchiveTest, WhatWasWrittenReadsBack) {
  const PropertyList::Dictionary dictionary = {
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
  std::string error;
  EXPECT_EQ(dictionary, DecodeKeyedArchive(EncodeKeyedArchive(dictionary), &error)) << error;
  EXPECT_EQ(PropertyList::Dictionary(), DecodeKeyedArchive(EncodeKeyedArchive({}), &error));
}

TEST_F(KeyedArchiveTest, ManyKeysReadBack) {
  PropertyList::Dictionary dictionary;
  for (int i = 0; i < 20'000; ++i) dictionary.insert({std::to_string(i), PropertyList(i)});
  EXPECT_EQ(dictionary, DecodeKeyedArchive(EncodeKeyedArchive(dictionary), nullptr));
}

// The bytes are a contract with Agents: the head, the root and its class stand where the keyed
// archiver puts them.
TEST_F(KeyedArchiveTest, LayoutIsThatOfTheKeyedArchiver) {
  const std::string bytes =
      EncodeKeyedArchive({{"a", PropertyList("1")}, {"b", PropertyList("1")}});
  const auto list = BinaryPropertyListReader::Open(bytes, nullptr);
  ASSERT_TRUE(list);
  const std::function<std::string(std::uint64_t)> describe = [&](std::uint64_t index) {
    const auto object = list->At(index).value();
    std::string text;
    switch (object.kind) {
      case Kind::kInteger:
        return std::to_string(object.integer);
      case Kind::kUid:
        return "@" + std::to_string(object.number);
      case Kind::kArray:
        for (std::uint64_t i = 0; i < object.count; ++i) {
          text += describe(list->Reference(object, i)) + " ";
        }
        return "[ " + text + "]";
      case Kind::kDictionary:
        for (std::uint64_t i = 0; i < object.count; ++i) {
          text += describe(list->Reference(object, i)) + "=" +
                  describe(list->Reference(object, object.count + i)) + " ";
        }
        return "{ " + text + "}";
      default:
        return BinaryPropertyListReader::Text(object).value();
    }
  };
  EXPECT_EQ(
      "{ $version=100000 $archiver=NSKeyedArchiver $top={ root=@1 } $objects=[ $null "
      "{ NS.keys=[ @2 @3 ] NS.objects=[ @4 @5 ] $class=@6 } a b 1 1 "
      "{ $classname=NSDictionary $classes=[ NSDictionary NSObject ] } ] }",
      describe(list->Top()));
}

TEST_F(KeyedArchiveTest, ValuesWithoutAFormDropTheirKey) {
  const PropertyList::Dictionary dictionary = {
      {"bad text", PropertyList("\xFF")},
      {"\xC3(", PropertyList("x")},
      {"list", PropertyList(PropertyList::Array{})},
      {"kept", PropertyList("y")},
  };
  const PropertyList::Dictionary kept = {{"kept", PropertyList("y")}};
  EXPECT_EQ(kept, DecodeKeyedArchive(EncodeKeyedArchive(dictionary), nullptr));
  EXPECT_EQ(3, LogCount("keyed archive: cannot write"));
}

TEST_F(KeyedArchiveTest, ReadsArchivesOfOtherWriters) {
  const PropertyList::Dictionary wrapped = {
      {"event_name", PropertyList("sync_item")},
      {"path", PropertyList("/home/ü/日本 𝄞.txt")},
      {"status", PropertyList("3")},
      {"n", PropertyList(7)},
      {"neg", PropertyList(-5)},
      {"big", PropertyList(std::numeric_limits<std::uint64_t>::max())},
      {"r", PropertyList(1.5)},
      {"t", PropertyList(true)},
      {"f", PropertyList(false)},
  };
  EXPECT_EQ(wrapped, DecodeKeyedArchive(FromHex(kMutableArchive), nullptr));

  SetLogLevel(4);
  const PropertyList::Dictionary known = {{"event_name", PropertyList("x")},
                                          {"null", PropertyList("$null")}};
  EXPECT_EQ(known, DecodeKeyedArchive(FromHex(kOtherKindsArchive), nullptr));
  EXPECT_EQ(1, LogCount("keyed archive: dropped 4 of 6 keys"));
}

// An archive to spoil: two keys, both of them the text of object 4.
struct Draft {
  std::int64_t version = 100000;
  std::string archiver = "NSKeyedArchiver";
  std::uint64_t root = 1;
  std::string classname = "NSDictionary";
  std::uint64_t classReference = 5;
  std::vector<std::uint64_t> keys = {2, 3};
  std::vector<std::uint64_t> values = {4, 4};
  std::string value = "value";
  // Makes object 4 something other than `value`.
  std::function<Index(BinaryPropertyListWriter&)> object = nullptr;
};

std::string Write(const Draft& draft) {
  BinaryPropertyListWriter w;
  const auto text = [&](std::string_view value) { return *w.AddString(value); };
  const auto array = [&](const std::vector<Index>& elements) {
    const Index place = w.Reserve();
    w.SetArray(place, elements);
    return place;
  };
  const auto dictionary = [&](const std::vector<Index>& keys, const std::vector<Index>& values) {
    const Index place = w.Reserve();
    w.SetDictionary(place, keys, values);
    return place;
  };
  const auto uids = [&](const std::vector<std::uint64_t>& numbers) {
    std::vector<Index> elements;
    elements.reserve(numbers.size());
    for (const std::uint64_t number : numbers) elements.push_back(w.AddUid(number));
    return array(elements);
  };
  const Index root =
      dictionary({text("NS.keys"), text("NS.objects"), text("$class")},
                 {uids(draft.keys), uids(draft.values), w.AddUid(draft.classReference)});
  const Index object = draft.object ? draft.object(w) : text(draft.value);
  const Index objects = array({text("$null"), root, text("k"), text("l"), object,
                               dictionary({text("$classname")}, {text(draft.classname)})});
  return w.Finish(dictionary(
      {text("$version"), text("$archiver"), text("$top"), text("$objects")},
      {w.AddInteger(draft.version), text(draft.archiver),
       dictionary({text("other"), text("root")}, {text("x"), w.AddUid(draft.root)}), objects}));
}

TEST_F(KeyedArchiveTest, RefusesWhatIsNoArchiveOfADictionary) {
  ASSERT_TRUE(DecodeKeyedArchive(Write({}), nullptr));
  const struct {
    const char* error;
    std::string bytes;
  } rows[] = {
      {"$version is not 100000", Write({.version = 100001})},
      {"$archiver is not NSKeyedArchiver", Write({.archiver = "NRKeyedArchiver"})},
      {"the root is no object", Write({.root = 0})},
      {"the root is no object", Write({.root = 2})},
      {"the root is no object", Write({.root = 6})},
      {"the root is no object", Write({.root = std::numeric_limits<std::uint64_t>::max()})},
      {"the root is no dictionary", Write({.classname = "NSArray"})},
      {"the root is no dictionary", Write({.classReference = 1})},
      {"the root is no dictionary", Write({.classReference = 9})},
      {"keys and values of the root do not match", Write({.keys = {2}})},
      {"not a binary property list of version 00", ""},
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
  const PropertyList::Dictionary second = {{"l", PropertyList("value")}};
  for (const std::uint64_t reference : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{5},
                                        std::uint64_t{6}, ~std::uint64_t{0}}) {
    EXPECT_EQ(second, DecodeKeyedArchive(Write({.values = {reference, 4}}), nullptr)) << reference;
    EXPECT_EQ(second, DecodeKeyedArchive(Write({.keys = {reference, 3}}), nullptr)) << reference;
  }
}

TEST_F(KeyedArchiveTest, StringObjectThatContainsItselfDropsItsKey) {
  const auto self = [](BinaryPropertyListWriter& w) {
    const Index place = w.Reserve();
    w.SetDictionary(place, {*w.AddString("NS.string"), *w.AddString("$class")}, {place, place});
    return place;
  };
  EXPECT_EQ(PropertyList::Dictionary(), DecodeKeyedArchive(Write({.object = self}), nullptr));
}

TEST_F(KeyedArchiveTest, SharedTextDoesNotGrowBeyondTheArchive) {
  Draft draft;
  draft.value = std::string(1 << 20, 'x');
  draft.keys.assign(1000, 2);
  draft.values.assign(1000, 4);
  std::string error;
  EXPECT_FALSE(DecodeKeyedArchive(Write(draft), &error));
  EXPECT_EQ("shared texts amount to many times the archive", error);
}

TEST_F(KeyedArchiveTest, CutOrDamagedArchiveNeverDoesMoreThanFail) {
  const std::string bytes = FromHex(kMutableArchive);
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_FALSE(DecodeKeyedArchive(std::string_view(bytes).substr(0, size), nullptr));
  }
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    for (const char change : {'\x01', '\x0F', '\x80', '\xFF'}) {
      std::string damaged = bytes;
      damaged[i] = static_cast<char>(damaged[i] ^ change);
      const auto dictionary = DecodeKeyedArchive(damaged, nullptr);
      EXPECT_LE(dictionary.value_or(PropertyList::Dictionary()).size(), 9U);
    }
  }
}

}  // namespace
}  // namespace kelvo::test

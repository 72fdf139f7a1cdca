#include "agent/keyed_archive.h"

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "base/logger.h"
#include "base/string_utils.h"
#include "settings/property_list_binary.h"

namespace kelvo {
namespace {

constexpr std::int64_t kVersion = 100000;
constexpr char kArchiver[] = "NSKeyedArchiver";
constexpr std::uint64_t kNull = 0;  // the object that stands for nil
constexpr std::uint64_t kRoot = 1;
// A class or a string object has two entries; more would be searched again for each reference.
constexpr std::uint64_t kMaxSmallDictionary = 16;

using Index = BinaryPropertyListWriter::Index;
using Object = BinaryPropertyListReader::Object;
using Kind = BinaryPropertyListReader::Kind;

// The scalar kinds of an archive; nullopt for any other kind and for text that is not UTF-8.
std::optional<Index> AddValue(BinaryPropertyListWriter& writer, const PropertyList& value) {
  if (const std::string* text = value.AsString()) return writer.AddString(*text);
  if (const bool* boolean = value.AsBool()) return writer.AddBool(*boolean);
  if (const std::int64_t* integer = value.AsInteger()) return writer.AddInteger(*integer);
  if (const std::uint64_t* number = value.AsUnsigned()) return writer.AddUnsigned(*number);
  if (const double* real = value.AsReal()) return writer.AddReal(*real);
  return std::nullopt;
}

Index AddAscii(BinaryPropertyListWriter& writer, std::string_view text) {
  return *writer.AddString(text);
}

Index AddDictionary(BinaryPropertyListWriter& writer, const std::vector<Index>& keys,
                    const std::vector<Index>& values) {
  const Index place = writer.Reserve();
  writer.SetDictionary(place, keys, values);
  return place;
}

Index AddArray(BinaryPropertyListWriter& writer, const std::vector<Index>& elements) {
  const Index place = writer.Reserve();
  writer.SetArray(place, elements);
  return place;
}

// References to `count` archived objects from `first` on.
Index AddReferences(BinaryPropertyListWriter& writer, std::uint64_t first, std::uint64_t count) {
  std::vector<Index> references;
  references.reserve(count);
  for (std::uint64_t i = 0; i < count; ++i) references.push_back(writer.AddUid(first + i));
  return AddArray(writer, references);
}

Index AddDictionaryClass(BinaryPropertyListWriter& writer) {
  const Index classname = AddAscii(writer, "NSDictionary");
  const Index classes =
      AddArray(writer, {AddAscii(writer, "NSDictionary"), AddAscii(writer, "NSObject")});
  return AddDictionary(writer, {AddAscii(writer, "$classname"), AddAscii(writer, "$classes")},
                       {classname, classes});
}

// One archive being read. Whatever it looks at is either a direct element of "$objects" or at most
// two references below one, so no cycle can hold it.
class ArchiveReader {
 public:
  explicit ArchiveReader(BinaryPropertyListReader list, std::size_t size)
      : list_(list), textLeft_(kTextFactor * size + kTextAllowance) {}

  // With `mayLeaveText` at most one text is left out of the values; see LeftText.
  std::optional<PropertyList::Dictionary> Read(std::string* error, bool mayLeaveText);

  struct KeyedText {
    std::string key;
    std::string_view bytes;  // ASCII
  };
  // A large text that stands empty in the dictionary.
  const std::optional<KeyedText>& LeftText() const { return leftText_; }

 private:
  // Texts may be shared between keys; all copies together stay within a few times the archive.
  static constexpr std::size_t kTextFactor = 4;
  static constexpr std::size_t kTextAllowance = 65536;
  // A list's text is kept by whoever has heard of it; from here on it is shared, not copied.
  static constexpr std::size_t kSharedTextSize = 1024;
  static constexpr std::size_t kLeftTextSize = std::size_t{64} << 10;

  std::optional<Object> Find(const Object& dictionary, std::string_view key) const;
  // The archived object that `reference`, a UID object, names; nullopt for nil, too.
  std::optional<Object> Resolve(const std::optional<Object>& reference) const;
  bool IsOfClass(const Object& object, std::string_view immutable, std::string_view mutableOne);
  std::optional<std::string> Text(const Object& object);
  std::optional<PropertyList> Value(const Object& object);
  const char* CheckHead();
  bool MayLeave(const Object& value) const;
  bool ReadPair(const Object& keys, const Object& values, std::uint64_t i,
                PropertyList::Dictionary* out);

  const BinaryPropertyListReader list_;
  Object objects_;
  Object root_;
  std::size_t textLeft_;
  bool textExhausted_ = false;
  bool mayLeaveText_ = false;
  std::optional<KeyedText> leftText_;
};

std::optional<Object> ArchiveReader::Find(const Object& dictionary, std::string_view key) const {
  if (dictionary.kind != Kind::kDictionary) return std::nullopt;
  for (std::uint64_t i = 0; i < dictionary.count; ++i) {
    const auto name = list_.At(list_.Reference(dictionary, i));
    if (name && name->kind == Kind::kAsciiString && name->bytes == key) {
      return list_.At(list_.Reference(dictionary, dictionary.count + i));
    }
  }
  return std::nullopt;
}

std::optional<Object> ArchiveReader::Resolve(const std::optional<Object>& reference) const {
  if (!reference || reference->kind != Kind::kUid) return std::nullopt;
  if (reference->number == kNull || reference->number >= objects_.count) return std::nullopt;
  return list_.At(list_.Reference(objects_, reference->number));
}

bool ArchiveReader::IsOfClass(const Object& object, std::string_view immutable,
                              std::string_view mutableOne) {
  const auto description = Resolve(Find(object, "$class"));
  if (!description || description->count > kMaxSmallDictionary) return false;
  const auto name = Find(*description, "$classname");
  return name && name->kind == Kind::kAsciiString &&
         (name->bytes == immutable || name->bytes == mutableOne);
}

std::optional<std::string> ArchiveReader::Text(const Object& object) {
  const Object* text = &object;
  std::optional<Object> inner;
  if (object.kind == Kind::kDictionary) {
    if (object.count > kMaxSmallDictionary || !IsOfClass(object, "NSString", "NSMutableString")) {
      return std::nullopt;
    }
    inner = Find(object, "NS.string");
    if (!inner) return std::nullopt;
    if (inner->kind == Kind::kUid) inner = Resolve(inner);
    if (!inner) return std::nullopt;
    text = &*inner;
  }
  if (text->kind != Kind::kAsciiString && text->kind != Kind::kUtf16String) return std::nullopt;
  if (text->bytes.size() > textLeft_) {
    textExhausted_ = true;
    return std::nullopt;
  }
  textLeft_ -= text->bytes.size();
  return BinaryPropertyListReader::Text(*text);
}

std::optional<PropertyList> ArchiveReader::Value(const Object& object) {
  switch (object.kind) {
    case Kind::kBool:
      return PropertyList(object.boolean);
    case Kind::kInteger:
      return PropertyList(object.integer);
    case Kind::kUnsigned:
      return PropertyList(object.number);
    case Kind::kReal:
      return PropertyList(object.real);
    case Kind::kAsciiString:
    case Kind::kUtf16String:
    case Kind::kDictionary:
      if (auto text = Text(object)) {
        if (text->size() < kSharedTextSize) return PropertyList(std::move(*text));
        return PropertyList(std::make_shared<const std::string>(std::move(*text)));
      }
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

// Null when the archive is one of a dictionary, else what is wrong with it.
const char* ArchiveReader::CheckHead() {
  const auto head = list_.At(list_.Top());
  if (!head || head->kind != Kind::kDictionary) return "no dictionary at the top";
  const auto version = Find(*head, "$version");
  if (!version || version->kind != Kind::kInteger || version->integer != kVersion) {
    return "$version is not 100000";
  }
  const auto archiver = Find(*head, "$archiver");
  if (!archiver || archiver->kind != Kind::kAsciiString || archiver->bytes != kArchiver) {
    return "$archiver is not NSKeyedArchiver";
  }
  const auto objects = Find(*head, "$objects");
  if (!objects || objects->kind != Kind::kArray) return "no array $objects";
  objects_ = *objects;
  const auto top = Find(*head, "$top");
  if (!top) return "no $top";
  const auto root = Resolve(Find(*top, "root"));
  if (!root || root->kind != Kind::kDictionary) return "the root is no object";
  root_ = *root;
  if (!IsOfClass(root_, "NSDictionary", "NSMutableDictionary")) {
    return "the root is no dictionary";
  }
  return nullptr;
}

bool ArchiveReader::MayLeave(const Object& value) const {
  return mayLeaveText_ && !leftText_ && value.kind == Kind::kAsciiString &&
         value.bytes.size() >= kLeftTextSize && value.bytes.size() <= textLeft_ &&
         IsAscii(value.bytes);
}

// False for a key or a value that is no text or number.
bool ArchiveReader::ReadPair(const Object& keys, const Object& values, std::uint64_t i,
                             PropertyList::Dictionary* out) {
  const auto key = Resolve(list_.At(list_.Reference(keys, i)));
  const auto value = Resolve(list_.At(list_.Reference(values, i)));
  if (!key || !value) return false;
  auto name = Text(*key);
  if (!name) return false;
  if (MayLeave(*value)) {
    textLeft_ -= value->bytes.size();
    out->insert_or_assign(*name, PropertyList());
    leftText_ = {std::move(*name), value->bytes};
    return true;
  }
  if (leftText_ && leftText_->key == *name) leftText_.reset();  // another value under its key
  auto content = Value(*value);
  if (!content) return false;
  out->insert_or_assign(std::move(*name), std::move(*content));
  return true;
}

std::optional<PropertyList::Dictionary> ArchiveReader::Read(std::string* error, bool mayLeaveText) {
  mayLeaveText_ = mayLeaveText;
  if (const char* fault = CheckHead()) {
    *error = fault;
    return std::nullopt;
  }
  const auto keys = Find(root_, "NS.keys");
  const auto values = Find(root_, "NS.objects");
  if (!keys || !values || keys->kind != Kind::kArray || values->kind != Kind::kArray ||
      keys->count != values->count) {
    *error = "keys and values of the root do not match";
    return std::nullopt;
  }
  PropertyList::Dictionary dictionary;
  std::uint64_t dropped = 0;
  for (std::uint64_t i = 0; i < keys->count; ++i) {
    if (!ReadPair(*keys, *values, i, &dictionary)) ++dropped;
    if (textExhausted_) {
      *error = "shared texts amount to many times the archive";
      return std::nullopt;
    }
  }
  if (dropped > 0) {
    KELVO_LOG(kLogDebug, "keyed archive: dropped " << dropped << " of " << keys->count
                                                   << " keys, values of another kind");
  }
  return dictionary;
}

}  // namespace

std::string EncodeKeyedArchive(const PropertyList::Dictionary& dictionary) {
  BinaryPropertyListWriter writer;
  std::vector<Index> keys;
  std::vector<Index> values;
  for (const auto& [key, value] : dictionary) {
    const auto keyIndex = writer.AddString(key);
    const auto valueIndex = keyIndex ? AddValue(writer, value) : std::nullopt;
    if (!valueIndex) {
      KELVO_LOG(kLogError,
                "keyed archive: cannot write the value of " << ToValidUtf8(key) << "; dropped");
      continue;
    }
    keys.push_back(*keyIndex);
    values.push_back(*valueIndex);
  }

  const std::uint64_t firstKey = kRoot + 1;
  const std::uint64_t count = keys.size();
  const Index keyReferences = AddReferences(writer, firstKey, count);
  const Index valueReferences = AddReferences(writer, firstKey + count, count);
  const Index root = AddDictionary(
      writer,
      {AddAscii(writer, "NS.keys"), AddAscii(writer, "NS.objects"), AddAscii(writer, "$class")},
      {keyReferences, valueReferences, writer.AddUid(firstKey + 2 * count)});

  std::vector<Index> objects = {AddAscii(writer, "$null"), root};
  objects.insert(objects.end(), keys.begin(), keys.end());
  objects.insert(objects.end(), values.begin(), values.end());
  objects.push_back(AddDictionaryClass(writer));
  const Index top = AddDictionary(writer, {AddAscii(writer, "root")}, {writer.AddUid(kRoot)});
  const Index head = AddDictionary(
      writer,
      {AddAscii(writer, "$version"), AddAscii(writer, "$archiver"), AddAscii(writer, "$top"),
       AddAscii(writer, "$objects")},
      {writer.AddInteger(kVersion), AddAscii(writer, kArchiver), top, AddArray(writer, objects)});
  return writer.Finish(head);
}

std::optional<PropertyList::Dictionary> DecodeKeyedArchive(std::string_view bytes,
                                                           std::string* error) {
  std::string ignored;
  if (error == nullptr) error = &ignored;
  auto list = BinaryPropertyListReader::Open(bytes, error);
  if (!list) return std::nullopt;
  return ArchiveReader(*list, bytes.size()).Read(error, false);
}

std::optional<PropertyList::Dictionary> DecodeKeyedArchive(std::string&& bytes,
                                                           std::string* error) {
  std::string ignored;
  if (error == nullptr) error = &ignored;
  const auto list = BinaryPropertyListReader::Open(bytes, error);
  if (!list) return std::nullopt;
  ArchiveReader reader(*list, bytes.size());
  auto dictionary = reader.Read(error, true);
  if (!dictionary || !reader.LeftText()) return dictionary;
  const auto& [key, text] = *reader.LeftText();
  PropertyList& value = dictionary->find(key)->second;
  if (text.size() < bytes.capacity() / 4 * 3) {  // too much memory for it
    value = PropertyList(std::make_shared<const std::string>(text));
    return dictionary;
  }
  const auto begin = static_cast<std::size_t>(text.data() - bytes.data());
  bytes.resize(begin + text.size());
  bytes.erase(0, begin);
  value = PropertyList(std::make_shared<const std::string>(std::move(bytes)));
  return dictionary;
}

}  // namespace kelvo

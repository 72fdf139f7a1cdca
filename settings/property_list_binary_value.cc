// Whole values out of and into the objects of a binary property list.
#include <algorithm>
#include <cstddef>
#include <utility>

#include "settings/property_list_binary.h"
#include "settings/property_list_limits.h"

namespace kelvo {
namespace {

using Object = BinaryPropertyListReader::Object;
using Kind = BinaryPropertyListReader::Kind;

// Writes shared objects out once per reference; bounded, since a few bytes can refer to each other
// exponentially often.
class ValueReader {
 public:
  ValueReader(const BinaryPropertyListReader& reader, std::size_t fileSize)
      : reader_(reader),
        valuesLeft_(std::min<std::uint64_t>(
            std::max<std::uint64_t>(std::uint64_t{20} * fileSize, 10'000), kMaxPropertyListValues)),
        bytesLeft_(kMaxPropertyListBytes),
        onPath_(reader.ObjectCount(), false) {}

  std::optional<PropertyList> Read(std::string* error) {
    Start(reader_.Top());
    while (!open_.empty() && failure_ == nullptr) Step();
    if (failure_ == nullptr) return std::move(value_);
    if (error != nullptr) *error = failure_;
    return std::nullopt;
  }

 private:
  struct Container {
    std::uint64_t index;
    Object object;
    std::uint64_t next = 0;
    std::string key;
    PropertyList::Array array;
    PropertyList::Dictionary dictionary;
  };

  // Begins the next element of the innermost container, or ends it.
  void Step() {
    Container& container = open_.back();
    if (container.next == container.object.count) return End();
    const std::uint64_t i = container.next++;
    if (container.object.kind == Kind::kArray) return Start(reader_.Reference(container.object, i));
    const auto object = reader_.At(reader_.Reference(container.object, i));
    auto key = object ? BinaryPropertyListReader::Text(*object) : std::nullopt;
    if (!key) return Fail("a key is not a string");
    if (!Spend(key->size())) return;
    container.key = *std::move(key);
    Start(reader_.Reference(container.object, container.object.count + i));
  }

  void Start(std::uint64_t index) {
    const auto object = reader_.At(index);
    if (!object) return Fail("an object lies outside of the data or is of an unknown kind");
    if (valuesLeft_-- == 0) return Fail("too many values once shared objects are written out");
    if (onPath_[index]) return Fail("a container contains itself");
    if (open_.size() >= static_cast<std::size_t>(PropertyList::kMaxDepth)) {
      return Fail("nested too deeply");
    }
    if (object->kind == Kind::kArray || object->kind == Kind::kDictionary) {
      onPath_[index] = true;
      open_.push_back({index, *object, 0, {}, {}, {}});
    } else {
      Scalar(*object);
    }
  }

  void Scalar(const Object& object) {
    switch (object.kind) {
      case Kind::kBool:
        return Attach(PropertyList(object.boolean));
      case Kind::kInteger:
        return Attach(PropertyList(object.integer));
      case Kind::kUnsigned:
        return Attach(PropertyList(object.number));
      case Kind::kReal:
        return Attach(PropertyList(object.real));
      case Kind::kDate:
        return Attach(PropertyList(PropertyList::Date{object.real}));
      case Kind::kData:
        if (!Spend(object.bytes.size())) return;
        return Attach(PropertyList(PropertyList::Data{std::string(object.bytes)}));
      case Kind::kAsciiString:
      case Kind::kUtf16String: {
        if (!Spend(object.bytes.size())) return;
        auto text = BinaryPropertyListReader::Text(object);
        return text ? Attach(PropertyList(*std::move(text))) : Fail("a string is not text");
      }
      default:
        return Fail("a null, a set or an archiver's reference stands where a value belongs");
    }
  }

  void End() {
    Container ended = std::move(open_.back());
    open_.pop_back();
    onPath_[ended.index] = false;
    if (ended.object.kind == Kind::kArray) {
      Attach(PropertyList(std::move(ended.array)));
    } else {
      Attach(PropertyList(std::move(ended.dictionary)));
    }
  }

  void Attach(PropertyList value) {
    if (open_.empty()) {
      value_ = std::move(value);
    } else if (open_.back().object.kind == Kind::kArray) {
      open_.back().array.push_back(std::move(value));
    } else {
      open_.back().dictionary.insert_or_assign(std::move(open_.back().key), std::move(value));
    }
  }

  bool Spend(std::size_t bytes) {
    if (bytes > bytesLeft_) {
      Fail("too large once shared objects are written out");
      return false;
    }
    bytesLeft_ -= bytes;
    return true;
  }

  void Fail(const char* reason) { failure_ = reason; }

  const BinaryPropertyListReader& reader_;
  std::uint64_t valuesLeft_;
  std::size_t bytesLeft_;
  std::vector<bool> onPath_;  // containers that are open, by index
  std::vector<Container> open_;
  PropertyList value_;
  const char* failure_ = nullptr;
};

// Adds values breadth first: a container's elements follow after it.
class ValueWriter {
 public:
  std::optional<std::string> Write(const PropertyList& value) {
    const auto top = Add(value);
    for (std::size_t i = 0; i < waiting_.size(); ++i) {
      const auto [container, place] = waiting_[i];
      if (!Fill(*container, place)) return std::nullopt;
    }
    if (!top) return std::nullopt;
    return writer_.Finish(*top);
  }

 private:
  using Index = BinaryPropertyListWriter::Index;

  std::optional<Index> Add(const PropertyList& value) {
    if (const bool* boolean = value.AsBool()) return writer_.AddBool(*boolean);
    if (const auto* integer = value.AsInteger()) return writer_.AddInteger(*integer);
    if (const auto* number = value.AsUnsigned()) return writer_.AddUnsigned(*number);
    if (const auto* real = value.AsReal()) return writer_.AddReal(*real);
    if (const auto* date = value.AsDate()) return writer_.AddDate(date->secondsSince2001);
    if (const auto* data = value.AsData()) return writer_.AddData(data->bytes);
    if (const auto* string = value.AsString()) return writer_.AddString(*string);
    const Index place = writer_.Reserve();
    waiting_.emplace_back(&value, place);
    return place;
  }

  bool Fill(const PropertyList& container, Index place) {
    std::vector<Index> keys, values;
    if (const auto* array = container.AsArray()) {
      for (const PropertyList& element : *array) {
        if (!Append(Add(element), values)) return false;
      }
      writer_.SetArray(place, values);
      return true;
    }
    for (const auto& [key, value] : *container.AsDictionary()) {
      if (!Append(writer_.AddString(key), keys) || !Append(Add(value), values)) return false;
    }
    writer_.SetDictionary(place, keys, values);
    return true;
  }

  static bool Append(std::optional<Index> index, std::vector<Index>& indexes) {
    if (index) indexes.push_back(*index);
    return index.has_value();
  }

  BinaryPropertyListWriter writer_;
  std::vector<std::pair<const PropertyList*, Index>> waiting_;
};

}  // namespace

std::optional<PropertyList> ReadBinaryPropertyList(std::string_view bytes, std::string* error) {
  if (bytes.size() > kMaxPropertyListBytes) {
    if (error != nullptr) *error = "larger than 64 MiB";
    return std::nullopt;
  }
  const auto reader = BinaryPropertyListReader::Open(bytes, error);
  if (!reader) return std::nullopt;
  return ValueReader(*reader, bytes.size()).Read(error);
}

std::optional<std::string> WriteBinaryPropertyList(const PropertyList& value) {
  return ValueWriter().Write(value);
}

}  // namespace kelvo

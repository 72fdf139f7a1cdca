// Binary property lists ("bplist00"), in two layers: single objects, as keyed archives need them,
// and whole values. Nothing here recurses, and no count is trusted before it is compared with the
// bytes that are there. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/property_list.h"

namespace kelvo {

// The objects of one binary property list, decoded one at a time.
//
// Lifetime: views into `bytes`, which must outlive it.
class BinaryPropertyListReader {
 public:
  enum class Kind {
    kNull,
    kBool,
    kInteger,
    kUnsigned,
    kReal,
    kDate,
    kData,
    kAsciiString,
    kUtf16String,
    kUid,
    kArray,
    kSet,
    kDictionary
  };
  struct Object {
    Kind kind = Kind::kNull;
    bool boolean = false;
    std::int64_t integer = 0;       // kInteger
    std::uint64_t number = 0;       // kUid, kUnsigned (above 2^63-1)
    double real = 0;                // kReal, kDate
    std::string_view bytes{};       // payload of data and strings (UTF-16BE for kUtf16String)
    std::uint64_t count = 0;        // elements of an array or set, pairs of a dictionary
    std::string_view references{};  // of an array, set or dictionary (keys first)
  };

  // Checks magic, trailer and offset table. nullopt with the reason in `error` (may be null).
  static std::optional<BinaryPropertyListReader> Open(std::string_view bytes, std::string* error);

  std::uint64_t ObjectCount() const { return objectCount_; }
  std::uint64_t Top() const { return top_; }
  // The object, or nullopt when the index, its offset, its kind or its extent is not valid; also
  // for an integer beyond 64 bits.
  std::optional<Object> At(std::uint64_t index) const;
  // Reference `i` of a container: below count for an array, below 2 * count for a dictionary
  // (keys, then values). The answer may lie beyond ObjectCount(); At() refuses it then.
  std::uint64_t Reference(const Object& container, std::uint64_t i) const;
  // The text of a string object as UTF-8; nullopt for another kind, for non-ASCII bytes in an ASCII
  // string and for an unpaired surrogate.
  static std::optional<std::string> Text(const Object& object);

 private:
  std::string_view bytes_;
  std::string_view offsets_;
  std::uint64_t objectCount_ = 0;
  std::uint64_t top_ = 0;
  std::uint8_t offsetSize_ = 1;
  std::uint8_t referenceSize_ = 1;
};

// Collects objects and writes them as a binary property list.
class BinaryPropertyListWriter {
 public:
  using Index = std::uint64_t;

  Index AddBool(bool value);
  Index AddInteger(std::int64_t value);
  Index AddUnsigned(std::uint64_t value);
  Index AddReal(double value);
  Index AddDate(double secondsSince2001);
  Index AddData(std::string_view bytes);
  // ASCII as 0x5, all else as UTF-16BE 0x6; nullopt when `utf8` is not valid UTF-8.
  std::optional<Index> AddString(std::string_view utf8);
  Index AddUid(std::uint64_t value);
  // A place for a container whose elements come later; every one must be set before Finish.
  Index Reserve();
  void SetArray(Index place, const std::vector<Index>& elements);
  void SetDictionary(Index place, const std::vector<Index>& keys, const std::vector<Index>& values);

  // The whole file with `top` as its root. The writer is spent afterwards.
  std::string Finish(Index top);

 private:
  enum class Container : std::uint8_t { kNone, kArray, kDictionary };
  struct Entry {
    std::string bytes;  // a scalar's encoded form
    Container container = Container::kNone;
    std::vector<Index> references;  // array elements, or keys and then values
  };
  Index Add(std::string bytes);
  std::vector<Entry> entries_;
};

// Whole values. The reader bounds depth (PropertyList::kMaxDepth) and the number of values after
// shared references are written out (twenty times the bytes, at least 10,000), and refuses cycles,
// keys that are not strings, sets and UIDs.
std::optional<PropertyList> ReadBinaryPropertyList(std::string_view bytes, std::string* error);
std::optional<std::string> WriteBinaryPropertyList(const PropertyList& value);

}  // namespace kelvo

// Whether the decoders and plain formatted extraction agree about a text.
#pragma once

#include <algorithm>
#include <cstddef>
#include <istream>
#include <iterator>
#include <memory>
#include <random>
#include <sstream>
#include <streambuf>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "agent/list_cursor.h"
#include "agent/sync_status_list_response.h"
#include "agent/text_decoder.h"
#include "bench/istream_decoder.h"
#include "tests/support/agent_text.h"

namespace kelvo::test {

// A text that arrives a few bytes at a time, so that nothing is known of what is still to come.
class TrickleBuffer : public std::streambuf {
 public:
  TrickleBuffer(std::string text, std::size_t step) : text_(std::move(text)), step_(step) {
    setg(text_.data(), text_.data(), text_.data());
  }
  std::ptrdiff_t Position() const { return gptr() - eback(); }

 protected:
  int underflow() override {
    const std::ptrdiff_t left = text_.data() + text_.size() - gptr();
    if (left == 0) return traits_type::eof();
    setg(eback(), gptr(), gptr() + std::min(left, static_cast<std::ptrdiff_t>(step_)));
    return traits_type::to_int_type(*gptr());
  }

 private:
  std::string text_;
  const std::size_t step_;
};

// The same text, read with formatted extraction, with two decoders, from memory and in pieces, and
// with a cursor. The text must outlive it.
class ListTextComparison {
 public:
  explicit ListTextComparison(std::string_view text)
      : text_(text),
        plain_(std::string(text)),
        memory_(std::string(text)),
        trickle_(std::string(text), 3),
        pieces_(&trickle_) {}

  // Carries out the operation that `code` names. What differs, or empty.
  std::string Compare(unsigned code) {
    using Self = ListTextComparison;
    static constexpr std::string (Self::*kOperations[])() = {
        &Self::CompareRead<int>,
        &Self::CompareRead<long>,
        &Self::CompareRead<long long>,
        &Self::CompareRead<unsigned long>,
        &Self::CompareRead<sync::ESyncItemStatus>,
        &Self::CompareRead<sync::ESyncItemLock>,
        &Self::CompareRead<sync::EItemPermissions>,
        &Self::CompareRead<sync::EPermissionsDenied>,
        &Self::CompareRead<std::string>,
        &Self::CompareEnd};
    return (this->*kOperations[code % 10])();
  }

 private:
  // What an operator's failure says; empty for a success.
  template <typename Decoder, typename T>
  static std::string Decode(Decoder& decoder, T& value) {
    try {
      decoder >> value;
      return {};
    } catch (const CTextDecodingException& exception) {
      return exception.what();
    }
  }

  template <typename T>
  std::string CompareRead() {
    T expected{}, fromMemory{}, fromPieces{};
    std::conditional_t<std::is_same_v<T, std::string>, std::string_view, T> view{};
    const bool good = plainDecoder_.Read(expected);
    const std::string failure = Decode(memoryDecoder_, fromMemory);
    if (failure.empty() != good) return "accepted by one only";
    if (Decode(piecesDecoder_, fromPieces) != failure) return "another answer in pieces";
    if (Decode(cursor_, view) != failure) return "another answer of the cursor";
    if (!good) return {};
    if (fromMemory != expected || fromPieces != expected || view != expected) {
      return "different values";
    }
    return ComparePositions();
  }

  std::string CompareEnd() {
    const bool end = plainDecoder_.AtEnd();
    if (memoryDecoder_.eof() != end || piecesDecoder_.eof() != end || cursor_.eof() != end) {
      return "different ends";
    }
    return end ? std::string() : ComparePositions();
  }

  std::string ComparePositions() {
    const auto position = [](std::istream& stream) {
      return static_cast<std::ptrdiff_t>(
          stream.rdbuf()->pubseekoff(0, std::ios_base::cur, std::ios_base::in));
    };
    const std::ptrdiff_t expected = position(plain_);
    const bool same = position(memory_) == expected && trickle_.Position() == expected &&
                      cursor_.Rest().data() - text_.data() == expected;
    return same ? "" : "different positions";
  }

  const std::string_view text_;
  std::istringstream plain_;
  std::istringstream memory_;
  TrickleBuffer trickle_;
  std::istream pieces_;
  IstreamDecoder plainDecoder_{&plain_};
  CTextDecoder memoryDecoder_{&memory_};
  CTextDecoder piecesDecoder_{&pieces_};
  CListCursor cursor_{text_};
};

// What differs between the walk over a list's records and plain extraction of them, or empty.
inline std::string CompareListWalk(const std::string& text) {
  std::istringstream stream(text);
  IstreamDecoder plain(&stream);
  unsigned long count = 0;
  const bool hasCount = plain.Read(count);
  std::unique_ptr<CSyncStatusListResponse> response;
  try {
    response = std::make_unique<CSyncStatusListResponse>(nullptr, "/folder",
                                                         std::make_shared<const std::string>(text));
  } catch (const CTextDecodingException&) {
  }
  if ((response != nullptr) != hasCount) return "count accepted by one only";
  if (!hasCount) return {};
  SSyncApiItemStatus item;
  while (count-- > 0) {
    if (!response->Next()) return "walk ended early";
    const bool whole = ReadRecord(plain, item);
    if (std::make_tuple(response->Name(), response->FileId(), response->ItemId(),
                        response->Status(), response->Lock(), response->LockHolder(),
                        response->LockTime(), response->ModifiedBy(), response->Permissions(),
                        response->Denied(), response->Folder()) !=
        std::make_tuple(item.path, item.fileId, item.itemId, item.status, item.lock,
                        item.lockHolder, item.lockTime, item.modifiedBy, item.permissions,
                        item.denied, item.folder)) {
      return whole ? "different records" : "different halves of a record";
    }
    if (!whole) break;
  }
  return response->Next() ? "walk does not end" : "";
}

// Texts that are nearly right, the same ones for the same seed, and what the decoders make of them.
class ListTextFuzz {
 public:
  explicit ListTextFuzz(unsigned seed) : random_(seed) {}

  // One text: fields at random, or a list with a few bytes of it changed. What differs, or empty.
  std::string Step() {
    if (Below(4) == 0) return Told(Mutated(), CompareListWalk);
    std::string text;
    for (unsigned i = Below(8); i > 0; --i) text += kFragments[Below(std::size(kFragments))];
    return Told(text, [this](const std::string& fields) {
      ListTextComparison comparison(fields);
      std::string difference;
      for (int i = 0; i < 6 && difference.empty(); ++i) difference = comparison.Compare(Below(10));
      return difference;
    });
  }

 private:
  // clang-format off
  static constexpr std::string_view kFragments[] = {
      "0", "1", "7", "007", "12", "2147483647", "2147483648", "-2147483648", "-2147483649",
      ":", ":", ":", ":", ":", "99999999999999999999", "000000000000000000000000",
      "-", "+", " ", "\t\n", "\v", "\f\r", "a", "0x1f", "1e5", ".", ",", "1,0",
      "3:ab", "2:", "5:a:b:c", "-1:", "\xC2\xA0", "\xFF", std::string_view("\0", 1),
      "12345678", "123456789:", "123456789012345:", "1234567890123456", "87654321x", "9\xBA",
      "9223372036854775807", "9223372036854775808", "-9223372036854775808", "-9223372036854775809",
      "18446744073709551615", "18446744073709551616", "-18446744073709551615",
      "-18446744073709551616"};
  // clang-format on

  template <typename Compare>
  static std::string Told(const std::string& text, Compare compare) {
    const std::string difference = compare(text);
    return difference.empty() ? difference : difference + " in \"" + text + '"';
  }

  std::string Mutated() {
    std::vector<ListRecord> records(Below(4));
    for (ListRecord& record : records) {
      record.name = std::string(Below(12), 'n');
      record.status = static_cast<int>(Below(6));
      record.itemId = static_cast<long long>(random_() >> Below(64));
      record.lock = static_cast<int>(Below(4));
      record.lockHolder = "1:2";
      record.lockTime = static_cast<long>(Below(2'000'000'000));
    }
    std::string text = ListText(records);
    for (unsigned i = Below(3); i > 0; --i) {
      const std::string_view fragment = kFragments[Below(std::size(kFragments))];
      text.replace(Below(text.size()), Below(3), fragment);
    }
    return text;
  }

  unsigned Below(std::size_t limit) { return static_cast<unsigned>(random_() % limit); }

  std::mt19937_64 random_;
};

}  // namespace kelvo::test

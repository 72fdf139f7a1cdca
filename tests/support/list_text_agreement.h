// Whether the decoder and plain formatted extraction agree about a text.
#pragma once

#include <algorithm>
#include <cstddef>
#include <istream>
#include <memory>
#include <sstream>
#include <streambuf>
#include <string>
#include <tuple>
#include <utility>

#include "agent/sync_status_list_response.h"
#include "agent/text_decoder.h"
#include "bench/istream_decoder.h"

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

// The same text, read with formatted extraction and with two decoders: from memory and in pieces.
class ListTextComparison {
 public:
  explicit ListTextComparison(const std::string& text)
      : plain_(text), memory_(text), trickle_(text, 3), pieces_(&trickle_) {}

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
  template <typename T>
  static bool Decode(CTextDecoder& decoder, T& value) {
    try {
      decoder >> value;
      return true;
    } catch (const CTextDecodingException&) {
      return false;
    }
  }

  template <typename T>
  std::string CompareRead() {
    T expected{}, fromMemory{}, fromPieces{};
    const bool good = plainDecoder_.Read(expected);
    if (Decode(memoryDecoder_, fromMemory) != good) return "accepted by one only";
    if (Decode(piecesDecoder_, fromPieces) != good) return "accepted in one form only";
    if (!good) return {};
    if (fromMemory != expected || fromPieces != expected) return "different values";
    return ComparePositions();
  }

  std::string CompareEnd() {
    const bool end = plainDecoder_.AtEnd();
    if (memoryDecoder_.eof() != end || piecesDecoder_.eof() != end) return "different ends";
    return end ? std::string() : ComparePositions();
  }

  std::string ComparePositions() {
    const auto position = [](std::istream& stream) {
      return static_cast<std::ptrdiff_t>(
          stream.rdbuf()->pubseekoff(0, std::ios_base::cur, std::ios_base::in));
    };
    const std::ptrdiff_t expected = position(plain_);
    const bool same = position(memory_) == expected && trickle_.Position() == expected;
    return same ? "" : "different positions";
  }

  std::istringstream plain_;
  std::istringstream memory_;
  TrickleBuffer trickle_;
  std::istream pieces_;
  IstreamDecoder plainDecoder_{&plain_};
  CTextDecoder memoryDecoder_{&memory_};
  CTextDecoder piecesDecoder_{&pieces_};
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
  while (count-- > 0) {
    if (!response->Next()) return "walk ended early";
    SSyncApiItemStatus item;
    if (!ReadRecord(plain, item)) break;
    if (std::make_tuple(response->Name(), response->FileId(), response->ItemId(),
                        response->Status(), response->Lock(), response->LockHolder(),
                        response->LockTime(), response->ModifiedBy(), response->Permissions(),
                        response->Denied(), response->Folder()) !=
        std::make_tuple(item.path, item.fileId, item.itemId, item.status, item.lock,
                        item.lockHolder, item.lockTime, item.modifiedBy, item.permissions,
                        item.denied, item.folder)) {
      return "different records";
    }
  }
  return response->Next() ? "walk does not end" : "";
}

}  // namespace kelvo::test

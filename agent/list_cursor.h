#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <type_traits>

#include "agent/text_decoder.h"
#include "agent/text_number.h"

namespace kelvo {

// Reads the Agent's text where it lies in memory: the grammar and the errors of CTextDecoder, with
// views into the text for strings, and without taking memory.
//
// A value: loops that copy it into a local variable let the compiler keep it in registers.
// Threads: one at a time. Lifetime: the text must outlive it and its views.
class CListCursor {
 public:
  CListCursor() = default;
  explicit CListCursor(std::string_view text) : at_(text.data()), end_(at_ + text.size()) {}

  KELVO_ALWAYS_INLINE CListCursor& operator>>(std::string_view& target) {
    unsigned long length;
    *this >> length;
    if (length > static_cast<std::size_t>(end_ - at_)) Fail(text_number::kStringSignature);
    target = {at_, length};
    at_ += length;
    return *this;
  }

  // int, long, long long, unsigned long and the four enumerations, which are read as int.
  template <typename T>
  KELVO_ALWAYS_INLINE CListCursor& operator>>(T& target) {
    using Number = typename std::conditional_t<std::is_enum_v<T>, std::underlying_type<T>,
                                               std::type_identity<T>>::type;
    text_number::Taken taken = text_number::TakePlain<Number>(at_, end_);
    if (taken.next == nullptr) [[unlikely]] {
      taken = TakeCarefully<Number>(at_, end_);
      if (taken.next == nullptr) Fail(text_number::kSignature<T>);
    }
    at_ = taken.next;
    target = static_cast<T>(taken.number);
    return *this;
  }

  // The next four numbers, if they are what text_number::TakeUsualFour takes; else reads nothing.
  KELVO_ALWAYS_INLINE bool TakeUsualFour(int (&numbers)[4]) {
    const text_number::FourTaken taken = text_number::TakeUsualFour(at_, end_);
    if (taken.next == nullptr) return false;
    at_ = taken.next;
    std::copy(std::begin(taken.numbers), std::end(taken.numbers), numbers);
    return true;
  }

  // Whether the text has ended; so it has after a failure.
  bool eof() const { return at_ == end_; }
  // What has not been read.
  std::string_view Rest() const { return {at_, static_cast<std::size_t>(end_ - at_)}; }

 private:
  // Any form of a number and its separator; nothing when it does not follow the encoding.
  template <typename Number>
  static text_number::Taken TakeCarefully(const char* at, const char* end);
  [[noreturn]] void Fail(const char* signature) {
    at_ = end_;
    Throw(signature);
  }
  [[noreturn]] static void Throw(const char* signature);

  const char* at_ = nullptr;
  const char* end_ = nullptr;
};

extern template text_number::Taken CListCursor::TakeCarefully<int>(const char*, const char*);
extern template text_number::Taken CListCursor::TakeCarefully<long>(const char*, const char*);
extern template text_number::Taken CListCursor::TakeCarefully<long long>(const char*, const char*);
extern template text_number::Taken CListCursor::TakeCarefully<unsigned long>(const char*,
                                                                             const char*);

}  // namespace kelvo

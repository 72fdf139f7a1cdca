// How the Agent's text writes a number, shared by whatever reads that text. Stateless: any thread.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "agent/sync_enums.h"

namespace kelvo::text_number {

inline constexpr char kStringSignature[] =
    "kelvo::CTextDecoder &kelvo::CTextDecoder::operator>>(std::string &)";

#define KELVO_NUMBER_SIGNATURE(type) \
  "kelvo::CTextDecoder &kelvo::CTextDecoder::operator>>(T &) [T = " type "]"

// What the exception says of an operator that has failed.
template <typename T>
inline constexpr const char* kSignature = nullptr;
template <>
inline constexpr const char* kSignature<int> = KELVO_NUMBER_SIGNATURE("int");
template <>
inline constexpr const char* kSignature<long> = KELVO_NUMBER_SIGNATURE("long");
template <>
inline constexpr const char* kSignature<long long> = KELVO_NUMBER_SIGNATURE("long long");
template <>
inline constexpr const char* kSignature<unsigned long> = KELVO_NUMBER_SIGNATURE("unsigned long");
template <>
inline constexpr const char* kSignature<sync::ESyncItemStatus> =
    KELVO_NUMBER_SIGNATURE("kelvo::sync::ESyncItemStatus");
template <>
inline constexpr const char* kSignature<sync::ESyncItemLock> =
    KELVO_NUMBER_SIGNATURE("kelvo::sync::ESyncItemLock");
template <>
inline constexpr const char* kSignature<sync::EItemPermissions> =
    KELVO_NUMBER_SIGNATURE("kelvo::sync::EItemPermissions");
template <>
inline constexpr const char* kSignature<sync::EPermissionsDenied> =
    KELVO_NUMBER_SIGNATURE("kelvo::sync::EPermissionsDenied");
#undef KELVO_NUMBER_SIGNATURE

// A loop over numbers keeps its place in a register only if all of it is one function.
#define KELVO_ALWAYS_INLINE [[gnu::always_inline]] inline

inline bool IsSpace(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
inline bool IsDigit(int c) { return c >= '0' && c <= '9'; }

// Takes a number as formatted extraction in the classic locale does: white space, one sign, all
// digits. False without a digit or beyond the range of T; a negative unsigned number wraps around.
// `Source` is read as a stream buffer is.
template <typename T, typename Source>
bool Extract(Source& in, T* value) {
  int c = in.sgetc();
  while (IsSpace(c)) c = in.snextc();
  const bool negative = c == '-';
  if (negative || c == '+') c = in.snextc();
  if (!IsDigit(c)) return false;

  constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t magnitude = 0;
  bool overflow = false;
  for (; IsDigit(c); c = in.snextc()) {
    const auto digit = static_cast<std::uint64_t>(c - '0');
    overflow = overflow || magnitude > (kMax - digit) / 10;
    magnitude = magnitude * 10 + digit;
  }
  const std::uint64_t limit = static_cast<std::uint64_t>(std::numeric_limits<T>::max()) +
                              (std::is_signed_v<T> && negative ? 1 : 0);
  if (overflow || magnitude > limit) return false;
  *value = static_cast<T>(negative ? std::uint64_t{0} - magnitude : magnitude);
  return true;
}

// Eight bytes of text, the first lowest.
inline std::uint64_t Load(const char* bytes) {
  std::uint64_t block;
  std::memcpy(&block, bytes, sizeof block);
  if constexpr (std::endian::native == std::endian::big) block = __builtin_bswap64(block);
  return block;
}

inline constexpr std::uint64_t kZeros = 0x3030303030303030;  // eight digits 0

// The highest bit of each byte of `values`, a block of text less kZeros, that is no digit. Behind
// one that carries over, a 9 may be taken for one, too; never anything else for a digit.
inline std::uint64_t NotDigits(std::uint64_t values) {
  return ((values + 0x7676767676767676) | values) & 0x8080808080808080;
}

// Digits at the start of a block of text, all eight at once.
struct Digits {
  explicit Digits(std::uint64_t block)
      : values(block ^ kZeros), bits(std::countr_zero(NotDigits(values)) & ~7) {}
  // Only for at least one digit.
  std::uint64_t Number() const {
    constexpr std::uint64_t kEveryFourth = 0x000000FF000000FF;
    std::uint64_t pairs = values << (64 - bits);
    pairs = pairs * 10 + (pairs >> 8);
    return ((pairs & kEveryFourth) * (100 + (std::uint64_t{1000000} << 32)) +
            ((pairs >> 16) & kEveryFourth) * (1 + (std::uint64_t{10000} << 32))) >>
           32;
  }
  std::uint64_t values;
  int bits;  // eight for each digit
};

inline constexpr std::ptrdiff_t kBlock = 8;
inline constexpr std::uint32_t kPowersOfTen[] = {1,      10,      100,       1000,
                                                 10'000, 100'000, 1'000'000, 10'000'000};

struct Taken {
  const char* next;  // where the text goes on; null when nothing was taken
  std::uint64_t number;
};

// What TakePlain takes, of three digits and more. The usual lengths have branches of their own,
// though one way would do for all: where the processor guesses the branch it goes on to what
// follows before it has worked out where that is.
inline Taken TakeLong(const char* at) {
  const Digits first(Load(at));
  if (first.bits == 32) return {at + 5, first.Number()};
  if (first.bits < 64) return {at + first.bits / 8 + 1, first.Number()};
  at += kBlock;
  const Digits second(Load(at));
  if (second.bits == 0) return {at + 1, first.Number()};
  if (second.bits == 64) return {nullptr, 0};
  const std::uint64_t number = first.Number() * kPowersOfTen[second.bits / 8] + second.Number();
  return {second.bits == 16 ? at + 3 : at + second.bits / 8 + 1, number};
}

// The form in which Agents write: up to 15 digits and one separator. Takes nothing of any other
// form, of a number beyond the range of T, and near the end of the text.
template <typename T>
KELVO_ALWAYS_INLINE Taken TakePlain(const char* at, const char* end) {
  if (end - at < 2 * kBlock) return {nullptr, 0};
  const unsigned ones = static_cast<unsigned char>(at[0]) - unsigned{'0'};
  if (ones > 9) return {nullptr, 0};
  const unsigned next = static_cast<unsigned char>(at[1]) - unsigned{'0'};
  if (next > 9) return {at + 2, ones};
  if (!IsDigit(at[2])) return {at + 3, 10 * ones + next};
  const Taken taken = TakeLong(at);
  if (taken.number > static_cast<std::uint64_t>(std::numeric_limits<T>::max())) return {nullptr, 0};
  return taken;
}

// Four numbers in a row of one, one, four and one digit, as "1:0:1064:0:" has them; recognised in
// one look, since nearly every record has such a row. Takes nothing of any other form.
struct FourTaken {
  const char* next;  // as in Taken
  int numbers[4];
};

KELVO_ALWAYS_INLINE FourTaken TakeUsualFour(const char* at, const char* end) {
  if (end - at < 2 * kBlock) return {nullptr, {}};
  const std::uint64_t values = Load(at) ^ kZeros;
  const unsigned last = static_cast<unsigned char>(at[9]) - unsigned{'0'};
  // Others than digits are the second and the fourth, and behind these the first and the third.
  const bool isUsual =
      NotDigits(values) == 0x80008000 && !IsDigit(at[8]) && last <= 9 && !IsDigit(at[10]);
  if (!isUsual) return {nullptr, {}};
  const auto digit = [values](int byte) { return static_cast<int>(values >> 8 * byte & 0xFF); };
  const int four = digit(4) * 1000 + digit(5) * 100 + digit(6) * 10 + digit(7);
  return {at + 11, {digit(0), digit(2), four, static_cast<int>(last)}};
}

}  // namespace kelvo::text_number

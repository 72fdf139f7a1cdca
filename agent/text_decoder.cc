#include "agent/text_decoder.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <streambuf>
#include <type_traits>
#include <utility>

namespace kelvo {
namespace {

constexpr int kEnd = std::char_traits<char>::eof();
// A string that the buffer does not hold whole is read in pieces, so that a length which lies costs
// no more than the bytes that are there.
constexpr unsigned long kSmallestPiece = 512;
constexpr unsigned long kLargestPiece = 65536;

constexpr char kStringSignature[] =
    "kelvo::CTextDecoder &kelvo::CTextDecoder::operator>>(std::string &)";

#define KELVO_NUMBER_SIGNATURE(type) \
  "kelvo::CTextDecoder &kelvo::CTextDecoder::operator>>(T &) [T = " type "]"

template <typename T>
constexpr const char* kNumberSignature = nullptr;
template <>
constexpr const char* kNumberSignature<int> = KELVO_NUMBER_SIGNATURE("int");
template <>
constexpr const char* kNumberSignature<long> = KELVO_NUMBER_SIGNATURE("long");
template <>
constexpr const char* kNumberSignature<long long> = KELVO_NUMBER_SIGNATURE("long long");
template <>
constexpr const char* kNumberSignature<unsigned long> = KELVO_NUMBER_SIGNATURE("unsigned long");
template <>
constexpr const char* kNumberSignature<sync::ESyncItemStatus> =
    KELVO_NUMBER_SIGNATURE("kelvo::sync::ESyncItemStatus");
template <>
constexpr const char* kNumberSignature<sync::ESyncItemLock> =
    KELVO_NUMBER_SIGNATURE("kelvo::sync::ESyncItemLock");
template <>
constexpr const char* kNumberSignature<sync::EItemPermissions> =
    KELVO_NUMBER_SIGNATURE("kelvo::sync::EItemPermissions");
template <>
constexpr const char* kNumberSignature<sync::EPermissionsDenied> =
    KELVO_NUMBER_SIGNATURE("kelvo::sync::EPermissionsDenied");

[[noreturn]] void Fail(std::istream& stream, const char* signature) {
  stream.setstate(std::ios_base::failbit);
  throw CTextDecodingException(signature);
}

bool IsSpace(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsDigit(int c) { return c >= '0' && c <= '9'; }

// What a stream's buffer holds already, to be read without a call for each byte.
class GetArea : public std::streambuf {
 public:
  static const char* Begin(const std::streambuf& in) { return (in.*&GetArea::gptr)(); }
  static const char* End(const std::streambuf& in) { return (in.*&GetArea::egptr)(); }
  static void Take(std::streambuf& in, int count) { (in.*&GetArea::gbump)(count); }
};

// Takes a number as formatted extraction in the classic locale does: white space, one sign, all
// digits. False without a digit or beyond the range of T; a negative unsigned number wraps around.
template <typename T>
bool ExtractNumber(std::streambuf& in, T* value) {
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

// The form in which Agents write: digits and a separator, whole in the buffer. False, with nothing
// taken, for any other form and for a number that might be too large.
template <typename T>
bool TakePlainNumber(std::streambuf& in, T* value) {
  constexpr std::ptrdiff_t kMaxDigits = std::numeric_limits<T>::digits10;
  const char* const begin = GetArea::Begin(in);
  const std::ptrdiff_t size = std::min(GetArea::End(in) - begin, kMaxDigits + 1);
  std::uint64_t number = 0;
  for (std::ptrdiff_t i = 0; i < size; ++i) {
    if (!IsDigit(begin[i])) {
      if (i == 0) return false;
      *value = static_cast<T>(number);
      GetArea::Take(in, static_cast<int>(i + 1));
      return true;
    }
    number = number * 10 + static_cast<std::uint64_t>(begin[i] - '0');
  }
  return false;
}

// A number and the one separator after it, whatever it is.
template <typename T>
bool TakeNumber(std::streambuf& in, T* value) {
  return TakePlainNumber(in, value) || (ExtractNumber(in, value) && in.sbumpc() != kEnd);
}

template <typename T>
T ReadNumber(std::istream& stream, const char* signature) {
  T value;
  if (!stream.good() || !TakeNumber(*stream.rdbuf(), &value)) Fail(stream, signature);
  return value;
}

// Whether a stream that knows its end has fewer bytes left than `length`; it is at its end then, as
// after reading them.
bool RunsOut(std::streambuf& in, unsigned long length) {
  const std::streamoff here = in.pubseekoff(0, std::ios_base::cur, std::ios_base::in);
  const std::streamoff end = in.pubseekoff(0, std::ios_base::end, std::ios_base::in);
  if (here < 0 || end < here) return false;
  if (static_cast<unsigned long>(end - here) < length) return true;
  in.pubseekpos(here, std::ios_base::in);
  return false;
}

}  // namespace

CTextDecoder::CTextDecoder(std::istream* stream) : stream_(stream) {}

CTextDecoder& CTextDecoder::operator>>(std::string& target) {
  unsigned long length;
  *this >> length;
  std::streambuf& in = *stream_->rdbuf();
  const char* const begin = GetArea::Begin(in);
  if (length <= kLargestPiece && length <= static_cast<unsigned long>(GetArea::End(in) - begin)) {
    target.assign(begin, length);
    GetArea::Take(in, static_cast<int>(length));
    return *this;
  }
  if (RunsOut(in, length)) Fail(*stream_, kStringSignature);
  std::string text;  // the target keeps its value when the read fails
  while (length > 0) {
    const std::streamsize available = std::max<std::streamsize>(in.in_avail(), 0);
    const unsigned long piece = std::min(
        length, std::clamp(static_cast<unsigned long>(available), kSmallestPiece, kLargestPiece));
    char* bytes = buffer_.Get(piece);
    const auto wanted = static_cast<std::streamsize>(piece);
    if (in.sgetn(bytes, wanted) != wanted) Fail(*stream_, kStringSignature);
    text.append(bytes, piece);
    length -= piece;
  }
  target = std::move(text);
  return *this;
}

template <typename T>
CTextDecoder& CTextDecoder::operator>>(T& target) {
  using Number = std::conditional_t<std::is_enum_v<T>, int, T>;
  target = static_cast<T>(ReadNumber<Number>(*stream_, kNumberSignature<T>));
  return *this;
}

bool CTextDecoder::eof() {
  stream_->get();
  if (stream_->fail()) return true;
  stream_->unget();
  return false;
}

template CTextDecoder& CTextDecoder::operator>>(int&);
template CTextDecoder& CTextDecoder::operator>>(long&);
template CTextDecoder& CTextDecoder::operator>>(long long&);
template CTextDecoder& CTextDecoder::operator>>(unsigned long&);
template CTextDecoder& CTextDecoder::operator>>(sync::ESyncItemStatus&);
template CTextDecoder& CTextDecoder::operator>>(sync::ESyncItemLock&);
template CTextDecoder& CTextDecoder::operator>>(sync::EItemPermissions&);
template CTextDecoder& CTextDecoder::operator>>(sync::EPermissionsDenied&);

}  // namespace kelvo

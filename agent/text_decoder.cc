#include "agent/text_decoder.h"

#include <algorithm>
#include <cstddef>
#include <streambuf>
#include <type_traits>
#include <utility>

#include "agent/text_number.h"

namespace kelvo {
namespace {

constexpr int kEnd = std::char_traits<char>::eof();
// A string that the buffer does not hold whole is read in pieces, so that a length which lies costs
// no more than the bytes that are there.
constexpr unsigned long kSmallestPiece = 512;
constexpr unsigned long kLargestPiece = 65536;

[[noreturn]] void Fail(std::istream& stream, const char* signature) {
  stream.setstate(std::ios_base::failbit);
  throw CTextDecodingException(signature);
}

// What a stream's buffer holds already, to be read without a call for each byte.
class GetArea : public std::streambuf {
 public:
  static const char* Begin(const std::streambuf& in) { return (in.*&GetArea::gptr)(); }
  static const char* End(const std::streambuf& in) { return (in.*&GetArea::egptr)(); }
  static void Take(std::streambuf& in, int count) { (in.*&GetArea::gbump)(count); }
};

// The form in which Agents write, whole in the buffer. False, with nothing taken, for any other.
template <typename T>
bool TakePlainNumber(std::streambuf& in, T* value) {
  const char* const begin = GetArea::Begin(in);
  const text_number::Taken taken = text_number::TakePlain<T>(begin, GetArea::End(in));
  if (taken.next == nullptr) return false;
  GetArea::Take(in, static_cast<int>(taken.next - begin));
  *value = static_cast<T>(taken.number);
  return true;
}

// A number and the one separator after it, whatever it is.
template <typename T>
bool TakeNumber(std::streambuf& in, T* value) {
  return TakePlainNumber(in, value) || (text_number::Extract(in, value) && in.sbumpc() != kEnd);
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
  if (RunsOut(in, length)) Fail(*stream_, text_number::kStringSignature);
  std::string text;  // the target keeps its value when the read fails
  while (length > 0) {
    const std::streamsize available = std::max<std::streamsize>(in.in_avail(), 0);
    const unsigned long piece = std::min(
        length, std::clamp(static_cast<unsigned long>(available), kSmallestPiece, kLargestPiece));
    char* bytes = buffer_.Get(piece);
    const auto wanted = static_cast<std::streamsize>(piece);
    if (in.sgetn(bytes, wanted) != wanted) Fail(*stream_, text_number::kStringSignature);
    text.append(bytes, piece);
    length -= piece;
  }
  target = std::move(text);
  return *this;
}

template <typename T>
CTextDecoder& CTextDecoder::operator>>(T& target) {
  using Number = std::conditional_t<std::is_enum_v<T>, int, T>;
  target = static_cast<T>(ReadNumber<Number>(*stream_, text_number::kSignature<T>));
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

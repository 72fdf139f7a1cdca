#include "agent/list_cursor.h"

#include <cstdint>
#include <string>

namespace kelvo {
namespace {

// A text in memory, read as a stream buffer is.
struct Bytes {
  int sgetc() const {
    return at == end ? std::char_traits<char>::eof() : std::char_traits<char>::to_int_type(*at);
  }
  int snextc() {
    ++at;
    return sgetc();
  }
  const char* at;
  const char* end;
};

}  // namespace

template <typename Number>
text_number::Taken CListCursor::TakeCarefully(const char* at, const char* end) {
  Bytes bytes{at, end};
  Number number;
  if (!text_number::Extract(bytes, &number) || bytes.at == end) return {nullptr, 0};
  return {bytes.at + 1, static_cast<std::uint64_t>(number)};
}

void CListCursor::Throw(const char* signature) { throw CTextDecodingException(signature); }

template text_number::Taken CListCursor::TakeCarefully<int>(const char*, const char*);
template text_number::Taken CListCursor::TakeCarefully<long>(const char*, const char*);
template text_number::Taken CListCursor::TakeCarefully<long long>(const char*, const char*);
template text_number::Taken CListCursor::TakeCarefully<unsigned long>(const char*, const char*);

}  // namespace kelvo

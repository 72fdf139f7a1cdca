#pragma once

#include <istream>
#include <stdexcept>
#include <string>

#include "agent/sync_enums.h"
#include "base/temp_buffer.h"

namespace kelvo {

// Text of the Agent that does not follow the encoding; what() is the signature of the operator that
// failed, a literal.
class CTextDecodingException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads the Agent's length-prefixed text: a number is decimal and followed by one separator, a
// string is its length in bytes as a number and then exactly these bytes.
//
// Threads: one at a time. Lifetime: the stream must outlive it.
// Errors: every operator throws CTextDecodingException; the target is then unspecified. No length
// is trusted: it is compared with the bytes that are left before memory is taken; where a stream
// does not know how many those are, a string is read in pieces.
class CTextDecoder {
 public:
  explicit CTextDecoder(std::istream* stream);

  CTextDecoder& operator>>(std::string& target);
  // int, long, long long, unsigned long and the four enumerations, which are read as int.
  template <typename T>
  CTextDecoder& operator>>(T& target);

  // Whether the text has ended. True for a stream that has failed, too.
  bool eof();

 private:
  std::istream* stream_;
  CTempBuffer<512, char> buffer_;
};

extern template CTextDecoder& CTextDecoder::operator>>(int&);
extern template CTextDecoder& CTextDecoder::operator>>(long&);
extern template CTextDecoder& CTextDecoder::operator>>(long long&);
extern template CTextDecoder& CTextDecoder::operator>>(unsigned long&);
extern template CTextDecoder& CTextDecoder::operator>>(sync::ESyncItemStatus&);
extern template CTextDecoder& CTextDecoder::operator>>(sync::ESyncItemLock&);
extern template CTextDecoder& CTextDecoder::operator>>(sync::EItemPermissions&);
extern template CTextDecoder& CTextDecoder::operator>>(sync::EPermissionsDenied&);

}  // namespace kelvo

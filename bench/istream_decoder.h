// The Agent's list text read the plain way, with formatted extraction: what the decoder is measured
// against, and what it must agree with.
#pragma once

#include <algorithm>
#include <istream>
#include <string>
#include <type_traits>
#include <vector>

#include "agent/sync_api_client.h"

namespace kelvo {

// Answers false where CTextDecoder throws.
class IstreamDecoder {
 public:
  explicit IstreamDecoder(std::istream* stream) : stream_(stream) {}

  template <typename T>
  bool Read(T& target) {
    std::conditional_t<std::is_enum_v<T>, int, T> number;
    if (!(*stream_ >> number) || !stream_->ignore(1, ':')) return false;
    target = static_cast<T>(number);
    return true;
  }

  bool Read(std::string& target) {
    unsigned long length;
    if (!Read(length)) return false;
    const auto left = std::max<std::streamsize>(stream_->rdbuf()->in_avail(), 0);
    if (length > static_cast<unsigned long>(left)) {
      stream_->setstate(std::ios_base::eofbit | std::ios_base::failbit);
      return false;
    }
    buffer_.resize(length);
    if (length > 0) stream_->read(buffer_.data(), static_cast<std::streamsize>(length));
    target.assign(buffer_.data(), length);
    return true;
  }

  bool AtEnd() {
    stream_->get();
    if (stream_->fail()) return true;
    stream_->unget();
    return false;
  }

 private:
  std::istream* stream_;
  std::vector<char> buffer_;
};

// One record as CSyncStatusListResponse takes it, for a user whom no record names; `item.path` is
// the name. What a failure leaves unread keeps its value.
inline bool ReadRecord(IstreamDecoder& decoder, SSyncApiItemStatus& item) {
  int type;
  long long itemId;
  if (!decoder.Read(item.path) || !decoder.Read(type) || !decoder.Read(item.status) ||
      !decoder.Read(item.permissions) || !decoder.Read(item.denied) ||
      !decoder.Read(item.modifiedBy) || !decoder.Read(item.fileId) || !decoder.Read(itemId)) {
    return false;
  }
  item.itemId = itemId;
  item.folder = type == 2;
  if (!decoder.Read(item.lock)) return false;
  if (item.lock == sync::ESyncItemLock::NO_SYNC_LOCK) {
    item.lockHolder.clear();
    item.lockTime = 0;
    return true;
  }
  long lockTime;
  if (!decoder.Read(item.lockHolder) || !decoder.Read(lockTime)) return false;
  item.lockTime = lockTime;
  if (item.lock == sync::ESyncItemLock::SYNC_LOCK_FOR_ME) item.lockHolder.clear();
  return true;
}

}  // namespace kelvo

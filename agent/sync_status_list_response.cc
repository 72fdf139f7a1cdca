#include "agent/sync_status_list_response.h"

#include <istream>
#include <streambuf>
#include <utility>

#include "base/logger.h"
#include "core/finder_configuration.h"

namespace kelvo {
namespace {

constexpr int kFolderType = 2;

// Reads a text where it lies; only ever read from, so the cast is safe.
class TextBuffer : public std::streambuf {
 public:
  explicit TextBuffer(const std::string& text) {
    char* begin = const_cast<char*>(text.data());
    setg(begin, begin, begin + text.size());
  }

 protected:
  pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                   std::ios_base::openmode /*mode*/) override {
    const off_type size = egptr() - eback();
    off_type position = offset;
    if (direction == std::ios_base::cur) position += gptr() - eback();
    if (direction == std::ios_base::end) position += size;
    if (position < 0 || position > size) return pos_type(off_type(-1));
    setg(eback(), eback() + position, egptr());
    return pos_type(position);
  }
  pos_type seekpos(pos_type position, std::ios_base::openmode mode) override {
    return seekoff(off_type(position), std::ios_base::beg, mode);
  }
};

}  // namespace

struct CSyncStatusListResponse::Input {
  explicit Input(const std::string& text) : buffer(text), stream(&buffer), decoder(&stream) {}
  TextBuffer buffer;
  std::istream stream;
  CTextDecoder decoder;
};

CSyncStatusListResponse::CSyncStatusListResponse(const CFinderConfiguration* configuration,
                                                 std::string path,
                                                 std::shared_ptr<const std::string> list)
    : configuration_(configuration),
      path_(std::move(path)),
      list_(std::move(list)),
      input_(std::make_unique<Input>(*list_)) {
  unsigned long count;
  input_->decoder >> count;
  remaining_ = count;
}

CSyncStatusListResponse::~CSyncStatusListResponse() = default;

bool CSyncStatusListResponse::Next() {
  if (remaining_ == 0) return false;
  --remaining_;
  try {
    ReadRecord();
  } catch (const CTextDecodingException& exception) {
    KELVO_LOG(kLogError, "SyncStatusListResponse exception: " << exception.what());
    remaining_ = 0;
  }
  return true;
}

void CSyncStatusListResponse::ReadRecord() {
  CTextDecoder& decoder = input_->decoder;
  int type;
  long long itemId;
  decoder >> name_ >> type >> status_ >> permissions_ >> denied_ >> modifiedBy_ >> fileId_ >>
      itemId;
  itemId_ = itemId;
  folder_ = type == kFolderType;
  if (configuration_ != nullptr && configuration_->IsUserMe(modifiedBy_)) modifiedBy_.clear();
  decoder >> lock_;
  if (lock_ == sync::ESyncItemLock::NO_SYNC_LOCK) {
    lockHolder_.clear();
    lockTime_ = 0;
    return;
  }
  long lockTime;
  decoder >> lockHolder_ >> lockTime;
  lockTime_ = lockTime;
  if (lock_ == sync::ESyncItemLock::SYNC_LOCK_FOR_ME) lockHolder_.clear();
}

}  // namespace kelvo

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo {

// Names without zero bytes, the oldest first, all in one block of memory, of which those that were
// taken out occupy half at most.
//
// Threads: one at a time.
class NameQueue {
 public:
  void Push(std::string_view name) {
    if (start_ > text_.size() / 2) {
      text_.erase(0, start_);
      start_ = 0;
    }
    text_.append(name).push_back('\0');
    ++size_;
  }
  // Takes the oldest out, `most` at most; they are valid until the next Push.
  std::vector<std::string_view> Take(std::size_t most) {
    std::vector<std::string_view> names;
    names.reserve(most < size_ ? most : size_);
    for (; names.size() < most && size_ > 0; --size_) {
      const std::size_t end = text_.find('\0', start_);
      names.emplace_back(text_.data() + start_, end - start_);
      start_ = end + 1;
    }
    return names;
  }
  std::size_t Size() const { return size_; }

 private:
  std::string text_;
  std::size_t start_ = 0;  // of the oldest
  std::size_t size_ = 0;
};

}  // namespace kelvo

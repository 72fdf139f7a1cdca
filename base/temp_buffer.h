#pragma once

#include <cstddef>
#include <memory>

namespace kelvo {

// A buffer that needs no heap up to N elements.
//
// Threads: one at a time.
template <std::size_t N, typename T>
class CTempBuffer {
 public:
  // Room for `size` elements, their contents undefined; valid until the next Get or the end of the
  // object. A heap array is kept for a later larger request, and replaced only by a larger one.
  T* Get(std::size_t size) {
    if (size <= N) return inline_;
    if (size > heapSize_) {
      heap_.reset(new T[size]);  // not make_unique, which would clear it
      heapSize_ = size;
    }
    return heap_.get();
  }

 private:
  T inline_[N];
  std::unique_ptr<T[]> heap_;
  std::size_t heapSize_ = 0;
};

}  // namespace kelvo

#pragma once

#include <glib.h>

#include <utility>

namespace kelvo::tools {

// A source of the default main context, removed with its owner.
//
// A callback that answers G_SOURCE_REMOVE says Release() first.
class SourceId {
 public:
  SourceId() = default;
  explicit SourceId(guint id) : id_(id) {}
  SourceId(SourceId&& other) noexcept : id_(other.Release()) {}
  SourceId& operator=(SourceId&& other) noexcept {
    if (this != &other) Reset(other.Release());
    return *this;
  }
  ~SourceId() { Reset(); }

  explicit operator bool() const { return id_ != 0; }
  guint Release() { return std::exchange(id_, 0); }
  void Reset(guint id = 0) {
    if (id_ != 0) g_source_remove(id_);
    id_ = id;
  }

 private:
  guint id_ = 0;
};

}  // namespace kelvo::tools

// Owners of what GLib hands out.
#pragma once

#include <gio/gio.h>

#include <memory>

namespace kelvo {

namespace internal {

struct GLibRelease {
  void operator()(gpointer memory) const { g_free(memory); }
  void operator()(GError* error) const { g_error_free(error); }
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
  void operator()(GMainContext* context) const { g_main_context_unref(context); }
  void operator()(GDBusNodeInfo* node) const { g_dbus_node_info_unref(node); }
};

struct GObjectRelease {
  void operator()(gpointer object) const { g_object_unref(object); }
};

struct GSourceDestroy {
  void operator()(GSource* source) const {
    g_source_destroy(source);
    g_source_unref(source);
  }
};

}  // namespace internal

template <typename T>
using GLibPtr = std::unique_ptr<T, internal::GLibRelease>;
template <typename T>
using GObjectPtr = std::unique_ptr<T, internal::GObjectRelease>;
// Takes the source from its context, too; also from inside its own callback.
using GSourcePtr = std::unique_ptr<GSource, internal::GSourceDestroy>;

// An owner to pass as the GError** of one call:
//   GErrorSlot error;
//   if (!g_something(error.out())) Log(error.text());
class GErrorSlot {
 public:
  GErrorSlot() = default;
  ~GErrorSlot() { g_clear_error(&error_); }
  GErrorSlot(const GErrorSlot&) = delete;
  GErrorSlot& operator=(const GErrorSlot&) = delete;

  GError** out() { return &error_; }
  const GError* get() const { return error_; }
  const char* text() const { return error_ == nullptr ? "no reason given" : error_->message; }

 private:
  GError* error_ = nullptr;
};

}  // namespace kelvo

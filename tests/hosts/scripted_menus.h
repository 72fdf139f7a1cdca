#pragma once

#include <gio/gio.h>

#include <cstddef>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/glib_ptr.h"

namespace kelvo {

using Strings = std::vector<std::string>;

// The menus of a scripted extension. They are served on GLib's own thread, so that a client that
// waits is answered, too.
class ScriptedMenus {
 public:
  explicit ScriptedMenus(GDBusConnection* connection) : connection_(connection) {
    filter_ = g_dbus_connection_add_filter(connection, OnMessage, this, nullptr);
  }
  ~ScriptedMenus() { g_dbus_connection_remove_filter(connection_, filter_); }

  // As text; lines from now on, for every selection.
  void Set(const char* lines) {
    const std::lock_guard lock(mutex_);
    lines_ = lines;
  }
  // While it hangs questions are kept; they are answered when it goes on.
  void Hang(bool hang) {
    const std::lock_guard lock(mutex_);
    hangs_ = hang;
    if (!hang) {
      for (const auto& question : kept_) Answer(question.get());
      kept_.clear();
    }
  }
  std::size_t Asked() const {
    const std::lock_guard lock(mutex_);
    return asked_;
  }
  std::string Client() const {
    const std::lock_guard lock(mutex_);
    return client_;
  }
  Strings Chosen() const {
    const std::lock_guard lock(mutex_);
    return chosen_;
  }

 private:
  static GDBusMessage* OnMessage(GDBusConnection*, GDBusMessage* message, gboolean incoming,
                                 gpointer self) {
    const char* const member = g_dbus_message_get_member(message);
    const bool asks = g_strcmp0(member, "MenuForItems") == 0;
    if (!incoming || (!asks && g_strcmp0(member, "ChooseMenuItem") != 0)) return message;
    auto* menus = static_cast<ScriptedMenus*>(self);
    const std::lock_guard lock(menus->mutex_);
    GObjectPtr<GDBusMessage> owner(message);
    if (asks) {
      ++menus->asked_;
      menus->client_ = g_dbus_message_get_sender(message);
      if (menus->hangs_) {
        menus->kept_.push_back(std::move(owner));
      } else {
        menus->Answer(message);
      }
    } else {
      menus->TakeChoice(message);
    }
    return nullptr;
  }
  void TakeChoice(GDBusMessage* choice) {
    GVariant* const body = g_dbus_message_get_body(choice);
    const GLibPtr<char> text(g_variant_print(body, FALSE));
    chosen_.emplace_back(text.get());
    guint serial = 0;
    g_variant_get_child(body, 0, "u", &serial);
    const GObjectPtr<GDBusMessage> reply(
        serial <= serial_ && serial_ - serial < 16
            ? g_dbus_message_new_method_reply(choice)
            : g_dbus_message_new_method_error_literal(
                  choice, "com.kelvo.FinderSync1.Error.StaleMenu", "too old"));
    g_dbus_connection_send_message(connection_, reply.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                   nullptr, nullptr);
  }
  void Answer(GDBusMessage* question) {
    const GObjectPtr<GDBusMessage> reply(g_dbus_message_new_method_reply(question));
    GVariant* const lines =
        g_variant_parse(G_VARIANT_TYPE("a(ussbsb)"), lines_.c_str(), nullptr, nullptr, nullptr);
    g_dbus_message_set_body(reply.get(), g_variant_new("(u@a(ussbsb))", ++serial_, lines));
    g_variant_unref(lines);
    g_dbus_connection_send_message(connection_, reply.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                   nullptr, nullptr);
  }

  GDBusConnection* const connection_;
  guint filter_;
  mutable std::mutex mutex_;
  std::string lines_ = "[(0, 'Lock', '', true, 'lock', false)]";
  std::vector<GObjectPtr<GDBusMessage>> kept_;
  Strings chosen_;
  std::string client_;
  std::size_t asked_ = 0;
  guint serial_ = 0;
  bool hangs_ = false;
};

}  // namespace kelvo

#pragma once

#include <gio/gio.h>

#include <string>

#include "platform/linux/glib_ptr.h"

namespace kelvo {

// The way from a file manager's process to the extension: a connection of its own to the session
// bus and the watch on the extension's name. Starts the extension by activation while it is
// wanted, after each failure or loss later than before.
//
// The connection is private, since the file manager's shared one ends the process when it closes,
// and since the extension keeps its books by connection.
//
// Threads: the main thread with the default main context. Nothing blocks.
class ExtensionLink {
 public:
  class Owner {
   public:
    // The extension owns its name. `owner`: its unique name.
    virtual void ExtensionUp(GDBusConnection* connection, const char* owner) = 0;
    // It has gone, or the bus has.
    virtual void ExtensionDown() = 0;
    // Asked when a pause is over: whether to try once more. Later, only Want does.
    virtual bool ExtensionWanted() = 0;

   protected:
    ~Owner() = default;
  };

  explicit ExtensionLink(Owner& owner);
  ~ExtensionLink();
  ExtensionLink(const ExtensionLink&) = delete;
  ExtensionLink& operator=(const ExtensionLink&) = delete;

  // The extension is needed. Cheap when it is there already or on its way.
  void Want();

 private:
  static void OnConnected(GObject* source, GAsyncResult* result, gpointer self);
  static void OnClosed(GDBusConnection* connection, gboolean vanished, GError* error,
                       gpointer self);
  static void OnAppeared(GDBusConnection* connection, const char* name, const char* owner,
                         gpointer self);
  static void OnVanished(GDBusConnection* connection, const char* name, gpointer self);
  static void OnStarted(GObject* source, GAsyncResult* result, gpointer self);
  static gboolean OnPauseOver(gpointer self);

  void Connect();
  void Adopt(GDBusConnection* connection);
  void Drop();
  void Start();
  void Pause();
  void SetPresent(bool present);

  enum class State {
    kNoBus,       // no connection
    kConnecting,  // on the way to one
    kAsking,      // connected, the owner of the name is not known yet
    kAbsent,      // nobody owns the name
    kStarting,    // the bus was asked to start the extension
    kPresent,
  };

  Owner& owner_;
  State state_ = State::kNoBus;
  GObjectPtr<GCancellable> cancel_;
  GObjectPtr<GDBusConnection> connection_;
  gulong closedHandler_ = 0;
  guint watch_ = 0;
  guint pauseTimer_ = 0;
  guint pauseSeconds_ = 0;   // of the last pause
  gint64 presentSince_ = 0;  // monotonic, microseconds
};

}  // namespace kelvo

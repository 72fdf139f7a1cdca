// The measure of the extension at rest: a GLib program that owns a bus name and does nothing else.
// With `kelvo_platform_linux` it loads the same libraries as the extension, which costs memory.
#include <gio/gio.h>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  const auto onLost = [](GDBusConnection*, const gchar*, gpointer mainLoop) {
    g_main_loop_quit(static_cast<GMainLoop*>(mainLoop));
  };
  g_bus_own_name(G_BUS_TYPE_SESSION, argv[1], G_BUS_NAME_OWNER_FLAGS_NONE, nullptr, nullptr, onLost,
                 loop, nullptr);
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
  return 0;
}

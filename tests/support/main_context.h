#pragma once

#include <glib.h>

#include <functional>

namespace kelvo::test {

// Turns the default main context until the condition holds; false when that takes too long.
inline bool TurnUntil(const std::function<bool()>& condition, guint seconds = 20) {
  bool late = false;
  const guint timer = g_timeout_add_seconds(
      seconds,
      [](gpointer flag) -> gboolean {
        *static_cast<bool*>(flag) = true;
        return G_SOURCE_CONTINUE;
      },
      &late);
  while (!late && !condition()) g_main_context_iteration(nullptr, TRUE);
  g_source_remove(timer);
  return condition();
}

}  // namespace kelvo::test

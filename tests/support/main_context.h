#pragma once

#include <glib.h>

#include <functional>

namespace kelvo::test {

// Turns the default main context, and looks every 50 ms at least, until the condition holds; false
// when that takes too long.
inline bool TurnUntil(const std::function<bool()>& condition, gint64 seconds = 30) {
  const gint64 end = g_get_monotonic_time() + seconds * G_USEC_PER_SEC;
  const guint tick = g_timeout_add(50, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, {});
  bool holds = false;
  while (!(holds = condition()) && g_get_monotonic_time() < end) {
    g_main_context_iteration(nullptr, TRUE);
  }
  g_source_remove(tick);
  return holds;
}

}  // namespace kelvo::test

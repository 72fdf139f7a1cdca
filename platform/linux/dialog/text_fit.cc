#include "platform/linux/dialog/text_fit.h"

#include <utility>
#include <vector>

namespace kelvo::dialog {
namespace {

// A window manager takes some frames to grant what new texts need.
constexpr int kFramesAtRest = 4;
constexpr gint64 kLongestWait = 2 * G_USEC_PER_SEC;

bool IsReadable(GtkLabel* label, GtkWidget* window) {
  PangoLayout* layout = gtk_label_get_layout(label);
  if (pango_layout_is_ellipsized(layout) || pango_layout_get_unknown_glyphs_count(layout) > 0) {
    return false;
  }
  GtkWidget* widget = GTK_WIDGET(label);
  int width = 0;
  int height = 0;
  pango_layout_get_pixel_size(layout, &width, &height);
  if (width > gtk_widget_get_width(widget) || height > gtk_widget_get_height(widget)) return false;
  graphene_rect_t place;
  if (!gtk_widget_compute_bounds(widget, window, &place)) return false;
  graphene_rect_t whole = GRAPHENE_RECT_INIT(0, 0, static_cast<float>(gtk_widget_get_width(window)),
                                             static_cast<float>(gtk_widget_get_height(window)));
  return graphene_rect_contains_rect(&whole, &place);
}

TextFit FitOf(GtkWidget* window) {
  TextFit fit;
  fit.width = gtk_widget_get_width(window);
  fit.height = gtk_widget_get_height(window);
  std::vector<GtkWidget*> left = {window};
  while (!left.empty()) {
    GtkWidget* widget = left.back();
    left.pop_back();
    if (!gtk_widget_get_mapped(widget)) continue;
    if (GTK_IS_LABEL(widget) && !IsReadable(GTK_LABEL(widget), window)) {
      fit.unreadableTexts += std::string(gtk_label_get_text(GTK_LABEL(widget))) + "\n";
    }
    for (GtkWidget* child = gtk_widget_get_first_child(widget); child != nullptr;
         child = gtk_widget_get_next_sibling(child)) {
      left.push_back(child);
    }
  }
  return fit;
}

struct Measurement {
  std::function<void(const TextFit& fit)> measured;
  gint64 begin = 0;  // of the first frame, in microseconds
  int framesAtRest = 0;
  int width = 0;
  int height = 0;
};

// Called before each frame is laid out, hence sees the frame before.
gboolean OnFrame(GtkWidget* window, GdkFrameClock* clock, gpointer data) {
  auto* measurement = static_cast<Measurement*>(data);
  const gint64 now = gdk_frame_clock_get_frame_time(clock);
  if (measurement->begin == 0) {
    measurement->begin = now;
    return G_SOURCE_CONTINUE;
  }
  const TextFit fit = FitOf(window);
  const bool rests = fit.width == measurement->width && fit.height == measurement->height;
  measurement->width = fit.width;
  measurement->height = fit.height;
  measurement->framesAtRest = rests ? measurement->framesAtRest + 1 : 0;
  const bool isGood = measurement->framesAtRest >= kFramesAtRest && fit.unreadableTexts.empty();
  if (!isGood && now < measurement->begin + kLongestWait) return G_SOURCE_CONTINUE;
  measurement->measured(fit);
  return G_SOURCE_REMOVE;
}

}  // namespace

void MeasureTexts(GtkWindow* window, std::function<void(const TextFit& fit)> measured) {
  gtk_widget_add_tick_callback(
      GTK_WIDGET(window), OnFrame, new Measurement{.measured = std::move(measured)},
      [](gpointer measurement) { delete static_cast<Measurement*>(measurement); });
}

}  // namespace kelvo::dialog

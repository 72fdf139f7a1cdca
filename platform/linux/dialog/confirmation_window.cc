#include "platform/linux/dialog/confirmation_window.h"

#include <optional>
#include <utility>

#include "platform/linux/dialog/complaint.h"
#include "platform/linux/dialog/x11_window.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo::dialog {
namespace {

constexpr char kCautionIcon[] = "dialog-warning";
constexpr char kFallbackIcon[] = "kelvo-finder-sync";
// What a window shows of a text that came from elsewhere, so that it stays on the screen.
constexpr glong kMostCharacters = 500;
constexpr int kMostLines = 6;

std::string Bounded(const std::string& text) {
  const char* end = text.c_str();
  int lines = 1;
  for (glong left = kMostCharacters; *end != '\0'; end = g_utf8_next_char(end), --left) {
    if (*end == '\n') ++lines;
    if (left == 0 || lines > kMostLines) return std::string(text.c_str(), end) + "…";
  }
  return text;
}

void SetText(GtkLabel* label, const std::string& text) {
  gtk_label_set_text(label, text.c_str());
  gtk_widget_set_visible(GTK_WIDGET(label), !text.empty());
}

void SetBox(GtkCheckButton* box, const std::optional<DialogCheckBox>& contents) {
  GtkWidget* widget = GTK_WIDGET(box);
  if (contents) {
    gtk_check_button_set_label(box, contents->title.c_str());
    if (!gtk_widget_get_visible(widget)) gtk_check_button_set_active(box, contents->isOn);
  }
  gtk_widget_set_visible(widget, contents.has_value());
}

bool IsOn(GtkCheckButton* box) {
  return gtk_widget_get_visible(GTK_WIDGET(box)) && gtk_check_button_get_active(box);
}

void SetPictureFile(GtkImage* image, const std::string& file) {
  const int size = gtk_image_get_pixel_size(image) * gtk_widget_get_scale_factor(GTK_WIDGET(image));
  GErrorSlot error;
  const GObjectPtr<GdkPixbuf> picture(
      gdk_pixbuf_new_from_file_at_size(file.c_str(), size, size, error.out()));
  if (picture == nullptr) {
    Complain("no picture from " + file + ": " + error.text());
    gtk_image_set_from_icon_name(image, kFallbackIcon);
    return;
  }
  const GObjectPtr<GdkTexture> texture(gdk_texture_new_for_pixbuf(picture.get()));
  gtk_image_set_from_paintable(image, GDK_PAINTABLE(texture.get()));
}

void SetPicture(GtkImage* image, const std::string& picture) {
  if (picture == kCautionImage) {
    gtk_image_set_from_icon_name(image, kCautionIcon);
  } else if (!picture.empty()) {
    SetPictureFile(image, picture);
  }
  gtk_widget_set_visible(GTK_WIDGET(image), !picture.empty());
}

template <typename Widget>
bool Find(GtkBuilder* builder, const char* id, GType type, Widget** outlet) {
  GObject* object = gtk_builder_get_object(builder, id);
  if (object == nullptr || !g_type_is_a(G_OBJECT_TYPE(object), type)) return false;
  *outlet = reinterpret_cast<Widget*>(object);
  return true;
}

}  // namespace

std::unique_ptr<ConfirmationWindow> ConfirmationWindow::Load(const std::string& interfaceFile,
                                                             Events events, std::string* error) {
  const GObjectPtr<GtkBuilder> builder(gtk_builder_new());
  GErrorSlot slot;
  if (!gtk_builder_add_from_file(builder.get(), interfaceFile.c_str(), slot.out())) {
    *error = slot.text();
    return nullptr;
  }
  std::unique_ptr<ConfirmationWindow> window(new ConfirmationWindow(std::move(events)));
  *error = window->FindOutlets(builder.get());
  if (!error->empty()) {
    *error = interfaceFile + ": " + *error;
    return nullptr;
  }
  window->Connect();
  return window;
}

ConfirmationWindow::~ConfirmationWindow() {
  if (window_ == nullptr) return;
  g_signal_handlers_disconnect_by_data(window_, this);
  gtk_window_destroy(window_);
}

std::string ConfirmationWindow::FindOutlets(GtkBuilder* builder) {
  const auto missing = [](const char* id, GType type) {
    return std::string("no ") + g_type_name(type) + " \"" + id + "\"";
  };
#define KELVO_OUTLET(id, type) \
  if (!Find(builder, #id, type, &id##_)) return missing(#id, type)
  KELVO_OUTLET(window, GTK_TYPE_WINDOW);
  KELVO_OUTLET(icon, GTK_TYPE_IMAGE);
  KELVO_OUTLET(informationText, GTK_TYPE_LABEL);
  KELVO_OUTLET(additionalInformation, GTK_TYPE_LABEL);
  KELVO_OUTLET(fileName, GTK_TYPE_LABEL);
  KELVO_OUTLET(dontShowAgainCheckBox, GTK_TYPE_CHECK_BUTTON);
  KELVO_OUTLET(openFileAfterLocking, GTK_TYPE_CHECK_BUTTON);
  KELVO_OUTLET(okButton, GTK_TYPE_BUTTON);
  KELVO_OUTLET(cancelButton, GTK_TYPE_BUTTON);
#undef KELVO_OUTLET
  return {};
}

void ConfirmationWindow::Connect() {
  // Only a box that was not visible takes the state of the contents.
  SetBox(dontShowAgainCheckBox_, std::nullopt);
  SetBox(openFileAfterLocking_, std::nullopt);

  using Self = ConfirmationWindow*;
  const auto onOk = +[](GtkButton*, gpointer self) { static_cast<Self>(self)->Close(true); };
  const auto onCancel = +[](GtkButton*, gpointer self) { static_cast<Self>(self)->Close(false); };
  const auto onCloseRequest = +[](GtkWindow*, gpointer self) -> gboolean {
    static_cast<Self>(self)->Close(false);
    return TRUE;
  };
  g_signal_connect(okButton_, "clicked", G_CALLBACK(onOk), this);
  g_signal_connect(cancelButton_, "clicked", G_CALLBACK(onCancel), this);
  g_signal_connect(window_, "close-request", G_CALLBACK(onCloseRequest), this);
  g_signal_connect_after(window_, "map", G_CALLBACK(OnMapped), this);

  GtkEventController* keys = gtk_event_controller_key_new();
  gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
  g_signal_connect(keys, "key-pressed", G_CALLBACK(OnKey), this);
  gtk_widget_add_controller(GTK_WIDGET(window_), keys);
}

void ConfirmationWindow::Update(const DialogContents& contents) {
  gtk_window_set_title(window_, contents.windowTitle.c_str());
  SetPicture(icon_, contents.image);
  SetText(informationText_, Bounded(contents.informationText));
  SetText(additionalInformation_, Bounded(contents.additionalInformation));
  SetText(fileName_, contents.fileName);
  // GTK 4.8 does not make a description of the relation that says whose text it is.
  gtk_accessible_update_property(GTK_ACCESSIBLE(window_), GTK_ACCESSIBLE_PROPERTY_DESCRIPTION,
                                 gtk_label_get_text(additionalInformation_), -1);
  SetBox(dontShowAgainCheckBox_, contents.dontShowAgainCheckBox);
  SetBox(openFileAfterLocking_, contents.openFileAfterLocking);
  gtk_button_set_label(okButton_, contents.okButton.c_str());
  gtk_button_set_label(cancelButton_, contents.cancelButton.value_or("").c_str());
  gtk_widget_set_visible(GTK_WIDGET(cancelButton_), contents.cancelButton.has_value());
}

void ConfirmationWindow::Present() {
  gtk_widget_grab_focus(GTK_WIDGET(okButton_));
  gtk_widget_realize(GTK_WIDGET(window_));
  MakeDialogOfWindowManager(window_);
  gtk_window_present(window_);
}

void ConfirmationWindow::ComeToFront(const std::string& activationToken) {
  if (!activationToken.empty()) gtk_window_set_startup_id(window_, activationToken.c_str());
  gtk_window_present(window_);
}

void ConfirmationWindow::Measure(std::function<void(const TextFit& fit)> measured) {
  MeasureTexts(window_, std::move(measured));
}

void ConfirmationWindow::OnMapped(GtkWidget* window, gpointer self) {
  auto* confirmation = static_cast<ConfirmationWindow*>(self);
  if (confirmation->isShown_) return;
  confirmation->isShown_ = true;
  // Asked for once more: a window is not taken to the front by its mere opening while its user
  // works in another.
  gtk_window_present(GTK_WINDOW(window));
  confirmation->events_.shown();
}

// Enter is OK from a check box, too, which would take it as a click.
gboolean ConfirmationWindow::OnKey(GtkEventControllerKey*, guint key, guint, GdkModifierType,
                                   gpointer self) {
  auto* confirmation = static_cast<ConfirmationWindow*>(self);
  if (key == GDK_KEY_Escape) {
    confirmation->Close(false);
    return TRUE;
  }
  const bool isEnter = key == GDK_KEY_Return || key == GDK_KEY_KP_Enter || key == GDK_KEY_ISO_Enter;
  if (!isEnter || gtk_widget_has_focus(GTK_WIDGET(confirmation->cancelButton_))) return FALSE;
  confirmation->Close(true);
  return TRUE;
}

void ConfirmationWindow::Close(bool ok) {
  if (isClosed_) return;
  isClosed_ = true;
  const DialogAnswer answer = {.ok = ok,
                               .dontShowAgain = IsOn(dontShowAgainCheckBox_),
                               .openFileAfterLocking = IsOn(openFileAfterLocking_)};
  // Gone from the screen before the answer is told: what follows may be the next window.
  gtk_widget_set_visible(GTK_WIDGET(window_), FALSE);
  gdk_display_sync(gtk_widget_get_display(GTK_WIDGET(window_)));
  events_.closed(answer);
}

}  // namespace kelvo::dialog

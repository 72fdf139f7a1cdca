#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/dialogs.h"
#include "platform/linux/dialog/text_fit.h"

namespace kelvo::dialog {

// The window of the interface file, with its outlets by their names there.
//
// Threads: main loop. Lifetime: outlives the loop's last turn; the window goes with it.
class ConfirmationWindow {
 public:
  struct Events {
    std::function<void()> shown;                             // once
    std::function<void(const DialogAnswer& answer)> closed;  // once; not destroyed in it
  };

  // Null with the reason when the file cannot be read or lacks an outlet.
  static std::unique_ptr<ConfirmationWindow> Load(const std::string& interfaceFile, Events events,
                                                  std::string* error);
  ~ConfirmationWindow();
  ConfirmationWindow(const ConfirmationWindow&) = delete;
  ConfirmationWindow& operator=(const ConfirmationWindow&) = delete;

  // A box shown before keeps its state.
  void Update(const DialogContents& contents);
  // Opens the window.
  void Present();
  // With what the desktop gave the user's choice; empty for none.
  void ComeToFront(const std::string& activationToken);
  // Tells, later, how the texts of the open window fit.
  void Measure(std::function<void(const TextFit& fit)> measured);

 private:
  explicit ConfirmationWindow(Events events) : events_(std::move(events)) {}

  // The reason when one is missing; empty when all are there.
  std::string FindOutlets(GtkBuilder* builder);
  void Connect();
  void Close(bool ok);
  static void OnMapped(GtkWidget* window, gpointer self);
  static gboolean OnKey(GtkEventControllerKey* controller, guint key, guint code,
                        GdkModifierType modifiers, gpointer self);

  const Events events_;
  bool isShown_ = false;
  bool isClosed_ = false;
  GtkWindow* window_ = nullptr;
  GtkImage* icon_ = nullptr;
  GtkLabel* informationText_ = nullptr;
  GtkLabel* additionalInformation_ = nullptr;
  GtkLabel* fileName_ = nullptr;
  GtkCheckButton* dontShowAgainCheckBox_ = nullptr;
  GtkCheckButton* openFileAfterLocking_ = nullptr;
  GtkButton* okButton_ = nullptr;
  GtkButton* cancelButton_ = nullptr;
};

}  // namespace kelvo::dialog

#pragma once

#include "platform/dialogs.h"

namespace kelvo {

class RunLoop;

// Dialogs as windows of the extension's own process. Threads: as Dialogs. Lifetime: outlives its
// windows, and `runLoop` both.
class MacDialogs : public Dialogs {
 public:
  explicit MacDialogs(RunLoop& runLoop) : runLoop_(runLoop) {}

  std::unique_ptr<DialogWindow> open(const DialogContents& contents, Closed closed) override;
  // The platform knows no such thing.
  void setActivationToken(const std::string& /*token*/) override {}

 private:
  RunLoop& runLoop_;
};

}  // namespace kelvo

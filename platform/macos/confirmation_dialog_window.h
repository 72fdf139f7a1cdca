// The window of a dialog, with the outlets that the dialogs' interface names.
#pragma once

#import <AppKit/AppKit.h>

#include "platform/dialogs.h"

namespace kelvo {

// Main thread.
class ConfirmationWindowEvents {
 public:
  // Once; the controller may be released in it later only, from the loop.
  virtual void windowWillClose(const DialogAnswer& answer) = 0;

 protected:
  ~ConfirmationWindowEvents() = default;
};

}  // namespace kelvo

@interface KelvoConfirmationDialogController : NSObject <NSWindowDelegate> {
  NSWindow* window;
  NSImageView* icon;
  NSTextField* informationText;
  NSTextField* additionalInformation;
  NSTextField* fileName;
  NSButton* dontShowAgainCheckBox;
  NSButton* openFileAfterLocking;
  NSButton* okButton;
  NSButton* cancelButton;
  NSInteger modalReturnCode;
  BOOL isClosing;
  kelvo::ConfirmationWindowEvents* events;
}

- (id)initWithContents:(const kelvo::DialogContents&)contents
                events:(kelvo::ConfirmationWindowEvents*)listener;
// A box shown before keeps its state.
- (void)update:(const kelvo::DialogContents&)contents;
// In front of the windows of all applications, without taking the keyboard from them.
- (void)makeKeyAndOrderFront;
// In front of the other applications, too, until the window closes; answers with 1 for OK and 0 for
// Cancel.
- (NSInteger)runModal;
// Closes the window, if it is not closing already, and tells nobody.
- (void)closeSilently;

- (void)OKButton:(id)sender;
- (void)CancelButton:(id)sender;

@end

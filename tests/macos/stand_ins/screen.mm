#include "tests/macos/stand_ins/screen.h"

#import <AppKit/AppKit.h>

#include <stdlib.h>

#include "platform/macos/confirmation_dialog_window.h"
#include "platform/macos/objc_support.h"

using kelvo::Utf8FromString;

namespace {

constexpr NSTimeInterval kLookInterval = 0.02;

NSArray* Windows() {
  NSMutableArray* shown = [NSMutableArray array];
  for (NSWindow* window in [NSApp windows]) {
    const bool isDialog =
        [[window delegate] isKindOfClass:[KelvoConfirmationDialogController class]];
    if (isDialog && [window isVisible]) [shown addObject:window];
  }
  return shown;
}

id Outlet(NSWindow* window, NSString* name) {
  return [(NSObject*)[window delegate] valueForKey:name];
}

}  // namespace

// Notes with what codes sessions are ended.
@interface KelvoTestApplication : NSApplication
@end

namespace {
std::vector<int> modalCodes;
}

@implementation KelvoTestApplication
- (void)stopModalWithCode:(NSInteger)code {
  modalCodes.push_back(static_cast<int>(code));
  [super stopModalWithCode:code];
}
@end

@interface KelvoModalLook : NSObject {
 @public
  std::function<bool()>* look;
}
@end

@implementation KelvoModalLook
- (void)dealloc {
  delete look;
  KELVO_OBJC_SUPER_DEALLOC();
}
- (void)lookAgain:(NSTimer*)timer {
  if ((*look)()) [timer invalidate];
}
@end

namespace kelvo::test {

bool Screen::Open() {
  if (getenv("DISPLAY") == nullptr) return false;
  @autoreleasepool {
    return [KelvoTestApplication sharedApplication] != nil;
  }
}

std::vector<ShownDialog> Screen::Dialogs() {
  std::vector<ShownDialog> dialogs;
  @autoreleasepool {
    for (NSWindow* window in Windows()) {
      ShownDialog dialog{Utf8FromString([window title]), {}, [NSApp modalWindow] == window};
      for (NSString *name in [NSArray
               arrayWithObjects:@"informationText", @"additionalInformation", @"fileName", nil]) {
        NSTextField* text = Outlet(window, name);
        if (![text isHidden]) {
          dialog.outlets[Utf8FromString(name)] = Utf8FromString([text stringValue]);
        }
      }
      for (NSString *name in
           [NSArray arrayWithObjects:@"okButton", @"cancelButton", @"dontShowAgainCheckBox",
                                     @"openFileAfterLocking", nil]) {
        NSButton* button = Outlet(window, name);
        if ([button isHidden]) continue;
        const bool isBox = [button action] == nullptr;
        const bool isOn = [button state] == NSControlStateValueOn;
        dialog.outlets[Utf8FromString(name)] =
            (isBox ? (isOn ? "[x] " : "[ ] ") : "") + Utf8FromString([button title]);
      }
      if ([(NSImageView*)Outlet(window, @"icon") image] != nil) dialog.outlets["icon"] = "picture";
      dialogs.push_back(dialog);
    }
  }
  return dialogs;
}

void Screen::Press(std::size_t dialog, const std::string& outlet) {
  @autoreleasepool {
    [Outlet([Windows() objectAtIndex:dialog], StringFromUtf8(outlet)) performClick:nil];
  }
}

void Screen::Close(std::size_t dialog) {
  @autoreleasepool {
    [[Windows() objectAtIndex:dialog] performClose:nil];
  }
}

std::vector<int> Screen::ModalCodes() { return modalCodes; }

void Screen::InModalSession(std::function<bool()> look) {
  @autoreleasepool {
    KelvoModalLook* target = KELVO_OBJC_AUTORELEASE([[KelvoModalLook alloc] init]);
    target->look = new std::function<bool()>(std::move(look));
    NSTimer* timer = [NSTimer timerWithTimeInterval:kLookInterval
                                             target:target
                                           selector:@selector(lookAgain:)
                                           userInfo:nil
                                            repeats:YES];
    [[NSRunLoop mainRunLoop] addTimer:timer forMode:NSModalPanelRunLoopMode];
  }
}

}  // namespace kelvo::test

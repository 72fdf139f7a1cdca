#include "platform/macos/confirmation_dialog_window.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include "platform/macos/objc_support.h"

namespace {

constexpr CGFloat kMargin = 20;
constexpr CGFloat kGap = 8;
constexpr CGFloat kIconSide = 64;
constexpr CGFloat kTextWidth = 360;
constexpr CGFloat kLeastButtonWidth = 90;
constexpr CGFloat kManyLines = 10000;
constexpr CGFloat kCellPadding = 4;

// The system's own; the core knows it by a word only.
NSString* const kCautionPicture =
    @"/System/Library/CoreServices/CoreTypes.bundle/Contents/Resources/AlertCautionIcon.icns";

NSTextField* MakeLabel(NSView* parent, NSFont* font) {
  NSTextField* label =
      KELVO_OBJC_AUTORELEASE([[NSTextField alloc] initWithFrame:NSMakeRect(0, 0, kTextWidth, 17)]);
  [label setEditable:NO];
  [label setBordered:NO];
  [label setBezeled:NO];
  [label setDrawsBackground:NO];
  [label setFont:font];
  [[label cell] setWraps:YES];
  [parent addSubview:label];
  return label;
}

NSButton* MakeButton(NSView* parent, id target, SEL action, NSString* key) {
  NSButton* button = KELVO_OBJC_AUTORELEASE(
      [[NSButton alloc] initWithFrame:NSMakeRect(0, 0, kLeastButtonWidth, 32)]);
  [button setTarget:target];
  [button setAction:action];
  [button setKeyEquivalent:key];
  if (action != nullptr) {
    [button setBezelStyle:NSBezelStyleRounded];
  } else {
    [button setButtonType:NSButtonTypeSwitch];
  }
  [parent addSubview:button];
  return button;
}

void SetText(NSTextField* label, const std::string& text) {
  NSString* shown = kelvo::StringFromUtf8(text);
  [label setStringValue:shown == nil ? @"" : shown];
  [label setHidden:[[label stringValue] length] == 0];
}

void SetTitle(NSButton* button, const std::string& title) {
  NSString* shown = kelvo::StringFromUtf8(title);
  [button setTitle:shown == nil ? @"" : shown];
}

void SetCheckBox(NSButton* box, const std::optional<kelvo::DialogCheckBox>& contents) {
  if (contents) {
    SetTitle(box, contents->title);
    if ([box isHidden])
      [box setState:contents->isOn ? NSControlStateValueOn : NSControlStateValueOff];
  }
  [box setHidden:!contents];
}

bool IsOn(NSButton* box) { return ![box isHidden] && [box state] == NSControlStateValueOn; }

// As many lines as its text takes.
CGFloat HeightOf(NSControl* line, CGFloat width) {
  const CGFloat least = [[line cell] cellSize].height;
  if (![line isKindOfClass:[NSTextField class]]) return least;
  const NSRect bounds = [[line attributedStringValue]
      boundingRectWithSize:NSMakeSize(width - 2 * kCellPadding, kManyLines)
                   options:NSStringDrawingUsesLineFragmentOrigin];
  return std::max(least, std::ceil(NSHeight(bounds)) + kCellPadding);
}

NSImage* PictureOf(const std::string& image) {
  if (image.empty()) return nil;
  NSString* file = image == kelvo::kCautionImage ? kCautionPicture : kelvo::StringFromUtf8(image);
  return KELVO_OBJC_AUTORELEASE([[NSImage alloc] initWithContentsOfFile:file]);
}

}  // namespace

@implementation KelvoConfirmationDialogController

- (id)initWithContents:(const kelvo::DialogContents&)contents
                events:(kelvo::ConfirmationWindowEvents*)listener {
  self = [super init];
  if (self == nil) return nil;
  window = [[NSWindow alloc] initWithContentRect:NSMakeRect(0, 0, kTextWidth, kIconSide)
                                       styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable
                                         backing:NSBackingStoreBuffered
                                           defer:NO];
  [window setReleasedWhenClosed:NO];
  NSView* view = [window contentView];
  icon = KELVO_OBJC_AUTORELEASE(
      [[NSImageView alloc] initWithFrame:NSMakeRect(0, 0, kIconSide, kIconSide)]);
  [icon setImageScaling:NSImageScaleProportionallyUpOrDown];
  [view addSubview:icon];
  informationText = MakeLabel(view, [NSFont boldSystemFontOfSize:[NSFont systemFontSize]]);
  additionalInformation = MakeLabel(view, [NSFont systemFontOfSize:[NSFont smallSystemFontSize]]);
  fileName = MakeLabel(view, [NSFont systemFontOfSize:[NSFont systemFontSize]]);
  dontShowAgainCheckBox = MakeButton(view, nil, nullptr, @"");
  openFileAfterLocking = MakeButton(view, nil, nullptr, @"");
  cancelButton = MakeButton(view, self, @selector(CancelButton:), @"\033");
  okButton = MakeButton(view, self, @selector(OKButton:), @"\r");
  [dontShowAgainCheckBox setHidden:YES];
  [openFileAfterLocking setHidden:YES];
  [self update:contents];
  events = listener;
  [window setDelegate:self];
  [window center];
  return self;
}

- (void)dealloc {
  [window setDelegate:nil];
  KELVO_OBJC_RELEASE(window);
  KELVO_OBJC_SUPER_DEALLOC();
}

- (void)update:(const kelvo::DialogContents&)contents {
  NSString* title = kelvo::StringFromUtf8(contents.windowTitle);
  [window setTitle:title == nil ? @"" : title];
  [icon setImage:PictureOf(contents.image)];
  SetText(informationText, contents.informationText);
  SetText(additionalInformation, contents.additionalInformation);
  SetText(fileName, contents.fileName);
  SetCheckBox(dontShowAgainCheckBox, contents.dontShowAgainCheckBox);
  SetCheckBox(openFileAfterLocking, contents.openFileAfterLocking);
  SetTitle(okButton, contents.okButton);
  SetTitle(cancelButton, contents.cancelButton.value_or(""));
  [cancelButton setHidden:!contents.cancelButton];
  [self layOut];
}

// Lines one below the other beside the picture, the buttons under them from the right. From the
// bottom up, as the view counts; the title bar stays where it is.
- (void)layOut {
  const CGFloat left = kMargin + kIconSide + kMargin;
  CGFloat width = kTextWidth;
  for (NSButton *box in
       [NSArray arrayWithObjects:openFileAfterLocking, dontShowAgainCheckBox, nil]) {
    if (![box isHidden]) width = std::max(width, [[box cell] cellSize].width);
  }
  CGFloat top = [self layOutButtonsUpTo:left + width];
  for (NSControl *line in
       [NSArray arrayWithObjects:openFileAfterLocking, dontShowAgainCheckBox, fileName,
                                 additionalInformation, informationText, nil]) {
    if ([line isHidden]) continue;
    const CGFloat height = HeightOf(line, width);
    [line setFrame:NSMakeRect(left, top, width, height)];
    top += height + kGap;
  }
  const CGFloat height = std::max(top - kGap, 2 * kMargin + kIconSide) + kMargin;
  [icon setFrame:NSMakeRect(kMargin, height - kMargin - kIconSide, kIconSide, kIconSide)];
  const NSRect former = [window frame];
  NSRect frame = [window frameRectForContentRect:NSMakeRect(0, 0, left + width + kMargin, height)];
  frame.origin = NSMakePoint(NSMinX(former), NSMaxY(former) - NSHeight(frame));
  [window setFrame:frame display:YES];
}

// Answers where the lines above them begin.
- (CGFloat)layOutButtonsUpTo:(CGFloat)right {
  CGFloat top = kMargin;
  for (NSButton *button in [NSArray arrayWithObjects:okButton, cancelButton, nil]) {
    if ([button isHidden]) continue;
    [button sizeToFit];
    const NSSize size = NSMakeSize(std::max([button frame].size.width, kLeastButtonWidth),
                                   [button frame].size.height);
    [button setFrame:NSMakeRect(right - size.width, kMargin, size.width, size.height)];
    right -= size.width + kGap;
    top = std::max(top, kMargin + size.height + kMargin);
  }
  return top;
}

- (void)makeKeyAndOrderFront {
  [window makeKeyAndOrderFront:nil];
  [window orderFrontRegardless];
}

- (NSInteger)runModal {
  if (isClosing) return modalReturnCode;
  NSApplication* application = [NSApplication sharedApplication];
  [application activateIgnoringOtherApps:YES];
  return [application runModalForWindow:window];
}

- (void)OKButton:(id)sender {
  (void)sender;
  modalReturnCode = 1;
  [window close];
}

- (void)CancelButton:(id)sender {
  (void)sender;
  modalReturnCode = 0;
  [window close];
}

- (void)windowWillClose:(NSNotification*)notification {
  (void)notification;
  if (isClosing) return;
  isClosing = YES;
  if ([NSApp modalWindow] == window) [self stopModal];
  if (events == nullptr) return;
  kelvo::ConfirmationWindowEvents* listener = events;
  events = nullptr;
  listener->windowWillClose({.ok = modalReturnCode == 1,
                             .dontShowAgain = IsOn(dontShowAgainCheckBox),
                             .openFileAfterLocking = IsOn(openFileAfterLocking)});
}

// A session looks whether it is over after an event only, and this may be no event's doing.
- (void)stopModal {
  [NSApp stopModalWithCode:modalReturnCode];
  [NSApp postEvent:[NSEvent otherEventWithType:NSEventTypeApplicationDefined
                                      location:NSZeroPoint
                                 modifierFlags:0
                                     timestamp:0
                                  windowNumber:0
                                       context:nil
                                       subtype:0
                                         data1:0
                                         data2:0]
           atStart:NO];
}

- (void)closeSilently {
  events = nullptr;
  if (!isClosing) [window close];
}

@end

#include "platform/macos/mac_desktop.h"

#import <AppKit/AppKit.h>

#include "base/logger.h"
#include "base/string_utils.h"
#include "platform/macos/objc_support.h"

namespace kelvo {
namespace {

bool OpenInWorkspace(const std::string& url) {
  @autoreleasepool {
    @try {
      NSString* text = StringFromUtf8(url);
      NSURL* address = text == nil ? nil : [NSURL URLWithString:text];
      return address != nil && [[NSWorkspace sharedWorkspace] openURL:address];
    } @catch (NSException* exception) {
      LogException("openURL", exception);
      return false;
    }
  }
}

bool WriteText(const std::string& text) {
  @autoreleasepool {
    @try {
      NSString* string = StringFromUtf8(text);
      if (string == nil) return false;
      NSPasteboard* pasteboard = [NSPasteboard generalPasteboard];
      [pasteboard declareTypes:[NSArray arrayWithObject:NSPasteboardTypeString] owner:nil];
      return [pasteboard setString:string forType:NSPasteboardTypeString] != NO;
    } @catch (NSException* exception) {
      LogException("setString", exception);
      return false;
    }
  }
}

}  // namespace

bool MacDesktop::openURL(const std::string& url, const std::string& /*activationToken*/) {
  if (OpenInWorkspace(url)) return true;
  // Without its query, which may sign in whoever reads it.
  const std::string address = ToValidUtf8(url.substr(0, url.find('?')));
  KELVO_LOG(kLogError, "Cannot open " << EscapeControlCharacters(address));
  return false;
}

void MacPasteboard::clearContents() {
  @autoreleasepool {
    @try {
      [[NSPasteboard generalPasteboard] declareTypes:[NSArray array] owner:nil];
    } @catch (NSException* exception) {
      LogException("declareTypes", exception);
    }
  }
}

bool MacPasteboard::writeObjects(const std::string& text) {
  if (WriteText(text)) return true;
  KELVO_LOG(kLogError, "Cannot write the pasteboard");
  return false;
}

}  // namespace kelvo

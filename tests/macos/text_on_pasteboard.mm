#include "tests/macos/text_on_pasteboard.h"

#import <AppKit/AppKit.h>

#include "platform/macos/objc_support.h"

namespace kelvo::test {

std::string TextOnPasteboard() {
  @autoreleasepool {
    return Utf8FromString([[NSPasteboard generalPasteboard] stringForType:NSPasteboardTypeString]);
  }
}

}  // namespace kelvo::test

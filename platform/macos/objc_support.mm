#include "platform/macos/objc_support.h"

#include "base/logger.h"

namespace kelvo {

NSString* StringFromUtf8(std::string_view text) {
  return KELVO_OBJC_AUTORELEASE([[NSString alloc] initWithBytes:text.data()
                                                         length:text.size()
                                                       encoding:NSUTF8StringEncoding]);
}

std::string Utf8FromString(NSString* text) {
  NSData* bytes = [text dataUsingEncoding:NSUTF8StringEncoding];
  if ([bytes length] == 0) return {};
  return std::string(static_cast<const char*>([bytes bytes]), [bytes length]);
}

NSURL* FileURLFromPath(std::string_view path, bool isDirectory) {
  NSString* text = path.starts_with('/') ? StringFromUtf8(path) : nil;
  return text == nil ? nil : [NSURL fileURLWithPath:text isDirectory:isDirectory];
}

std::string PathFromURL(NSURL* url) { return Utf8FromString([url path]); }

void LogException(const char* where, NSException* exception) {
  KELVO_LOG(kLogError, where << " failed: " << Utf8FromString([exception description]));
}

}  // namespace kelvo

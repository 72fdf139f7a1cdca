#include "platform/macos/objc_support.h"
#include "ui/short_date_time.h"

namespace kelvo {

std::string ShortDateTime(std::int64_t time) {
  @autoreleasepool {
    NSDateFormatter* formatter = KELVO_OBJC_AUTORELEASE([[NSDateFormatter alloc] init]);
    [formatter setDateStyle:NSDateFormatterShortStyle];
    [formatter setTimeStyle:NSDateFormatterShortStyle];
    const auto seconds = static_cast<NSTimeInterval>(time);
    NSString* text = [formatter stringFromDate:[NSDate dateWithTimeIntervalSince1970:seconds]];
    return text == nil ? std::to_string(time) : Utf8FromString(text);
  }
}

}  // namespace kelvo

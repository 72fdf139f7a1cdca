#include "platform/macos/mac_user_defaults.h"

#include "platform/macos/objc_support.h"

namespace kelvo {

bool MacUserDefaults::GetBool(const std::string& key) const {
  @autoreleasepool {
    @try {
      return [[NSUserDefaults standardUserDefaults] boolForKey:StringFromUtf8(key)] != NO;
    } @catch (NSException* exception) {
      LogException("boolForKey", exception);
      return false;
    }
  }
}

void MacUserDefaults::SetBool(const std::string& key, bool value) {
  @autoreleasepool {
    @try {
      [[NSUserDefaults standardUserDefaults] setBool:value forKey:StringFromUtf8(key)];
    } @catch (NSException* exception) {
      LogException("setBool", exception);
    }
  }
}

}  // namespace kelvo

#include "platform/macos/mac_bundle.h"

#include "platform/macos/objc_support.h"
#include "settings/application_bundle.h"

namespace kelvo {

std::vector<std::string> ChosenLanguages() {
  std::vector<std::string> languages;
  @autoreleasepool {
    for (NSString* language in [NSLocale preferredLanguages]) {
      languages.push_back(Utf8FromString([language stringByReplacingOccurrencesOfString:@"-"
                                                                             withString:@"_"]));
    }
  }
  return languages;
}

std::shared_ptr<const Bundle> BundleForClass(const char* className) {
  @autoreleasepool {
    Class owner = NSClassFromString(StringFromUtf8(className));
    NSBundle* bundle = owner == Nil ? [NSBundle mainBundle] : [NSBundle bundleForClass:owner];
    return std::make_shared<const Bundle>(Utf8FromString([bundle resourcePath]), ChosenLanguages());
  }
}

}  // namespace kelvo

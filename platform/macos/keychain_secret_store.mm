#include "platform/macos/keychain_secret_store.h"

#import <Security/Security.h>

#include <string_view>

#include "platform/macos/keychain_status.h"
#include "platform/macos/objc_support.h"

// These functions are the ones that know access lists; what follows them in the platform has none.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace kelvo {
namespace {

UInt32 Length(std::string_view text) { return static_cast<UInt32>(text.size()); }

// `secret` may be null: then it is not read, and nobody is asked for it. The caller owns the item.
OSStatus FindItem(const std::string& service, const std::string& account, std::string* secret,
                  SecKeychainItemRef* item) {
  UInt32 length = 0;
  void* data = nullptr;
  const OSStatus status = SecKeychainFindGenericPassword(
      nullptr, Length(service), service.data(), Length(account), account.data(),
      secret == nullptr ? nullptr : &length, secret == nullptr ? nullptr : &data, item);
  if (status != errSecSuccess || secret == nullptr) return status;
  secret->assign(static_cast<const char*>(data), length);
  SecKeychainItemFreeContent(nullptr, data);
  return status;
}

SecKeychainAttribute Attribute(SecKeychainAttrType tag, const std::string& value) {
  return {tag, Length(value), const_cast<char*>(value.data())};
}

// Null where it cannot be made: then only this program may read the item. The caller owns it.
SecAccessRef CreateAccess(const SecretAccess& access) {
  NSMutableArray* applications = [NSMutableArray array];
  for (const std::string& path : access.applications) {
    SecTrustedApplicationRef application = nullptr;
    if (SecTrustedApplicationCreateFromPath(path.c_str(), &application) != errSecSuccess) continue;
    [applications addObject:(__bridge id)application];
    CFRelease(application);
  }
  SecAccessRef made = nullptr;
  NSString* description = StringFromUtf8(access.description);
  if (description == nil) return nullptr;
  SecAccessCreate((__bridge CFStringRef)description, (__bridge CFArrayRef)applications, &made);
  return made;
}

}  // namespace

void KeychainSecretStore::SetUserInteractionAllowed(bool allowed) {
  SecKeychainSetUserInteractionAllowed(allowed);
}

SecretStatus KeychainSecretStore::Read(const std::string& service, const std::string& account,
                                       std::string* secret) {
  return FromKeychainStatus(FindItem(service, account, secret, nullptr), "read", service);
}

SecretStatus KeychainSecretStore::Find(const std::string& service, const std::string& account) {
  return FromKeychainStatus(FindItem(service, account, nullptr, nullptr), "look for", service);
}

SecretStatus KeychainSecretStore::Modify(const std::string& service, const std::string& account,
                                         const std::string& secret) {
  SecKeychainItemRef item = nullptr;
  OSStatus status = FindItem(service, account, nullptr, &item);
  if (status == errSecSuccess) {
    SecKeychainAttribute attributes[] = {Attribute(kSecAccountItemAttr, account),
                                         Attribute(kSecServiceItemAttr, service)};
    const SecKeychainAttributeList list = {2, attributes};
    status = SecKeychainItemModifyContent(item, &list, Length(secret), secret.data());
    CFRelease(item);
  }
  return FromKeychainStatus(status, "change", service);
}

SecretStatus KeychainSecretStore::Create(const std::string& service, const std::string& account,
                                         const std::string& secret, const SecretAccess& access) {
  @autoreleasepool {
    SecKeychainAttribute attributes[] = {Attribute(kSecLabelItemAttr, service),
                                         Attribute(kSecAccountItemAttr, account),
                                         Attribute(kSecServiceItemAttr, service)};
    SecKeychainAttributeList list = {3, attributes};
    SecAccessRef mayRead = CreateAccess(access);
    const OSStatus status =
        SecKeychainItemCreateFromContent(kSecGenericPasswordItemClass, &list, Length(secret),
                                         secret.data(), nullptr, mayRead, nullptr);
    if (mayRead != nullptr) CFRelease(mayRead);
    return FromKeychainStatus(status, "store", service);
  }
}

SecretStatus KeychainSecretStore::Delete(const std::string& service, const std::string& account) {
  SecKeychainItemRef item = nullptr;
  OSStatus status = FindItem(service, account, nullptr, &item);
  if (status == errSecSuccess) {
    status = SecKeychainItemDelete(item);
    CFRelease(item);
  }
  return FromKeychainStatus(status, "delete", service);
}

}  // namespace kelvo

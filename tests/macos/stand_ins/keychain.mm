// Stands in for the keychain: generic passwords in memory.
#import <Security/Security.h>

#include <stdlib.h>
#include <string.h>

#include <atomic>
#include <mutex>

#include "platform/macos/objc_support.h"
#include "tests/macos/stand_ins/services.h"

using kelvo::test::KeychainItem;
using Names = std::pair<std::string, std::string>;

@interface KelvoKeychainObject : NSObject {
 @public
  Names names;  // of an item
  KeychainItem contents;
}
@end
namespace {
std::atomic<int> liveObjects{0};
}

@implementation KelvoKeychainObject
- (id)init {
  ++liveObjects;
  return [super init];
}
- (void)dealloc {
  --liveObjects;
  [super dealloc];
}
@end

namespace {

struct Keychain {
  std::mutex mutex;
  std::map<Names, KeychainItem> items;
  std::string missing;
  std::atomic<int> status{0};
  std::atomic<bool> mayAsk{true};
};
Keychain& keychain = *new Keychain;

KelvoKeychainObject* NewObject() { return [[KelvoKeychainObject alloc] init]; }

template <typename Reference>
KelvoKeychainObject* ObjectOf(Reference reference) {
  return (KelvoKeychainObject*)reference;
}

std::string Attribute(const SecKeychainAttributeList* list, SecKeychainAttrType tag) {
  for (UInt32 i = 0; i < list->count; ++i) {
    const SecKeychainAttribute& attribute = list->attr[i];
    if (attribute.tag == tag) return {static_cast<const char*>(attribute.data), attribute.length};
  }
  return {};
}

}  // namespace

void CFRelease(CFTypeRef object) { [(id)object release]; }

OSStatus SecKeychainSetUserInteractionAllowed(Boolean state) {
  keychain.mayAsk = state != 0;
  return errSecSuccess;
}

OSStatus SecKeychainFindGenericPassword(CFTypeRef, UInt32 serviceLength, const char* service,
                                        UInt32 accountLength, const char* account, UInt32* length,
                                        void** data, SecKeychainItemRef* item) {
  if (keychain.status != 0) return keychain.status;
  std::lock_guard lock(keychain.mutex);
  const auto found = keychain.items.find({{service, serviceLength}, {account, accountLength}});
  if (found == keychain.items.end()) return errSecItemNotFound;
  if (data != nullptr) {
    const std::string& secret = found->second.secret;
    *length = static_cast<UInt32>(secret.size());
    *data = malloc(secret.size() + 1);
    memcpy(*data, secret.data(), secret.size());
  }
  if (item != nullptr) {
    KelvoKeychainObject* object = NewObject();
    object->names = found->first;
    *item = (SecKeychainItemRef)object;
  }
  return errSecSuccess;
}

OSStatus SecKeychainItemFreeContent(SecKeychainAttributeList*, void* data) {
  free(data);
  return errSecSuccess;
}

OSStatus SecKeychainItemModifyContent(SecKeychainItemRef item, const SecKeychainAttributeList* list,
                                      UInt32 length, const void* data) {
  std::lock_guard lock(keychain.mutex);
  auto node = keychain.items.extract(ObjectOf(item)->names);
  node.key() = {Attribute(list, kSecServiceItemAttr), Attribute(list, kSecAccountItemAttr)};
  node.mapped().secret.assign(static_cast<const char*>(data), length);
  keychain.items.insert(std::move(node));
  return errSecSuccess;
}

OSStatus SecKeychainItemCreateFromContent(SecItemClass kind, SecKeychainAttributeList* list,
                                          UInt32 length, const void* data, SecKeychainRef,
                                          SecAccessRef access, SecKeychainItemRef*) {
  if (keychain.status != 0 || kind != kSecGenericPasswordItemClass) return keychain.status;
  KeychainItem item = access == nullptr ? KeychainItem() : ObjectOf(access)->contents;
  item.label = Attribute(list, kSecLabelItemAttr);
  item.secret.assign(static_cast<const char*>(data), length);
  std::lock_guard lock(keychain.mutex);
  keychain.items[{Attribute(list, kSecServiceItemAttr), Attribute(list, kSecAccountItemAttr)}] =
      item;
  return errSecSuccess;
}

OSStatus SecKeychainItemDelete(SecKeychainItemRef item) {
  std::lock_guard lock(keychain.mutex);
  keychain.items.erase(ObjectOf(item)->names);
  return errSecSuccess;
}

OSStatus SecTrustedApplicationCreateFromPath(const char* path, SecTrustedApplicationRef* made) {
  if (path == keychain.missing) return errSecItemNotFound;
  KelvoKeychainObject* object = NewObject();
  object->contents.label = path;
  *made = (SecTrustedApplicationRef)object;
  return errSecSuccess;
}

OSStatus SecAccessCreate(CFStringRef description, CFArrayRef list, SecAccessRef* made) {
  KelvoKeychainObject* object = NewObject();
  object->contents.description = kelvo::Utf8FromString((NSString*)description);
  for (KelvoKeychainObject* application in (NSArray*)list) {
    object->contents.applications.push_back(application->contents.label);
  }
  *made = (SecAccessRef)object;
  return errSecSuccess;
}

namespace kelvo::test {

std::map<Names, KeychainItem> KeychainItems() {
  std::lock_guard lock(keychain.mutex);
  return keychain.items;
}

void SetKeychainStatus(int status) { keychain.status = status; }
void SetMissingApplication(const std::string& path) { keychain.missing = path; }
int KeychainObjects() { return liveObjects; }
bool KeychainMayAsk() { return keychain.mayAsk; }

}  // namespace kelvo::test

// Own declarations, from public documentation; see platform/macos/off_mac/README.md.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "../CoreFoundation/CoreFoundation.h"

typedef uint32_t UInt32;
typedef int32_t OSStatus;
typedef unsigned char Boolean;
typedef UInt32 FourCharCode;

enum : OSStatus { errSecSuccess = 0, errSecItemNotFound = -25300 };

typedef struct __attribute__((objc_bridge(id))) OpaqueSecKeychainRef* SecKeychainRef;
typedef struct __attribute__((objc_bridge(id))) OpaqueSecKeychainItemRef* SecKeychainItemRef;
typedef struct __attribute__((objc_bridge(id)))
OpaqueSecTrustedApplicationRef* SecTrustedApplicationRef;
typedef struct __attribute__((objc_bridge(id))) OpaqueSecAccessRef* SecAccessRef;
typedef struct __attribute__((objc_bridge(id))) __SecTrust* SecTrustRef;

typedef FourCharCode SecItemClass;
enum : FourCharCode { kSecGenericPasswordItemClass = 'genp' };
typedef FourCharCode SecItemAttr;
enum : FourCharCode {
  kSecLabelItemAttr = 'labl',
  kSecAccountItemAttr = 'acct',
  kSecServiceItemAttr = 'svce'
};
typedef OSStatus SecKeychainStatus;
typedef FourCharCode SecKeychainAttrType;
struct SecKeychainAttribute {
  SecKeychainAttrType tag;
  UInt32 length;
  void* data;
};
struct SecKeychainAttributeList {
  UInt32 count;
  SecKeychainAttribute* attr;
};

extern "C" {
OSStatus SecKeychainSetUserInteractionAllowed(Boolean state);
OSStatus SecKeychainFindGenericPassword(CFTypeRef keychainOrArray, UInt32 serviceNameLength,
                                        const char* serviceName, UInt32 accountNameLength,
                                        const char* accountName, UInt32* passwordLength,
                                        void** passwordData, SecKeychainItemRef* itemRef);
OSStatus SecKeychainItemFreeContent(SecKeychainAttributeList* attrList, void* data);
OSStatus SecKeychainItemModifyContent(SecKeychainItemRef itemRef,
                                      const SecKeychainAttributeList* attrList, UInt32 length,
                                      const void* data);
OSStatus SecKeychainItemCreateFromContent(SecItemClass itemClass,
                                          SecKeychainAttributeList* attrList, UInt32 length,
                                          const void* data, SecKeychainRef keychainRef,
                                          SecAccessRef initialAccess, SecKeychainItemRef* itemRef);
OSStatus SecKeychainItemDelete(SecKeychainItemRef itemRef);
OSStatus SecTrustedApplicationCreateFromPath(const char* path, SecTrustedApplicationRef* app);
OSStatus SecAccessCreate(CFStringRef descriptor, CFArrayRef trustedlist, SecAccessRef* accessRef);
}

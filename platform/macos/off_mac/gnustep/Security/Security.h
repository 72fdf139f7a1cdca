// The keychain as the adapter calls it, which tests/macos/stand_ins/keychain.mm stands in for, and
// what GNUstep's URL loading lacks, which it never asks for.
#pragma once

#import <Foundation/Foundation.h>

#include "platform/macos/off_mac/declarations/Security/Security.h"

@interface NSURLProtectionSpace (KelvoStandIn)
- (SecTrustRef)serverTrust;
@end
@interface NSURLCredential (KelvoStandIn)
+ (NSURLCredential*)credentialForTrust:(SecTrustRef)trust;
@end
@interface NSObject (KelvoStandIn)
- (void)performDefaultHandlingForAuthenticationChallenge:(NSURLAuthenticationChallenge*)challenge;
@end

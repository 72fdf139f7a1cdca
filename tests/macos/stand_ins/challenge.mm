#include "tests/macos/stand_ins/challenge.h"

#import <Security/Security.h>

#include "platform/macos/objc_support.h"

@implementation NSURLCredential (KelvoStandIn)
+ (NSURLCredential*)credentialForTrust:(SecTrustRef)trust {
  return [NSURLCredential credentialWithUser:@"trusted"
                                    password:@""
                                 persistence:NSURLCredentialPersistenceNone];
}
@end

@interface NSObject (KelvoChallenged)
- (void)connection:(NSURLConnection*)connection
    willSendRequestForAuthenticationChallenge:(NSURLAuthenticationChallenge*)challenge;
@end

// Challenge, space and sender in one.
@interface KelvoChallenge : NSObject {
 @public
  NSString* method;
  std::string answer;
}
@end

@implementation KelvoChallenge
- (id)protectionSpace {
  return self;
}
- (id)sender {
  return self;
}
- (NSString*)authenticationMethod {
  return method;
}
- (SecTrustRef)serverTrust {
  return nullptr;
}
- (void)useCredential:(NSURLCredential*)credential forAuthenticationChallenge:(id)challenge {
  answer += [[credential user] isEqualToString:@"trusted"] ? "trusts" : "signs in";
}
- (void)performDefaultHandlingForAuthenticationChallenge:(id)challenge {
  answer += "asks the system";
}
@end

namespace kelvo::test {

std::string AnswerToChallenge(bool allowsAnyCertificate, const std::string& method) {
  @autoreleasepool {
    id delegate = [[[NSClassFromString(@"KelvoLoadDelegate") alloc] init] autorelease];
    [delegate setValue:[NSNumber numberWithBool:allowsAnyCertificate]
                forKey:@"allowsAnyCertificate_"];
    KelvoChallenge* challenge = [[[KelvoChallenge alloc] init] autorelease];
    challenge->method = StringFromUtf8(method);
    [delegate connection:nil
        willSendRequestForAuthenticationChallenge:(NSURLAuthenticationChallenge*)challenge];
    return challenge->answer;
  }
}

std::string ServerTrustMethod() { return Utf8FromString(NSURLAuthenticationMethodServerTrust); }

}  // namespace kelvo::test

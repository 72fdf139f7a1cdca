#import <Foundation/Foundation.h>

#include <stdlib.h>

namespace {

// GNUstep's server is the user's, and tests run side by side, each with a home folder of its own.
NSString* OwnName(NSString* name) { return [name stringByAppendingFormat:@" %s", getenv("HOME")]; }

}  // namespace

@implementation NSMachBootstrapServer

+ (id)sharedInstance {
  static NSMachBootstrapServer* server = [[NSMachBootstrapServer alloc] init];
  return server;
}

- (NSPort*)portForName:(NSString*)name {
  return [[NSMessagePortNameServer sharedInstance] portForName:OwnName(name)];
}

- (BOOL)registerPort:(NSPort*)port name:(NSString*)name {
  return [[NSMessagePortNameServer sharedInstance] registerPort:port forName:OwnName(name)];
}

@end

// Included before every file of the adapter where it is built off a Mac: declares what the platform
// has in its Foundation and AppKit, and GNUstep has not or by an older name.
#pragma once

#ifdef __OBJC__
#import <AppKit/AppKit.h>

@protocol NSPortDelegate <NSObject>
@optional
- (void)handlePortMessage:(NSPortMessage*)message;
@end

// The per-user name server of ports, here over GNUstep's own between the user's processes.
@interface NSMachBootstrapServer : NSObject
+ (id)sharedInstance;
- (NSPort*)portForName:(NSString*)name;
- (BOOL)registerPort:(NSPort*)port name:(NSString*)name;
@end

#define NSButtonTypeSwitch NSSwitchButton
#define NSBezelStyleRounded NSRoundedBezelStyle
#define NSEventTypeApplicationDefined NSApplicationDefined
#endif

// Own declarations, from public documentation; see ../README.md.
#pragma once

#import <AppKit/AppKit.h>

enum FIMenuKind : NSUInteger {
  FIMenuKindContextualMenuForItems = 0,
  FIMenuKindContextualMenuForContainer = 1,
  FIMenuKindContextualMenuForSidebar = 2,
  FIMenuKindToolbarItemMenu = 3
};

@protocol FIFinderSync <NSObject>
@optional
- (NSMenu*)menuForMenuKind:(FIMenuKind)menu;
- (void)beginObservingDirectoryAtURL:(NSURL*)url;
- (void)endObservingDirectoryAtURL:(NSURL*)url;
- (void)requestBadgeIdentifierForURL:(NSURL*)url;
@end

@interface FIFinderSync : NSObject <FIFinderSync>
@end

@interface FIFinderSyncController : NSObject
+ (instancetype)defaultController;
@property(copy) NSSet* directoryURLs;
- (void)setBadgeImage:(NSImage*)image label:(NSString*)label forBadgeIdentifier:(NSString*)badgeID;
- (void)setBadgeIdentifier:(NSString*)badgeID forURL:(NSURL*)url;
- (NSURL*)targetedURL;
- (NSArray*)selectedItemURLs;
@end

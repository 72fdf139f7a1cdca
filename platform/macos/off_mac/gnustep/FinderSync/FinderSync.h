// Stands in for the platform's framework where there is none, so that the extension's principal
// class can be built and driven, and be compiled for a Mac. As far as the extension uses it, and by
// public documentation.
#pragma once

#import <AppKit/AppKit.h>

enum FIMenuKind : NSUInteger {
  FIMenuKindContextualMenuForItems = 0,
  FIMenuKindContextualMenuForContainer = 1,
  FIMenuKindContextualMenuForSidebar = 2,
  FIMenuKindToolbarItemMenu = 3,
};

@interface FIFinderSync : NSObject
- (NSMenu*)menuForMenuKind:(FIMenuKind)menuKind;
- (void)beginObservingDirectoryAtURL:(NSURL*)url;
- (void)endObservingDirectoryAtURL:(NSURL*)url;
- (void)requestBadgeIdentifierForURL:(NSURL*)url;
@end

@interface FIFinderSyncController : NSObject
+ (FIFinderSyncController*)defaultController;
- (void)setDirectoryURLs:(NSSet*)urls;
- (void)setBadgeImage:(NSImage*)image
                 label:(NSString*)label
    forBadgeIdentifier:(NSString*)identifier;
- (void)setBadgeIdentifier:(NSString*)identifier forURL:(NSURL*)url;
- (NSURL*)targetedURL;
- (NSArray*)selectedItemURLs;
@end

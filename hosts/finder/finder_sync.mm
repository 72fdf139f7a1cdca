// The class that Finder makes its one object of: hands everything to the host, and lets no
// exception out.
#import <FinderSync/FinderSync.h>

#include <string>
#include <vector>

#include "hosts/finder/finder_host.h"
#include "platform/macos/objc_support.h"

using kelvo::FinderHost;

namespace {

constexpr CGFloat kImageSide = 16;

std::vector<std::string> PathsOf(NSArray* urls) {
  std::vector<std::string> paths;
  for (NSURL* url in urls) paths.push_back(kelvo::PathFromURL(url));
  return paths;
}

NSMenuItem* MenuItemOf(const kelvo::OfferedLine& line, id target) {
  if (line.separator) return (NSMenuItem*)[NSMenuItem separatorItem];
  NSString* title = kelvo::StringFromUtf8(line.title);
  const SEL action = line.action.empty()
                         ? nullptr
                         : NSSelectorFromString(kelvo::StringFromUtf8(line.action + ":"));
  NSMenuItem* item =
      KELVO_OBJC_AUTORELEASE([[NSMenuItem alloc] initWithTitle:title == nil ? @"" : title
                                                        action:action
                                                 keyEquivalent:@""]);
  [item setTarget:target];
  [item setTag:line.tag];
  [item setEnabled:line.enabled];
  if (!line.image.empty()) {
    NSImage* image = KELVO_OBJC_AUTORELEASE(
        [[NSImage alloc] initWithContentsOfFile:kelvo::StringFromUtf8(line.image)]);
    [image setSize:NSMakeSize(kImageSide, kImageSide)];
    [item setImage:image];
  }
  return item;
}

}  // namespace

@interface FinderSync : FIFinderSync {
  FinderHost* host;
}
@end

@implementation FinderSync

- (id)init {
  self = [super init];
  if (self == nil) return nil;
  @try {
    host = FinderHost::Instance();
    if (host != nullptr) host->Start();
  } @catch (NSException* exception) {
    kelvo::LogException("init", exception);
  }
  return self;
}

- (void)dealloc {
  if (host != nullptr) host->End();
  KELVO_OBJC_SUPER_DEALLOC();
}

- (void)beginObservingDirectoryAtURL:(NSURL*)url {
  @autoreleasepool {
    @try {
      if (host != nullptr) host->BeginObserving(kelvo::PathFromURL(url));
    } @catch (NSException* exception) {
      kelvo::LogException("beginObservingDirectoryAtURL", exception);
    }
  }
}

- (void)endObservingDirectoryAtURL:(NSURL*)url {
  @autoreleasepool {
    @try {
      if (host != nullptr) host->EndObserving(kelvo::PathFromURL(url));
    } @catch (NSException* exception) {
      kelvo::LogException("endObservingDirectoryAtURL", exception);
    }
  }
}

- (void)requestBadgeIdentifierForURL:(NSURL*)url {
  @autoreleasepool {
    @try {
      if (host != nullptr) host->RequestBadge(kelvo::PathFromURL(url));
    } @catch (NSException* exception) {
      kelvo::LogException("requestBadgeIdentifierForURL", exception);
    }
  }
}

// The selection can be asked for in here only.
- (NSMenu*)menuForMenuKind:(FIMenuKind)menuKind {
  if (host == nullptr) return nil;
  @try {
    NSArray* selection = [[FIFinderSyncController defaultController] selectedItemURLs];
    const std::vector<kelvo::OfferedLine> lines =
        host->Menu(static_cast<int>(menuKind), PathsOf(selection));
    if (lines.empty()) return nil;
    NSMenu* menu = KELVO_OBJC_AUTORELEASE([[NSMenu alloc] initWithTitle:@""]);
    [menu setAutoenablesItems:NO];
    for (const kelvo::OfferedLine& line : lines) [menu addItem:MenuItemOf(line, self)];
    return menu;
  } @catch (NSException* exception) {
    kelvo::LogException("menuForMenuKind", exception);
    return nil;
  }
}

- (void)choose:(id)sender {
  @try {
    if (host != nullptr && [sender respondsToSelector:@selector(tag)]) host->Choose([sender tag]);
  } @catch (NSException* exception) {
    kelvo::LogException("choice of a menu", exception);
  }
}

// What the lines do: which of them it was, and so what is to be done, the host knows by the tag.

- (void)openKelvoHereButtonPressed:(id)sender {
  [self choose:sender];
}

- (void)addCommentButtonPressed:(id)sender {
  [self choose:sender];
}

- (void)lockButtonPressed:(id)sender {
  [self choose:sender];
}

- (void)unlockButtonPressed:(id)sender {
  [self choose:sender];
}

- (void)fixViolationsPressed:(id)sender {
  [self choose:sender];
}

- (void)copyLinkButtonPressed:(id)sender {
  [self choose:sender];
}

- (void)createPublicLinkButtonPressed:(id)sender {
  [self choose:sender];
}

@end

#include "platform/macos/mac_finder_controller.h"

#import <FinderSync/FinderSync.h>

#include "base/file_system.h"
#include "base/logger.h"
#include "platform/macos/objc_support.h"

namespace kelvo {
namespace {

void LogMissing(const std::string& label) {
  KELVO_LOG(kLogError, "No picture for the badge " << label);
}

}  // namespace

void MacFinderController::setDirectoryURLs(const std::vector<std::string>& paths) {
  @autoreleasepool {
    @try {
      NSMutableSet* urls = [NSMutableSet set];
      for (const std::string& path : paths) {
        NSURL* url = FileURLFromPath(path, true);
        if (url != nil) [urls addObject:url];
      }
      [[FIFinderSyncController defaultController] setDirectoryURLs:urls];
    } @catch (NSException* exception) {
      LogException("setDirectoryURLs", exception);
    }
  }
}

void MacFinderController::setBadgeImage(const std::optional<BadgeImage>& image,
                                        const std::string& label,
                                        const std::string& badgeIdentifier) {
  if (!image) return LogMissing(label);
  @autoreleasepool {
    @try {
      NSImage* picture = KELVO_OBJC_AUTORELEASE(
          [[NSImage alloc] initWithContentsOfFile:StringFromUtf8(image->path)]);
      if (picture == nil) return LogMissing(label);
      [[FIFinderSyncController defaultController] setBadgeImage:picture
                                                          label:StringFromUtf8(label)
                                             forBadgeIdentifier:StringFromUtf8(badgeIdentifier)];
    } @catch (NSException* exception) {
      LogException("setBadgeImage", exception);
    }
  }
}

void MacFinderController::setBadgeIdentifier(const std::string& badgeIdentifier,
                                             const std::string& path,
                                             std::optional<bool> isDirectory) {
  @autoreleasepool {
    @try {
      NSURL* url = FileURLFromPath(path, isDirectory ? *isDirectory : IsDirectory(path));
      if (url == nil) return;
      [[FIFinderSyncController defaultController] setBadgeIdentifier:StringFromUtf8(badgeIdentifier)
                                                              forURL:url];
    } @catch (NSException* exception) {
      LogException("setBadgeIdentifier", exception);
    }
  }
}

}  // namespace kelvo

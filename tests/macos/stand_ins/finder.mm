#include "tests/macos/stand_ins/finder.h"

#import <FinderSync/FinderSync.h>

#include <algorithm>
#include <map>
#include <mutex>

#include "platform/macos/objc_support.h"

using kelvo::Utf8FromString;

namespace {

struct Record {
  std::mutex mutex;
  std::vector<std::string> calls;
  std::vector<std::vector<std::string>> folders;
  std::vector<kelvo::test::ToldBadge> registrations;
  std::map<std::string, std::string> badges;
};

Record record;
NSArray* selection = nil;
FIFinderSync* extension = nil;

void NoteCall(const char* kind) {
  if (record.calls.empty() || record.calls.back() != kind) record.calls.push_back(kind);
}

NSURL* URLOf(const std::string& path) {
  if (path.empty()) return [NSURL URLWithString:@"mailto:nobody"];
  return [NSURL fileURLWithPath:kelvo::StringFromUtf8(path)];
}

}  // namespace

@implementation FIFinderSync
- (NSMenu*)menuForMenuKind:(FIMenuKind)menuKind {
  return nil;
}
- (void)beginObservingDirectoryAtURL:(NSURL*)url {
}
- (void)endObservingDirectoryAtURL:(NSURL*)url {
}
- (void)requestBadgeIdentifierForURL:(NSURL*)url {
}
@end

@implementation FIFinderSyncController

+ (FIFinderSyncController*)defaultController {
  static FIFinderSyncController* controller = [[FIFinderSyncController alloc] init];
  return controller;
}

- (void)setDirectoryURLs:(NSSet*)urls {
  std::vector<std::string> folders;
  for (NSURL* url in urls) folders.push_back(Utf8FromString([url path]));
  std::sort(folders.begin(), folders.end());
  std::lock_guard lock(record.mutex);
  NoteCall("setDirectoryURLs");
  record.folders.push_back(folders);
}

- (void)setBadgeImage:(NSImage*)image
                 label:(NSString*)label
    forBadgeIdentifier:(NSString*)identifier {
  NSParameterAssert(image != nil && label != nil && identifier != nil);
  std::lock_guard lock(record.mutex);
  NoteCall("setBadgeImage");
  record.registrations.push_back(
      {Utf8FromString(identifier), Utf8FromString(label), [image size].width});
}

- (void)setBadgeIdentifier:(NSString*)identifier forURL:(NSURL*)url {
  NSParameterAssert(identifier != nil && url != nil);
  std::lock_guard lock(record.mutex);
  NoteCall("setBadgeIdentifier");
  record.badges[Utf8FromString([url path])] = Utf8FromString(identifier);
}

- (NSURL*)targetedURL {
  return nil;
}

- (NSArray*)selectedItemURLs {
  return selection;
}

@end

namespace kelvo::test {

bool Finder::StartExtension() {
  @autoreleasepool {
    extension = [[NSClassFromString(@"FinderSync") alloc] init];
    return [extension isKindOfClass:[FIFinderSync class]];
  }
}

void Finder::EndExtension() {
  @autoreleasepool {
    KELVO_OBJC_RELEASE(extension);
  }
}

std::vector<std::vector<std::string>> Finder::WatchedFolders() {
  std::lock_guard lock(record.mutex);
  return record.folders;
}

std::vector<ToldBadge> Finder::Registrations() {
  std::lock_guard lock(record.mutex);
  return record.registrations;
}

std::string Finder::Badge(const std::string& path) {
  std::lock_guard lock(record.mutex);
  const auto found = record.badges.find(path);
  return found == record.badges.end() ? "(none)" : found->second;
}

std::vector<std::string> Finder::Calls() {
  std::lock_guard lock(record.mutex);
  return record.calls;
}

void Finder::BeginObserving(const std::string& path) {
  @autoreleasepool {
    [extension beginObservingDirectoryAtURL:URLOf(path)];
  }
}

void Finder::EndObserving(const std::string& path) {
  @autoreleasepool {
    [extension endObservingDirectoryAtURL:URLOf(path)];
  }
}

void Finder::RequestBadge(const std::string& path) {
  @autoreleasepool {
    [extension requestBadgeIdentifierForURL:URLOf(path)];
  }
}

std::vector<ShownLine> Finder::Menu(const std::vector<std::string>& items) {
  std::vector<ShownLine> lines;
  @autoreleasepool {
    NSMutableArray* urls = [NSMutableArray array];
    for (const std::string& item : items) [urls addObject:URLOf(item)];
    selection = urls;
    NSMenu* menu = [extension menuForMenuKind:FIMenuKindContextualMenuForItems];
    selection = nil;
    for (NSMenuItem* item in [menu itemArray]) {
      const SEL action = [item action];
      lines.push_back({Utf8FromString([item title]),
                       action == nullptr ? "" : Utf8FromString(NSStringFromSelector(action)),
                       [item isEnabled] != NO, [item image] != nil, static_cast<long>([item tag]),
                       [item isSeparatorItem] != NO});
    }
  }
  return lines;
}

bool Finder::Answers(const ShownLine& line) {
  @autoreleasepool {
    return [extension respondsToSelector:NSSelectorFromString(StringFromUtf8(line.action))] != NO;
  }
}

bool Finder::Choose(const ShownLine& line) {
  @autoreleasepool {
    const SEL action = NSSelectorFromString(StringFromUtf8(line.action));
    if (!Answers(line)) return false;
    NSMenuItem* copy =
        KELVO_OBJC_AUTORELEASE([[NSMenuItem alloc] initWithTitle:StringFromUtf8(line.title)
                                                          action:action
                                                   keyEquivalent:@""]);
    [copy setTag:line.tag];
    [extension performSelector:action withObject:copy];
    return true;
  }
}

bool Finder::TurnUntil(const std::function<bool()>& isOver) {
  @autoreleasepool {
    NSDate* limit = [NSDate dateWithTimeIntervalSinceNow:30];
    while (!isOver() && [limit timeIntervalSinceNow] > 0) {
      [[NSRunLoop mainRunLoop] runMode:NSDefaultRunLoopMode
                            beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.02]];
    }
  }
  return isOver();
}

}  // namespace kelvo::test

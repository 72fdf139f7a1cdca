// What every Objective-C++ file of the adapter needs. The files are compiled with automatic
// reference counting on a Mac and without it elsewhere, so they use these instead of the messages;
// and for the runtime that is used there they have no blocks, no property without an instance
// variable, and no C++ try: a C++ exception in them ends the process.
#pragma once

#import <Foundation/Foundation.h>

#include <string>
#include <string_view>

#if __has_feature(objc_arc)
#define KELVO_OBJC_RETAIN(object) (object)
#define KELVO_OBJC_RELEASE(object) ((object) = nil)
#define KELVO_OBJC_AUTORELEASE(object) (object)
#define KELVO_OBJC_SUPER_DEALLOC()
#else
#define KELVO_OBJC_RETAIN(object) [(object) retain]
#define KELVO_OBJC_RELEASE(object) ([(object) release], (object) = nil)
#define KELVO_OBJC_AUTORELEASE(object) [(object) autorelease]
#define KELVO_OBJC_SUPER_DEALLOC() [super dealloc]
#endif

namespace kelvo {

// nil for what is not UTF-8.
NSString* StringFromUtf8(std::string_view text);
// Empty for nil, and for what has no UTF-8 form.
std::string Utf8FromString(NSString* text);

// The file URL of an absolute path; nil for what no file URL can be made of.
NSURL* FileURLFromPath(std::string_view path, bool isDirectory);
// As the file manager says it; empty for nil and for a URL without a path.
std::string PathFromURL(NSURL* url);

// For @catch: no exception leaves the adapter, neither into the core nor into the host.
void LogException(const char* where, NSException* exception);

}  // namespace kelvo

// Own declarations, from public documentation; see platform/macos/off_mac/README.md.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>
#include <limits.h>
#include <objc.h>

@class NSArray, NSData, NSDate, NSError, NSNotification, NSPort, NSPortMessage, NSRunLoop, NSString;
@class NSURL, NSURLAuthenticationChallenge, NSURLResponse, NSURLRequest;

typedef struct CGPoint {
  CGFloat x, y;
} NSPoint;
typedef struct CGSize {
  CGFloat width, height;
} NSSize;
typedef struct CGRect {
  NSPoint origin;
  NSSize size;
} NSRect;
typedef struct {
  NSUInteger location, length;
} NSRange;
inline NSPoint NSMakePoint(CGFloat x, CGFloat y) { return {x, y}; }
inline NSSize NSMakeSize(CGFloat width, CGFloat height) { return {width, height}; }
inline NSRect NSMakeRect(CGFloat x, CGFloat y, CGFloat width, CGFloat height) {
  return {{x, y}, {width, height}};
}
inline CGFloat NSMinX(NSRect rect) { return rect.origin.x; }
inline CGFloat NSMaxX(NSRect rect) { return rect.origin.x + rect.size.width; }
inline CGFloat NSMinY(NSRect rect) { return rect.origin.y; }
inline CGFloat NSMaxY(NSRect rect) { return rect.origin.y + rect.size.height; }
inline CGFloat NSWidth(NSRect rect) { return rect.size.width; }
inline CGFloat NSHeight(NSRect rect) { return rect.size.height; }
extern const NSPoint NSZeroPoint;
extern const NSRect NSZeroRect;

typedef struct {
  unsigned long state;
  id __unsafe_unretained* itemsPtr;
  unsigned long* mutationsPtr;
  unsigned long extra[5];
} NSFastEnumerationState;
@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained[])buffer
                                    count:(NSUInteger)length;
@end

@protocol NSObject
- (BOOL)isEqual:(id)object;
- (Class)class;
- (BOOL)isKindOfClass:(Class)aClass;
- (BOOL)respondsToSelector:(SEL)aSelector;
- (id)performSelector:(SEL)aSelector withObject:(id)object;
- (NSString*)description;
@end
@protocol NSCopying
@end

__attribute__((objc_root_class))
@interface NSObject<NSObject>
+ (instancetype)alloc;
+ (instancetype)new;
+ (Class)class;
- (instancetype)init;
- (void)dealloc;
- (BOOL)isEqual:(id)object;
- (Class)class;
- (BOOL)isKindOfClass:(Class)aClass;
- (BOOL)respondsToSelector:(SEL)aSelector;
- (id)performSelector:(SEL)aSelector withObject:(id)object;
- (NSString*)description;
- (void)performSelectorOnMainThread:(SEL)aSelector withObject:(id)object waitUntilDone:(BOOL)wait;
- (void)performSelectorOnMainThread:(SEL)aSelector
                         withObject:(id)object
                      waitUntilDone:(BOOL)wait
                              modes:(NSArray*)modes;
- (void)performSelector:(SEL)aSelector
             withObject:(id)anArgument
             afterDelay:(double)delay
                inModes:(NSArray*)modes;
@end

extern "C" {
Class NSClassFromString(NSString* aClassName);
SEL NSSelectorFromString(NSString* aSelectorName);
NSString* NSStringFromSelector(SEL aSelector);
void NSLog(NSString* format, ...);
}

typedef NSUInteger NSStringEncoding;
enum : NSUInteger { NSUTF8StringEncoding = 4 };
@interface NSString : NSObject
@property(readonly) NSUInteger length;
@property(readonly) const char* UTF8String;
- (instancetype)initWithBytes:(const void*)bytes
                       length:(NSUInteger)length
                     encoding:(NSStringEncoding)encoding;
- (NSData*)dataUsingEncoding:(NSStringEncoding)encoding;
- (BOOL)isEqualToString:(NSString*)other;
- (NSString*)stringByReplacingOccurrencesOfString:(NSString*)target
                                       withString:(NSString*)replacement;
- (BOOL)getFileSystemRepresentation:(char*)buffer maxLength:(NSUInteger)max;
@end
@interface NSAttributedString : NSObject
@property(readonly, copy) NSString* string;
@property(readonly) NSUInteger length;
@end
@interface NSData : NSObject
+ (instancetype)dataWithBytes:(const void*)bytes length:(NSUInteger)length;
@property(readonly) NSUInteger length;
@property(readonly) const void* bytes NS_RETURNS_INNER_POINTER;
@end
@interface NSArray : NSObject <NSFastEnumeration>
+ (instancetype)array;
+ (instancetype)arrayWithObject:(id)object;
+ (instancetype)arrayWithObjects:(id)first, ... NS_REQUIRES_NIL_TERMINATION;
@property(readonly) NSUInteger count;
- (id)objectAtIndex:(NSUInteger)index;
@end
@interface NSMutableArray : NSArray
- (void)addObject:(id)object;
@end
@interface NSSet : NSObject <NSFastEnumeration>
+ (instancetype)set;
@end
@interface NSMutableSet : NSSet
- (void)addObject:(id)object;
@end
@interface NSNumber : NSObject
+ (NSNumber*)numberWithUnsignedLongLong:(unsigned long long)value;
@property(readonly) unsigned long long unsignedLongLongValue;
@end
@interface NSError : NSObject
@property(readonly, copy) NSString* localizedDescription;
@end
@interface NSException : NSObject
@property(readonly, copy) NSString* name;
@property(readonly, copy) NSString* reason;
@end

typedef double NSTimeInterval;
@interface NSDate : NSObject
+ (instancetype)dateWithTimeIntervalSince1970:(NSTimeInterval)seconds;
+ (instancetype)dateWithTimeIntervalSinceNow:(NSTimeInterval)seconds;
@property(class, readonly, copy) NSDate* distantFuture;
@property(readonly) NSTimeInterval timeIntervalSinceNow;
@end
enum NSDateFormatterStyle : NSUInteger { NSDateFormatterNoStyle, NSDateFormatterShortStyle };
@interface NSDateFormatter : NSObject
@property NSDateFormatterStyle dateStyle;
@property NSDateFormatterStyle timeStyle;
- (NSString*)stringFromDate:(NSDate*)date;
@end
@interface NSLocale : NSObject
@property(class, readonly, copy) NSArray* preferredLanguages;
@end
@interface NSUserDefaults : NSObject
@property(class, readonly, strong) NSUserDefaults* standardUserDefaults;
- (BOOL)boolForKey:(NSString*)defaultName;
- (void)setBool:(BOOL)value forKey:(NSString*)defaultName;
@end
@interface NSBundle : NSObject
@property(class, readonly, strong) NSBundle* mainBundle;
+ (NSBundle*)bundleForClass:(Class)aClass;
@property(readonly, copy) NSString* resourcePath;
@property(readonly, copy) NSString* bundlePath;
@end
@interface NSURL : NSObject
+ (instancetype)URLWithString:(NSString*)URLString;
+ (instancetype)URLWithString:(NSString*)URLString relativeToURL:(NSURL*)baseURL;
+ (NSURL*)fileURLWithPath:(NSString*)path;
+ (NSURL*)fileURLWithPath:(NSString*)path isDirectory:(BOOL)isDirectory;
@property(readonly, copy) NSString* absoluteString;
@property(readonly, copy) NSString* host;
@property(readonly, copy) NSString* path;
@property(getter=isFileURL, readonly) BOOL fileURL;
@end
@interface NSThread : NSObject
@property(class, readonly) BOOL isMainThread;
@end

typedef NSString* NSRunLoopMode;
extern NSRunLoopMode const NSDefaultRunLoopMode;
extern NSRunLoopMode const NSRunLoopCommonModes;
@interface NSTimer : NSObject
+ (NSTimer*)timerWithTimeInterval:(NSTimeInterval)interval
                           target:(id)aTarget
                         selector:(SEL)aSelector
                         userInfo:(id)userInfo
                          repeats:(BOOL)repeats;
- (instancetype)initWithFireDate:(NSDate*)date
                        interval:(NSTimeInterval)interval
                          target:(id)target
                        selector:(SEL)aSelector
                        userInfo:(id)userInfo
                         repeats:(BOOL)repeats;
- (void)invalidate;
@property(readonly, retain) id userInfo;
@property(readonly, getter=isValid) BOOL valid;
@end
@interface NSRunLoop : NSObject
@property(class, readonly, strong) NSRunLoop* currentRunLoop;
@property(class, readonly, strong) NSRunLoop* mainRunLoop;
- (void)addTimer:(NSTimer*)timer forMode:(NSRunLoopMode)mode;
- (void)addPort:(NSPort*)port forMode:(NSRunLoopMode)mode;
- (void)removePort:(NSPort*)port forMode:(NSRunLoopMode)mode;
- (BOOL)runMode:(NSRunLoopMode)mode beforeDate:(NSDate*)limitDate;
@end

@interface NSNotification : NSObject
@property(readonly, retain) id object;
@end
@interface NSNotificationCenter : NSObject
@property(class, readonly, strong) NSNotificationCenter* defaultCenter;
- (void)addObserver:(id)observer selector:(SEL)aSelector name:(NSString*)name object:(id)object;
- (void)removeObserver:(id)observer;
- (void)removeObserver:(id)observer name:(NSString*)name object:(id)object;
@end

@protocol NSPortDelegate <NSObject>
@optional
- (void)handlePortMessage:(NSPortMessage*)message;
@end
extern NSString* const NSPortDidBecomeInvalidNotification;
@interface NSPort : NSObject
+ (NSPort*)port;
- (void)invalidate;
@property(readonly, getter=isValid) BOOL valid;
- (void)setDelegate:(id<NSPortDelegate>)delegate;
@end
@interface NSPortMessage : NSObject
- (instancetype)initWithSendPort:(NSPort*)sendPort
                     receivePort:(NSPort*)replyPort
                      components:(NSArray*)components;
@property(readonly, copy) NSArray* components;
@property(readonly, retain) NSPort* sendPort;
@property uint32_t msgid;
- (BOOL)sendBeforeDate:(NSDate*)date;
@end
__attribute__((deprecated))
@interface NSPortNameServer : NSObject
- (NSPort*)portForName:(NSString*)name;
- (BOOL)registerPort:(NSPort*)port name:(NSString*)name;
@end
__attribute__((deprecated))
@interface NSMachBootstrapServer : NSPortNameServer
+ (id)sharedInstance;
- (NSPort*)portForName:(NSString*)name;
@end

enum NSURLRequestCachePolicy : NSUInteger {
  NSURLRequestUseProtocolCachePolicy = 0,
  NSURLRequestReloadIgnoringLocalCacheData = 1
};
@interface NSURLRequest : NSObject
+ (instancetype)requestWithURL:(NSURL*)URL
                   cachePolicy:(NSURLRequestCachePolicy)cachePolicy
               timeoutInterval:(NSTimeInterval)timeoutInterval;
@property(readonly, copy) NSURL* URL;
@end
@interface NSMutableURLRequest : NSURLRequest
@property BOOL HTTPShouldHandleCookies;
@end
@interface NSURLResponse : NSObject
@property(readonly, copy) NSURL* URL;
@end
@interface NSHTTPURLResponse : NSURLResponse
@property(readonly) NSInteger statusCode;
@end
extern NSString* const NSURLAuthenticationMethodServerTrust;
@interface NSURLProtectionSpace : NSObject
@property(readonly, copy) NSString* authenticationMethod;
@property(readonly) SecTrustRef serverTrust;
@end
@interface NSURLCredential : NSObject
+ (NSURLCredential*)credentialForTrust:(SecTrustRef)trust;
@end
@protocol NSURLAuthenticationChallengeSender <NSObject>
- (void)useCredential:(NSURLCredential*)credential
    forAuthenticationChallenge:(NSURLAuthenticationChallenge*)challenge;
@optional
- (void)performDefaultHandlingForAuthenticationChallenge:(NSURLAuthenticationChallenge*)challenge;
@end
@interface NSURLAuthenticationChallenge : NSObject
@property(readonly, copy) NSURLProtectionSpace* protectionSpace;
@property(readonly, retain) id<NSURLAuthenticationChallengeSender> sender;
@end
@interface NSURLConnection : NSObject
- (instancetype)initWithRequest:(NSURLRequest*)request
                       delegate:(id)delegate
               startImmediately:(BOOL)startImmediately
    __attribute__((availability(macos, introduced = 10.5, deprecated = 10.11)));
- (void)start;
- (void)cancel;
- (void)scheduleInRunLoop:(NSRunLoop*)aRunLoop forMode:(NSRunLoopMode)mode;
@end

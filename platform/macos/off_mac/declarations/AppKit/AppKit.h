// Own declarations, from public documentation; see platform/macos/off_mac/README.md.
#pragma once

#import <Foundation/Foundation.h>

@class NSEvent, NSMenuItem, NSView, NSWindow;

@interface NSImage : NSObject
- (instancetype)initWithContentsOfFile:(NSString*)fileName;
+ (NSImage*)imageNamed:(NSString*)name;
@property NSSize size;
@end
extern NSString* const NSImageNameCaution;
@interface NSFont : NSObject
+ (NSFont*)systemFontOfSize:(CGFloat)fontSize;
+ (NSFont*)boldSystemFontOfSize:(CGFloat)fontSize;
@property(class, readonly) CGFloat systemFontSize;
@property(class, readonly) CGFloat smallSystemFontSize;
@end

enum NSStringDrawingOptions : NSUInteger {
  NSStringDrawingUsesLineFragmentOrigin = 1 << 0,
  NSStringDrawingUsesFontLeading = 1 << 1
};
@interface NSAttributedString (NSStringDrawing)
- (NSSize)size;
- (NSRect)boundingRectWithSize:(NSSize)size options:(NSStringDrawingOptions)options;
@end

@interface NSCell : NSObject
@property BOOL wraps;
@property(readonly) NSSize cellSize;
- (NSSize)cellSizeForBounds:(NSRect)rect;
@end
@interface NSView : NSObject
- (instancetype)initWithFrame:(NSRect)frameRect;
- (void)addSubview:(NSView*)view;
@property NSRect frame;
@property(getter=isHidden) BOOL hidden;
@end
@interface NSControl : NSView
@property(weak) id target;
@property SEL action;
@property(strong) NSCell* cell;
@property(strong) NSFont* font;
@property(copy) NSString* stringValue;
@property(copy) NSAttributedString* attributedStringValue;
- (void)sizeToFit;
@end
@interface NSTextField : NSControl
@property(getter=isEditable) BOOL editable;
@property(getter=isBordered) BOOL bordered;
@property(getter=isBezeled) BOOL bezeled;
@property BOOL drawsBackground;
@end
enum NSBezelStyle : NSUInteger { NSBezelStyleRounded = 1 };
enum NSButtonType : NSUInteger { NSButtonTypeSwitch = 3 };
typedef NSInteger NSControlStateValue;
static const NSControlStateValue NSControlStateValueOff = 0;
static const NSControlStateValue NSControlStateValueOn = 1;
@interface NSButton : NSControl
@property(copy) NSString* title;
@property(copy) NSString* keyEquivalent;
@property NSBezelStyle bezelStyle;
@property NSControlStateValue state;
- (void)setButtonType:(NSButtonType)type;
@end
enum NSImageScaling : NSUInteger { NSImageScaleProportionallyUpOrDown = 3 };
@interface NSImageView : NSControl
@property(strong) NSImage* image;
@property NSImageScaling imageScaling;
@end

@protocol NSWindowDelegate <NSObject>
@optional
- (void)windowWillClose:(NSNotification*)notification;
@end
typedef NSUInteger NSWindowStyleMask;
static const NSWindowStyleMask NSWindowStyleMaskTitled = 1 << 0;
static const NSWindowStyleMask NSWindowStyleMaskClosable = 1 << 1;
enum NSBackingStoreType : NSUInteger { NSBackingStoreBuffered = 2 };
@interface NSWindow : NSObject
- (instancetype)initWithContentRect:(NSRect)contentRect
                          styleMask:(NSWindowStyleMask)style
                            backing:(NSBackingStoreType)backingStoreType
                              defer:(BOOL)flag;
@property(getter=isReleasedWhenClosed) BOOL releasedWhenClosed;
@property(strong) NSView* contentView;
@property(weak) id<NSWindowDelegate> delegate;
@property(copy) NSString* title;
@property(readonly) NSRect frame;
- (NSRect)frameRectForContentRect:(NSRect)contentRect;
- (void)setFrame:(NSRect)frameRect display:(BOOL)flag;
- (void)center;
- (void)close;
- (void)makeKeyAndOrderFront:(id)sender;
- (void)orderFrontRegardless;
@end

typedef NSInteger NSModalResponse;
enum NSEventType : NSUInteger { NSEventTypeApplicationDefined = 15 };
typedef NSUInteger NSEventModifierFlags;
@class NSGraphicsContext;
@interface NSEvent : NSObject
+ (NSEvent*)otherEventWithType:(NSEventType)type
                      location:(NSPoint)location
                 modifierFlags:(NSEventModifierFlags)flags
                     timestamp:(NSTimeInterval)time
                  windowNumber:(NSInteger)windowNumber
                       context:(NSGraphicsContext*)unused
                       subtype:(short)subtype
                         data1:(NSInteger)data1
                         data2:(NSInteger)data2;
@end
extern NSRunLoopMode const NSModalPanelRunLoopMode;
extern NSRunLoopMode const NSEventTrackingRunLoopMode;
@interface NSApplication : NSObject
@property(class, readonly, strong) NSApplication* sharedApplication;
@property(readonly, weak) NSWindow* modalWindow;
- (void)activateIgnoringOtherApps:(BOOL)flag;
- (NSModalResponse)runModalForWindow:(NSWindow*)window;
- (void)stopModalWithCode:(NSModalResponse)returnCode;
- (void)postEvent:(NSEvent*)event atStart:(BOOL)flag;
@end
extern NSApplication* NSApp;

@interface NSMenu : NSObject
- (instancetype)initWithTitle:(NSString*)title;
- (void)addItem:(NSMenuItem*)newItem;
@property BOOL autoenablesItems;
@property(readonly) NSInteger numberOfItems;
@end
@interface NSMenuItem : NSObject
+ (NSMenuItem*)separatorItem;
- (instancetype)initWithTitle:(NSString*)string
                       action:(SEL)selector
                keyEquivalent:(NSString*)charCode;
@property(weak) id target;
@property NSInteger tag;
@property(getter=isEnabled) BOOL enabled;
@property(strong) NSImage* image;
@end

typedef NSString* NSPasteboardType;
extern NSPasteboardType const NSPasteboardTypeString;
@interface NSPasteboard : NSObject
@property(class, readonly, strong) NSPasteboard* generalPasteboard;
- (NSInteger)declareTypes:(NSArray*)newTypes owner:(id)newOwner;
- (BOOL)setString:(NSString*)string forType:(NSPasteboardType)dataType;
@end
@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
- (BOOL)openURL:(NSURL*)url;
@end

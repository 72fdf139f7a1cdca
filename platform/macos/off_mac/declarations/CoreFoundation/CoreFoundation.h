// Own declarations, from public documentation; see platform/macos/off_mac/README.md.
#pragma once

typedef const void* CFTypeRef;
typedef const struct __attribute__((objc_bridge(NSString))) __CFString* CFStringRef;
typedef const struct __attribute__((objc_bridge(NSArray))) __CFArray* CFArrayRef;
extern "C" void CFRelease(CFTypeRef object);

// Own declarations of what the runtime's and the foundation's lowest headers hold; see
// ../README.md.
#pragma once

#include <stdint.h>

typedef signed char BOOL;
#define YES __objc_yes
#define NO __objc_no
#define nil nullptr
#define Nil nullptr
typedef long NSInteger;
typedef unsigned long NSUInteger;
typedef double CGFloat;

#define NS_REQUIRES_NIL_TERMINATION __attribute__((sentinel(0, 1)))
#define NS_RETURNS_INNER_POINTER __attribute__((objc_returns_inner_pointer))

#pragma once

#import <Foundation/Foundation.h>

namespace kelvo {

// What the extension's tasks, timers and ports run in. The common modes alone would leave out modal
// sessions where no application object has added theirs.
NSArray* ExtensionRunLoopModes();

}  // namespace kelvo

// An Agent on ports of the platform: registers the name that it is given and answers until it is
// ended. What it hears it appends to the file that it is given, a line each.
#import <Foundation/Foundation.h>

#include <signal.h>
#include <stdio.h>
#include <sys/prctl.h>

#include "tests/macos/agent_replies.h"

#include "platform/macos/objc_support.h"

namespace {

constexpr NSTimeInterval kSendLimit = 20;

std::string BytesOf(NSData* data) {
  return std::string(static_cast<const char*>([data bytes]), [data length]);
}

NSData* DataOf(const std::string& bytes) {
  return [NSData dataWithBytes:bytes.data() length:bytes.size()];
}

}  // namespace

extern "C" const char* __lsan_default_suppressions() { return "leak:libgnustep-\nleak:libobjc\n"; }

@interface PortAgent : NSObject <NSPortDelegate> {
 @public
  FILE* notes;
}
@end

@implementation PortAgent

- (void)handlePortMessage:(NSPortMessage*)message {
  NSArray* parts = [message components];
  if ([parts count] != 2) {
    fprintf(notes, "%u components\n", static_cast<unsigned>([parts count]));
    return;
  }
  std::string note;
  const auto replies = kelvo::test::AgentReplies(
      {BytesOf([parts objectAtIndex:0]), BytesOf([parts objectAtIndex:1])}, &note);
  fprintf(notes, "%s\n", note.c_str());
  fflush(notes);
  for (const kelvo::test::PortMessageBytes& reply : replies) {
    NSArray* components = [NSArray arrayWithObjects:DataOf(reply.name), DataOf(reply.archive), nil];
    NSPortMessage* answer =
        KELVO_OBJC_AUTORELEASE([[NSPortMessage alloc] initWithSendPort:[message sendPort]
                                                           receivePort:[message receivePort]
                                                            components:components]);
    if (![answer sendBeforeDate:[NSDate dateWithTimeIntervalSinceNow:kSendLimit]]) {
      fprintf(notes, "not sent: %s\n", reply.name.c_str());
      fflush(notes);
    }
  }
}

@end

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  @autoreleasepool {
    PortAgent* agent = [[PortAgent alloc] init];
    agent->notes = fopen(argv[2], "a");
    NSPort* port = [NSPort port];
    [port setDelegate:agent];
    [[NSRunLoop currentRunLoop] addPort:port forMode:NSDefaultRunLoopMode];
    NSString* name = [NSString stringWithUTF8String:argv[1]];
    if (agent->notes == nullptr || ![[NSMachBootstrapServer sharedInstance] registerPort:port
                                                                                    name:name]) {
      return 1;
    }
    fprintf(agent->notes, "ready\n");
    fflush(agent->notes);
    for (;;) {
      @autoreleasepool {
        [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate distantFuture]];
      }
    }
  }
}

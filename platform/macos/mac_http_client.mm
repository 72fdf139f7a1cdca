#include "platform/macos/mac_http_client.h"

#import <Foundation/Foundation.h>
#import <Security/Security.h>

#include "platform/macos/http_load.h"
#include "platform/macos/objc_support.h"
#include "platform/macos/run_loop_modes.h"

// Of the platform's loaders this one needs no blocks.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

using kelvo::HttpLoad;

// What the platform's loader calls. The loader and the timer keep it until they are stopped.
@interface KelvoLoadDelegate : NSObject {
 @public
  HttpLoad* load_;  // null once stopped
  NSURLConnection* connection_;
  NSTimer* timer_;
  BOOL allowsAnyCertificate_;
}
- (BOOL)loadRequest:(const kelvo::HttpRequest&)request;
- (void)stop;
@end

@implementation KelvoLoadDelegate

- (BOOL)loadRequest:(const kelvo::HttpRequest&)request {
  NSString* text = kelvo::StringFromUtf8(request.url);
  NSURL* url = text == nil ? nil : [NSURL URLWithString:text];
  if ([[url host] length] == 0) return NO;
  const auto seconds = static_cast<NSTimeInterval>(request.timeout.count());
  NSMutableURLRequest* order = [NSMutableURLRequest
       requestWithURL:url
          cachePolicy:request.ignoresLocalCache ? NSURLRequestReloadIgnoringLocalCacheData
                                                : NSURLRequestUseProtocolCachePolicy
      timeoutInterval:seconds];
  [order setHTTPShouldHandleCookies:NO];
  allowsAnyCertificate_ = request.allowsAnyHTTPSCertificate;
  // The loader's own limit begins anew with every piece that comes.
  timer_ = KELVO_OBJC_RETAIN([NSTimer timerWithTimeInterval:seconds
                                                     target:self
                                                   selector:@selector(timeOut:)
                                                   userInfo:nil
                                                    repeats:NO]);
  connection_ = [[NSURLConnection alloc] initWithRequest:order delegate:self startImmediately:NO];
  NSRunLoop* loop = [NSRunLoop currentRunLoop];
  for (NSString* mode in kelvo::ExtensionRunLoopModes()) {
    [loop addTimer:timer_ forMode:mode];
    [connection_ scheduleInRunLoop:loop forMode:mode];
  }
  [connection_ start];
  return YES;
}

- (void)stop {
  [timer_ invalidate];
  KELVO_OBJC_RELEASE(timer_);
  [connection_ cancel];
  KELVO_OBJC_RELEASE(connection_);
}

- (void)timeOut:(NSTimer*)timer {
  (void)timer;
  if (load_ != nullptr) load_->TimedOut();
}

- (NSURLRequest*)connection:(NSURLConnection*)connection
            willSendRequest:(NSURLRequest*)request
           redirectResponse:(NSURLResponse*)response {
  if (response == nil) return request;
  if (connection == connection_ && load_ != nullptr) {
    NSURL* url = [NSURL URLWithString:[[request URL] absoluteString] relativeToURL:[response URL]];
    load_->Redirected(kelvo::Utf8FromString([url absoluteString]));
  }
  return nil;  // a request of its own follows it
}

- (void)connection:(NSURLConnection*)connection
    willSendRequestForAuthenticationChallenge:(NSURLAuthenticationChallenge*)challenge {
  (void)connection;
  NSURLProtectionSpace* space = [challenge protectionSpace];
  id sender = [challenge sender];
  if (allowsAnyCertificate_ &&
      [[space authenticationMethod] isEqualToString:NSURLAuthenticationMethodServerTrust]) {
    [sender useCredential:[NSURLCredential credentialForTrust:[space serverTrust]]
        forAuthenticationChallenge:challenge];
  } else {
    [sender performDefaultHandlingForAuthenticationChallenge:challenge];
  }
}

- (void)connection:(NSURLConnection*)connection didReceiveResponse:(NSURLResponse*)response {
  if (connection != connection_ || load_ == nullptr) return;
  load_->Responded(static_cast<int>([(NSHTTPURLResponse*)response statusCode]));
}

- (void)connection:(NSURLConnection*)connection didReceiveData:(NSData*)data {
  if (connection != connection_ || load_ == nullptr) return;
  load_->Received({static_cast<const char*>([data bytes]), [data length]});
}

- (void)connection:(NSURLConnection*)connection didFailWithError:(NSError*)error {
  if (connection != connection_ || load_ == nullptr) return;
  load_->Failed(kelvo::Utf8FromString([error localizedDescription]));
}

- (void)connectionDidFinishLoading:(NSURLConnection*)connection {
  if (connection == connection_ && load_ != nullptr) load_->Finished();
}

@end

namespace kelvo {
namespace {

class MacHttpTransfer : public HttpTransfer, private HttpLoader {
 public:
  explicit MacHttpTransfer(HttpTransferDelegate& delegate) : load_(*this, delegate) {
    target_->load_ = &load_;
  }
  ~MacHttpTransfer() override {
    @autoreleasepool {
      target_->load_ = nullptr;
      [target_ stop];
      KELVO_OBJC_RELEASE(target_);
    }
  }
  HttpLoad& load() { return load_; }

 private:
  bool Load(const HttpRequest& request) override {
    @autoreleasepool {
      @try {
        [target_ stop];
        return [target_ loadRequest:request] != NO;
      } @catch (NSException* exception) {
        LogException("URL loading", exception);
        return false;
      }
    }
  }
  void Stop() override {
    @autoreleasepool {
      [target_ stop];
    }
  }

  KelvoLoadDelegate* target_ = [[KelvoLoadDelegate alloc] init];
  HttpLoad load_;
};

}  // namespace

std::unique_ptr<HttpTransfer> MacHttpClient::start(const HttpRequest& request,
                                                   HttpTransferDelegate& delegate) {
  auto transfer = std::make_unique<MacHttpTransfer>(delegate);
  if (!transfer->load().Begin(request)) return nullptr;
  return transfer;
}

void MacHttpClient::sendSynchronously(const HttpRequest& request, HttpTransferDelegate& delegate) {
  MacHttpTransfer transfer(delegate);
  if (!transfer.load().Begin(request)) {
    delegate.didFailWithError({"This is not an address on the web.", request.url});
    return;
  }
  while (!transfer.load().HasEnded()) {
    @autoreleasepool {
      [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode
                               beforeDate:[NSDate dateWithTimeIntervalSinceNow:1]];
    }
  }
}

}  // namespace kelvo

#import <Foundation/Foundation.h>
#import <Security/Security.h>

#include <cstddef>
#include <utility>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"
#include "platform/operation_queue.h"

namespace zor {
namespace {

// The platform takes an empty name for no question at all.
bool isUsable(const TrustPolicy& policy) {
  if (!policy.serverHostName.has_value()) return true;
  const std::string& host = *policy.serverHostName;
  return !host.empty() && host.front() != '.' && host.find('\0') == std::string::npos;
}

id securityPolicy(const TrustPolicy& policy) {
  if (!isUsable(policy)) return nil;
  if (!policy.serverHostName.has_value()) return CFBridgingRelease(SecPolicyCreateBasicX509());
  NSString* host = foundationString(*policy.serverHostName);
  if (host == nil) return nil;
  constexpr Boolean kForServer = true;
  return CFBridgingRelease(SecPolicyCreateSSL(kForServer, (__bridge CFStringRef)host));
}

// Why a trust that was evaluated is not trusted.
std::string reasonOf(SecTrustRef trust) {
  CFErrorRef error = nullptr;
  if (SecTrustEvaluateWithError(trust, &error)) return {};
  NSError* reason = CFBridgingRelease(error);
  return textFromString(reason.localizedDescription).value_or("");
}

class MacServerTrust final : public ServerTrust {
 public:
  // Keeps a reference to `trust`, which is not null.
  explicit MacServerTrust(SecTrustRef trust) : _trust((__bridge id)trust) {}

  bool setPolicies(const std::vector<TrustPolicy>& policies) override {
    @autoreleasepool {
      NSMutableArray* list = [NSMutableArray array];
      for (const TrustPolicy& policy : policies) {
        id converted = securityPolicy(policy);
        if (converted == nil) return false;
        [list addObject:converted];
      }
      return list.count > 0 &&
             SecTrustSetPolicies(trust(), (__bridge CFTypeRef)list) == errSecSuccess;
    }
  }

  std::optional<TrustEvaluation> evaluate() override {
    @autoreleasepool {
      SecTrustResultType result = kSecTrustResultInvalid;
      // Deprecated for a call that tells trusted from untrusted only; the delegate asks for the
      // kind.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
      const OSStatus status = SecTrustEvaluate(trust(), &result);
#pragma clang diagnostic pop
      if (status != errSecSuccess) return std::nullopt;
      const bool trusted = result == kSecTrustResultUnspecified || result == kSecTrustResultProceed;
      return TrustEvaluation{static_cast<TrustResult>(result), trusted ? "" : reasonOf(trust())};
    }
  }

  bool credentialAvailable() override {
    @autoreleasepool {
      return credential() != nil;
    }
  }

  NSURLCredential* credential() const { return [NSURLCredential credentialForTrust:trust()]; }

 private:
  SecTrustRef trust() const { return (__bridge SecTrustRef)_trust; }

  const id _trust;
};

NSError* errorWithCode(URLErrorCode code) {
  return [NSError errorWithDomain:NSURLErrorDomain code:static_cast<NSInteger>(code) userInfo:nil];
}

ZORError errorFromObject(NSError* error) {
  return {textFromString(error.domain).value_or(""), error.code,
          textFromString(error.localizedDescription).value_or("")};
}

// nullopt: `response` is nil or none of HTTP.
std::optional<URLResponse> responseFromObject(NSURLResponse* response) {
  if (![response isKindOfClass:NSHTTPURLResponse.class]) return std::nullopt;
  auto* http = static_cast<NSHTTPURLResponse*>(response);
  URLResponse result;
  result.statusCode = static_cast<int>(http.statusCode);
  result.url = textFromString(http.URL.absoluteString).value_or("");
  NSDictionary* headers = http.allHeaderFields;
  for (NSString* name in headers) {
    result.headers.emplace_back(textFromString(name).value_or(""),
                                textFromString(headers[name]).value_or(""));
  }
  return result;
}

std::size_t headerBytes(const URLResponse& response) {
  std::size_t bytes = 0;
  for (const auto& [name, value] : response.headers) bytes += name.size() + value.size();
  return bytes;
}

bool isHttps(NSURL* url) {
  return url.scheme != nil && [url.scheme caseInsensitiveCompare:@"https"] == NSOrderedSame;
}

// nil: the URL is none.
NSURLRequest* foundationRequest(const URLRequest& request) {
  NSString* text = foundationString(request.url);
  NSURL* url = text == nil ? nil : [NSURL URLWithString:text];
  NSString* method = foundationString(request.method);
  if (url == nil || method == nil) return nil;
  NSMutableURLRequest* result = [NSMutableURLRequest requestWithURL:url];
  result.HTTPMethod = method;
  for (const auto& [name, value] : request.headers) {
    NSString* field = foundationString(name);
    NSString* content = foundationString(value);
    if (field != nil && content != nil) [result addValue:content forHTTPHeaderField:field];
  }
  if (!request.body.empty()) result.HTTPBody = foundationData(request.body);
  if (request.timeoutSeconds.has_value()) result.timeoutInterval = *request.timeoutSeconds;
  return result;
}

NSURLSessionConfiguration* configurationFor(const URLRequest& request) {
  NSURLSessionConfiguration* configuration =
      [NSURLSessionConfiguration defaultSessionConfiguration];
  // The request's own figure counts from the last byte that came in, this one from the start.
  configuration.timeoutIntervalForResource =
      request.timeoutSeconds.value_or(kDefaultTimeoutSeconds);
  return configuration;
}

using ChallengeAnswer = void (^)(NSURLSessionAuthChallengeDisposition disposition,
                                 NSURLCredential* credential);

// Refused unless the delegate says otherwise; asked exactly once, answered exactly once.
void answerChallenge(NSURLAuthenticationChallenge* challenge,
                     const std::shared_ptr<URLSessionDelegate>& delegate, ChallengeAnswer answer) {
  NSURLProtectionSpace* space = challenge.protectionSpace;
  AuthenticationChallenge question;
  std::shared_ptr<MacServerTrust> trust;
  if ([space.authenticationMethod isEqualToString:NSURLAuthenticationMethodServerTrust]) {
    question.method = AuthenticationMethod::serverTrust;
    if (space.serverTrust != nullptr) trust = std::make_shared<MacServerTrust>(space.serverTrust);
    question.serverTrust = trust;
  }
  auto disposition = ChallengeDisposition::rejectProtectionSpace;
  bool wantsCredential = false;
  try {
    if (delegate != nullptr) {
      delegate->didReceiveChallenge(
          question, [&disposition, &wantsCredential](ChallengeDisposition chosen, bool with) {
            disposition = chosen;
            wantsCredential = with;
          });
    }
  } catch (...) {
    disposition = ChallengeDisposition::rejectProtectionSpace;
    wantsCredential = false;
  }
  NSURLCredential* credential = wantsCredential && trust != nullptr ? trust->credential() : nil;
  answer(static_cast<NSURLSessionAuthChallengeDisposition>(disposition), credential);
}

}  // namespace
}  // namespace zor

// One exchange: the delegate of a session of its own, which keeps it until the task is over. Its
// methods are called on that session's serial queue; what it calls runs on the library's.
@interface ZORURLExchange : NSObject <NSURLSessionDataDelegate>
- (instancetype)initWithDelegate:(std::weak_ptr<zor::URLSessionDelegate>)delegate
                           queue:(zor::OperationQueue&)queue
                      completion:(zor::TransportCompletion)completion;
// Delivers the outcome on the library's queue; the first call counts, later ones do nothing.
- (void)finishWithResponse:(NSURLResponse*)response error:(NSError*)error;
@end

@implementation ZORURLExchange {
  std::weak_ptr<zor::URLSessionDelegate> _delegate;
  zor::OperationQueue* _queue;  // Outlives the session.
  zor::TransportCompletion _completion;
  zor::Data _body;
  NSError* _ownError;  // Why the task was cancelled from here; nil when it was not.
  BOOL _finished;
}

- (instancetype)initWithDelegate:(std::weak_ptr<zor::URLSessionDelegate>)delegate
                           queue:(zor::OperationQueue&)queue
                      completion:(zor::TransportCompletion)completion {
  self = [super init];
  if (self != nil) {
    _delegate = std::move(delegate);
    _queue = &queue;
    _completion = std::move(completion);
  }
  return self;
}

- (void)finishWithResponse:(NSURLResponse*)response error:(NSError*)error {
  if (_finished) return;
  _finished = YES;
  std::optional<zor::Data> body;
  std::optional<zor::ZORError> failure;
  if (error == nil) {
    body = std::move(_body);
  } else {
    failure = zor::errorFromObject(error);
  }
  _queue->addOperation([completion = std::move(_completion), body = std::move(body),
                        answer = zor::responseFromObject(response), failure] {
    if (completion) completion(body, answer, failure);
  });
}

- (void)cancelTask:(NSURLSessionTask*)task because:(zor::URLErrorCode)code {
  _ownError = zor::errorWithCode(code);
  [task cancel];
}

- (void)URLSession:(NSURLSession*)session
    didReceiveChallenge:(NSURLAuthenticationChallenge*)challenge
      completionHandler:(zor::ChallengeAnswer)completionHandler {
  if (completionHandler == nil) return;
  zor::ChallengeAnswer answer = [completionHandler copy];
  _queue->addOperation([delegate = _delegate, challenge, answer] {
    @autoreleasepool {
      zor::answerChallenge(challenge, delegate.lock(), answer);
    }
  });
}

- (void)URLSession:(NSURLSession*)session
                          task:(NSURLSessionTask*)task
    willPerformHTTPRedirection:(NSHTTPURLResponse*)response
                    newRequest:(NSURLRequest*)request
             completionHandler:(void (^)(NSURLRequest* request))completionHandler {
  if (zor::isHttps(request.URL)) return completionHandler(request);
  [self cancelTask:task because:zor::URLErrorCode::unsupportedURL];
  completionHandler(nil);
}

- (void)URLSession:(NSURLSession*)session
              dataTask:(NSURLSessionDataTask*)dataTask
    didReceiveResponse:(NSURLResponse*)response
     completionHandler:(void (^)(NSURLSessionResponseDisposition disposition))completionHandler {
  const auto answer = zor::responseFromObject(response);
  if (answer.has_value() && zor::headerBytes(*answer) > zor::kLargestHeaderBytes) {
    [self cancelTask:dataTask because:zor::URLErrorCode::dataLengthExceedsMaximum];
    return completionHandler(NSURLSessionResponseCancel);
  }
  completionHandler(NSURLSessionResponseAllow);
}

- (void)URLSession:(NSURLSession*)session
          dataTask:(NSURLSessionDataTask*)dataTask
    didReceiveData:(NSData*)data {
  if (_ownError != nil) return;
  if (data.length > zor::kLargestBodyBytes - _body.size()) {
    [self cancelTask:dataTask because:zor::URLErrorCode::dataLengthExceedsMaximum];
    return;
  }
  const zor::Data bytes = zor::bytesFromData(data);
  _body.insert(_body.end(), bytes.begin(), bytes.end());
}

- (void)URLSession:(NSURLSession*)session
                    task:(NSURLSessionTask*)task
    didCompleteWithError:(NSError*)error {
  [self finishWithResponse:task.response error:_ownError != nil ? _ownError : error];
}

@end

namespace zor {
namespace {

// The platform asks about a server once for each connection, and keeps connections for the session.
// A session for each exchange has it ask anew, so that a connection that was judged for one name
// never serves another.
class MacURLSession final : public URLSession {
 public:
  MacURLSession(std::weak_ptr<URLSessionDelegate> delegate, OperationQueue& queue)
      : _delegate(std::move(delegate)), _queue(queue) {}

  void startDataTask(const URLRequest& request, TransportCompletion completion) override {
    @autoreleasepool {
      ZORURLExchange* exchange = [[ZORURLExchange alloc] initWithDelegate:_delegate
                                                                    queue:_queue
                                                               completion:std::move(completion)];
      NSURLRequest* converted = foundationRequest(request);
      if (converted == nil || !isHttps(converted.URL)) {
        const auto code = converted == nil ? URLErrorCode::badURL : URLErrorCode::unsupportedURL;
        [exchange finishWithResponse:nil error:errorWithCode(code)];
        return;
      }
      NSURLSession* session = [NSURLSession sessionWithConfiguration:configurationFor(request)
                                                            delegate:exchange
                                                       delegateQueue:nil];
      [[session dataTaskWithRequest:converted] resume];
      [session finishTasksAndInvalidate];  // Lets go of the exchange once the task is over.
    }
  }

 private:
  const std::weak_ptr<URLSessionDelegate> _delegate;
  OperationQueue& _queue;
};

class MacURLLoading final : public URLLoadingPort {
 public:
  std::unique_ptr<URLSession> createSession(std::weak_ptr<URLSessionDelegate> delegate,
                                            OperationQueue& queue) override {
    return std::make_unique<MacURLSession>(std::move(delegate), queue);
  }
};

}  // namespace

URLLoadingPort& macosURLLoadingPort() {
  static auto& port = *new MacURLLoading;
  return port;
}

}  // namespace zor

#import <Foundation/Foundation.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <utility>

#include "platform/connect_to.h"
#include "platform/macos/macos_ports.h"
#include "platform/macos/server_trust_macos.h"
#include "platform/macos/values_macos.h"
#include "platform/operation_queue.h"

namespace zor {
namespace {

constexpr NSInteger kHttpsPort = 443;

// Settings of a loader that a program made for itself; the library's own loader has none.
struct LoaderSettings {
  std::vector<std::string> connectTo;
  bool takesRootsFromEnvironment = false;
};

NSError* errorWithCode(URLErrorCode code) {
  return [NSError errorWithDomain:NSURLErrorDomain code:static_cast<NSInteger>(code) userInfo:nil];
}

ZORError errorFromObject(NSError* error) {
  return {textFromString(error.domain).value_or(""), error.code,
          textFromString(error.localizedDescription).value_or("")};
}

// nullopt: `response` is nil or not an HTTP response.
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

NSInteger portOf(NSURL* url) { return url.port == nil ? kHttpsPort : url.port.integerValue; }

bool isSameEndpoint(NSURL* left, NSURL* right) {
  return left.host != nil && right.host != nil && portOf(left) == portOf(right) &&
         [left.host caseInsensitiveCompare:right.host] == NSOrderedSame;
}

// `request` redirected as `connectTo` says, but still for the host in its URL. The platform always
// connects to the host in the URL, so the URL itself is changed.
NSURLRequest* requestConnectingTo(NSURLRequest* request,
                                  const std::vector<std::string>& connectTo) {
  NSURLComponents* parts = [NSURLComponents componentsWithURL:request.URL
                                      resolvingAgainstBaseURL:YES];
  const auto host = textFromString(request.URL.host);
  if (connectTo.empty() || parts == nil || !host.has_value()) return request;
  const Endpoint asked{*host, std::to_string(portOf(request.URL))};
  const Endpoint endpoint = connectEndpoint(connectTo, asked);
  if (endpoint.host == asked.host && endpoint.port == asked.port) return request;
  parts.host = foundationString(endpoint.host);
  parts.port = @(std::stoi(endpoint.port));
  NSString* named = request.URL.port == nil
                        ? request.URL.host
                        : [NSString stringWithFormat:@"%@:%@", request.URL.host, request.URL.port];
  NSMutableURLRequest* changed = [request mutableCopy];
  changed.URL = parts.URL;
  [changed setValue:named forHTTPHeaderField:@"Host"];
  return changed;
}

// nil: the URL is not valid.
NSURLRequest* foundationRequest(const URLRequest& request) {
  NSString* text = foundationString(request.url);
  NSURL* url = text == nil ? nil : [NSURL URLWithString:text];
  NSString* method = foundationString(request.method);
  if (url == nil || method == nil) return nil;
  NSMutableURLRequest* result = [NSMutableURLRequest requestWithURL:url];
  // An answer from the cache would arrive without a challenge about its server.
  result.cachePolicy = NSURLRequestReloadIgnoringLocalCacheData;
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

// The platform takes zero as its default.
constexpr double kMinTimeoutSeconds = 0.001;

NSURLSessionConfiguration* configurationFor(const URLRequest& request) {
  NSURLSessionConfiguration* configuration =
      [NSURLSessionConfiguration defaultSessionConfiguration];
  // NSURLRequest's timeout counts from the last byte received, this one from the start.
  double seconds = request.timeoutSeconds.value_or(kDefaultTimeoutSeconds);
  if (request.deadline.has_value()) {
    const std::chrono::duration<double> left = *request.deadline - std::chrono::steady_clock::now();
    seconds = std::min(seconds, std::max(left.count(), kMinTimeoutSeconds));
  }
  configuration.timeoutIntervalForResource = seconds;
  return configuration;
}

using ChallengeCompletionBlock = void (^)(NSURLSessionAuthChallengeDisposition disposition,
                                          NSURLCredential* credential);

// Gives the platform exactly one answer to a challenge, however often it is called. Callable from
// any thread.
class SingleDecision {
 public:
  explicit SingleDecision(ChallengeCompletionBlock completion) : _completion([completion copy]) {}

  // Returns the disposition that the platform was given: this one or an earlier one.
  ChallengeDisposition give(ChallengeDisposition disposition, NSURLCredential* credential) {
    std::call_once(_given, [&] {
      _disposition = disposition;
      _completion(static_cast<NSURLSessionAuthChallengeDisposition>(disposition), credential);
    });
    return _disposition;
  }

 private:
  const ChallengeCompletionBlock _completion;
  std::once_flag _given;
  ChallengeDisposition _disposition = ChallengeDisposition::rejectProtectionSpace;
};

// Asks `delegate` and passes its answer on; refuses if it is gone, throws or does not answer. The
// delegate may keep what it is given. Returns the answer that was passed on.
ChallengeDisposition respondToChallenge(NSURLAuthenticationChallenge* challenge, NSArray* roots,
                                        const std::shared_ptr<URLSessionDelegate>& delegate,
                                        ChallengeCompletionBlock completion) {
  NSURLProtectionSpace* space = challenge.protectionSpace;
  AuthenticationChallenge question;
  std::shared_ptr<MacServerTrust> trust;
  if ([space.authenticationMethod isEqualToString:NSURLAuthenticationMethodServerTrust]) {
    question.method = AuthenticationMethod::serverTrust;
    if (space.serverTrust != nullptr) {
      trust = std::make_shared<MacServerTrust>(space.serverTrust, roots);
    }
    question.serverTrust = trust;
  }
  const auto answer = std::make_shared<SingleDecision>(completion);
  try {
    if (delegate != nullptr) {
      delegate->didReceiveChallenge(question, [answer, trust](ChallengeDisposition disposition,
                                                              bool withCredential) {
        @autoreleasepool {
          answer->give(disposition, withCredential && trust != nullptr ? trust->credential() : nil);
        }
      });
    }
  } catch (...) {  // NOLINT(bugprone-empty-catch): no answer, so a refusal.
  }
  return answer->give(ChallengeDisposition::rejectProtectionSpace, nil);
}

}  // namespace
}  // namespace zor

// One exchange: the delegate of its own session, which retains it until the task is over. Its
// methods are called on that session's serial queue, where no code of the host runs; completions
// run on the library's queue.
@interface ZORURLExchange : NSObject <NSURLSessionDataDelegate>
- (instancetype)initWithDelegate:(std::weak_ptr<zor::URLSessionDelegate>)delegate
                        settings:(std::shared_ptr<const zor::LoaderSettings>)settings
                           queue:(zor::OperationQueue&)queue
                      completion:(zor::TransportCompletion)completion;
// Sends `request` in a session of its own.
- (void)start:(const zor::URLRequest&)request;
@end

@implementation ZORURLExchange {
  std::weak_ptr<zor::URLSessionDelegate> _delegate;
  std::shared_ptr<const zor::LoaderSettings> _settings;
  zor::OperationQueue* _queue;  // Outlives the session.
  zor::TransportCompletion _completion;
  std::string _askedURL;  // What the request named,
  NSURL* _connectedURL;   // and where it was sent.
  zor::Data _body;
  NSError* _ownError;  // Why this object ends the exchange; nil if it does not.
  // Whether the delegate was asked about the server that is answering. A resumed TLS session brings
  // an answer without a challenge.
  BOOL _asked;
  BOOL _finished;
}

- (instancetype)initWithDelegate:(std::weak_ptr<zor::URLSessionDelegate>)delegate
                        settings:(std::shared_ptr<const zor::LoaderSettings>)settings
                           queue:(zor::OperationQueue&)queue
                      completion:(zor::TransportCompletion)completion {
  self = [super init];
  if (self != nil) {
    _delegate = std::move(delegate);
    _settings = std::move(settings);
    _queue = &queue;
    _completion = std::move(completion);
  }
  return self;
}

- (void)start:(const zor::URLRequest&)request {
  NSURLRequest* converted = zor::foundationRequest(request);
  if (converted == nil || !zor::isHttps(converted.URL)) {
    const auto code =
        converted == nil ? zor::URLErrorCode::badURL : zor::URLErrorCode::unsupportedURL;
    return [self finishWithResponse:nil error:zor::errorWithCode(code)];
  }
  converted = zor::requestConnectingTo(converted, _settings->connectTo);
  _askedURL = request.url;
  _connectedURL = converted.URL;
  NSURLSession* session = [NSURLSession sessionWithConfiguration:zor::configurationFor(request)
                                                        delegate:self
                                                   delegateQueue:nil];
  [[session dataTaskWithRequest:converted] resume];
  [session finishTasksAndInvalidate];  // Releases the exchange once the task is over.
}

// Delivers the outcome on the library's queue; the first call counts, later ones do nothing.
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
  auto answer = zor::responseFromObject(response);
  if (answer.has_value() && [response.URL isEqual:_connectedURL]) answer->url = _askedURL;
  _queue->addOperation(
      [completion = std::move(_completion), body = std::move(body), answer, failure] {
        if (completion) completion(body, answer, failure);
      });
}

- (void)cancelTask:(NSURLSessionTask*)task because:(zor::URLErrorCode)code {
  _ownError = zor::errorWithCode(code);
  [task cancel];
}

// If the delegate was not asked about the server that is answering, cancels the task and returns
// NO.
- (BOOL)acceptsServerOf:(NSURLSessionTask*)task {
  if (!_asked) [self cancelTask:task because:zor::URLErrorCode::serverCertificateUntrusted];
  return _asked;
}

- (void)URLSession:(NSURLSession*)session
    didReceiveChallenge:(NSURLAuthenticationChallenge*)challenge
      completionHandler:(zor::ChallengeCompletionBlock)completionHandler {
  if (completionHandler == nil) return;
  @autoreleasepool {
    NSArray* roots = _settings->takesRootsFromEnvironment ? zor::rootsFromEnvironment() : nil;
    const auto disposition =
        zor::respondToChallenge(challenge, roots, _delegate.lock(), completionHandler);
    if (![challenge.protectionSpace.authenticationMethod
            isEqualToString:NSURLAuthenticationMethodServerTrust]) {
      return;
    }
    _asked = YES;
    // The platform's own error for a refusal is not always the one for an untrusted certificate.
    if (disposition == zor::ChallengeDisposition::rejectProtectionSpace) {
      _ownError = zor::errorWithCode(zor::URLErrorCode::serverCertificateUntrusted);
    }
  }
}

- (void)URLSession:(NSURLSession*)session
                          task:(NSURLSessionTask*)task
    willPerformHTTPRedirection:(NSHTTPURLResponse*)response
                    newRequest:(NSURLRequest*)request
             completionHandler:(void (^)(NSURLRequest* request))completionHandler {
  if (![self acceptsServerOf:task]) return completionHandler(nil);
  if (!zor::isHttps(request.URL)) {
    [self cancelTask:task because:zor::URLErrorCode::unsupportedURL];
    return completionHandler(nil);
  }
  NSURLRequest* next = zor::requestConnectingTo(request, _settings->connectTo);
  if (!zor::isSameEndpoint(next.URL, response.URL)) _asked = NO;
  completionHandler(next);
}

- (void)URLSession:(NSURLSession*)session
              dataTask:(NSURLSessionDataTask*)dataTask
    didReceiveResponse:(NSURLResponse*)response
     completionHandler:(void (^)(NSURLSessionResponseDisposition disposition))completionHandler {
  if (![self acceptsServerOf:dataTask]) return completionHandler(NSURLSessionResponseCancel);
  const auto answer = zor::responseFromObject(response);
  if (answer.has_value() && zor::headerBytes(*answer) > zor::kMaxHeaderBytes) {
    [self cancelTask:dataTask because:zor::URLErrorCode::dataLengthExceedsMaximum];
    return completionHandler(NSURLSessionResponseCancel);
  }
  completionHandler(NSURLSessionResponseAllow);
}

- (void)URLSession:(NSURLSession*)session
          dataTask:(NSURLSessionDataTask*)dataTask
    didReceiveData:(NSData*)data {
  if (_ownError != nil) return;
  if (data.length > zor::kMaxBodyBytes - _body.size()) {
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
// With one session for each exchange it asks every time, so a connection that was judged for one
// name never serves another.
class MacURLSession final : public URLSession {
 public:
  MacURLSession(std::weak_ptr<URLSessionDelegate> delegate,
                std::shared_ptr<const LoaderSettings> settings, OperationQueue& queue)
      : _delegate(std::move(delegate)), _settings(std::move(settings)), _queue(queue) {}

  void startDataTask(const URLRequest& request, TransportCompletion completion) override {
    @autoreleasepool {
      [[[ZORURLExchange alloc] initWithDelegate:_delegate
                                       settings:_settings
                                          queue:_queue
                                     completion:std::move(completion)] start:request];
    }
  }

 private:
  const std::weak_ptr<URLSessionDelegate> _delegate;
  const std::shared_ptr<const LoaderSettings> _settings;
  OperationQueue& _queue;
};

class MacURLLoading final : public URLLoadingPort {
 public:
  explicit MacURLLoading(LoaderSettings settings = {})
      : _settings(std::make_shared<const LoaderSettings>(std::move(settings))) {}

  std::unique_ptr<URLSession> createSession(std::weak_ptr<URLSessionDelegate> delegate,
                                            OperationQueue& queue) override {
    return std::make_unique<MacURLSession>(std::move(delegate), _settings, queue);
  }

 private:
  const std::shared_ptr<const LoaderSettings> _settings;
};

}  // namespace

std::unique_ptr<URLLoadingPort> makeURLLoading(URLLoadingOptions options) {
  constexpr bool kTakesRootsFromEnvironment = true;
  return std::make_unique<MacURLLoading>(
      LoaderSettings{std::move(options.connectTo), kTakesRootsFromEnvironment});
}

URLLoadingPort& macosURLLoadingPort() {
  static constinit MadeOnce<MacURLLoading> port;
  return port.get();
}

}  // namespace zor

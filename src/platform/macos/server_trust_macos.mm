#include "platform/macos/server_trust_macos.h"

#include <cstdlib>

#include "platform/macos/values_macos.h"

namespace zor {
namespace {

// The platform takes an empty name as no check at all.
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

// nil: `base64` does not encode a certificate.
id certificateFromBase64(NSString* base64) {
  NSData* bytes =
      [[NSData alloc] initWithBase64EncodedString:base64
                                          options:NSDataBase64DecodingIgnoreUnknownCharacters];
  if (bytes == nil) return nil;
  return CFBridgingRelease(SecCertificateCreateWithData(nullptr, (__bridge CFDataRef)bytes));
}

}  // namespace

MacServerTrust::MacServerTrust(SecTrustRef trust, NSArray* roots) : _trust((__bridge id)trust) {
  if (roots == nil) return;
  constexpr Boolean kTheseAlone = false;
  SecTrustSetAnchorCertificates(trust, (__bridge CFArrayRef)roots);
  SecTrustSetAnchorCertificatesOnly(trust, kTheseAlone);
}

bool MacServerTrust::setPolicies(const std::vector<TrustPolicy>& policies) {
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

std::optional<TrustEvaluation> MacServerTrust::evaluate() {
  @autoreleasepool {
    CFErrorRef error = nullptr;
    const bool trusted = SecTrustEvaluateWithError(trust(), &error);
    NSError* reason = CFBridgingRelease(error);
    SecTrustResultType result = kSecTrustResultInvalid;
    if (SecTrustGetTrustResult(trust(), &result) != errSecSuccess) return std::nullopt;
    return TrustEvaluation{static_cast<TrustResult>(result),
                           trusted ? "" : textFromString(reason.localizedDescription).value_or("")};
  }
}

bool MacServerTrust::credentialAvailable() {
  @autoreleasepool {
    return credential() != nil;
  }
}

NSURLCredential* MacServerTrust::credential() const {
  return [NSURLCredential credentialForTrust:trust()];
}

NSArray* rootsFromEnvironment() {
  const char* path = std::getenv("SSL_CERT_FILE");
  NSString* place = path == nullptr ? nil : foundationString(path);
  if (place == nil) return nil;
  NSString* text = [NSString stringWithContentsOfFile:place
                                             encoding:NSUTF8StringEncoding
                                                error:nil];
  NSMutableArray* roots = [NSMutableArray array];
  for (NSString* part in [text componentsSeparatedByString:@"-----BEGIN CERTIFICATE-----"]) {
    NSRange end = [part rangeOfString:@"-----END CERTIFICATE-----"];
    if (end.location == NSNotFound) continue;
    id certificate = certificateFromBase64([part substringToIndex:end.location]);
    if (certificate != nil) [roots addObject:certificate];
  }
  return roots.count > 0 ? roots : nil;
}

}  // namespace zor

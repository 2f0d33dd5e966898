// A presented certificate chain and how it is judged. Objective-C++ only.
#ifndef ZOR_PLATFORM_MACOS_SERVER_TRUST_MACOS_H_
#define ZOR_PLATFORM_MACOS_SERVER_TRUST_MACOS_H_

#import <Foundation/Foundation.h>
#import <Security/Security.h>

#include "platform/url_loading_port.h"

namespace zor {

class MacServerTrust final : public ServerTrust {
 public:
  // Keeps a reference to `trust`, which is not null. `roots`, certificates or nil, are trusted in
  // addition to the system's.
  MacServerTrust(SecTrustRef trust, NSArray* roots);

  bool setPolicies(const std::vector<TrustPolicy>& policies) override;
  std::optional<TrustEvaluation> evaluate() override;
  bool credentialAvailable() override;

  // Callers hold an autorelease pool. nil: no credential can be made.
  NSURLCredential* credential() const;

 private:
  SecTrustRef trust() const { return (__bridge SecTrustRef)_trust; }

  const id _trust;
};

// The certificates in the PEM file that the environment variable SSL_CERT_FILE names; nil if there
// are none. Anything that is not a certificate is skipped. Callers hold an autorelease pool.
NSArray* rootsFromEnvironment();

}  // namespace zor

#endif  // ZOR_PLATFORM_MACOS_SERVER_TRUST_MACOS_H_

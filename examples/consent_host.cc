// A host that asks first: nothing is collected, kept or sent before the person agrees.
//
// usage: consent_host [yes|no|later|erase]
// Without an argument, it asks on the terminal if the user has not answered before.
#include <ZORFingerPrint/ZORFingerPrint.h>

#include <future>
#include <iostream>
#include <string>

namespace {

using zor::ZORConsent;
using zor::ZORFingerPrint;

constexpr const char* kQuestion =
    "To protect your account, this program recognizes your computer. It sends technical details "
    "of\n"
    "the computer and its network to our fingerprint service, and keeps an identifier here. You "
    "can\n"
    "refuse, and you can take it back at any time: what was kept is then erased.\n"
    "Do you agree? [yes/no/later] ";

// Keeps the answer. Everything but a clear yes or no leaves the question open.
void keepAnswer(const std::string& answer) {
  if (answer != "yes" && answer != "no") return;
  const auto consent = answer == "yes" ? ZORConsent::given : ZORConsent::refused;
  if (const auto error = ZORFingerPrint::setConsent(consent)) {
    std::cerr << error->localizedDescription << '\n';
  }
}

void askOnTerminal() {
  std::cout << kQuestion << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  keepAnswer(answer);
}

int erase() {
  bool complete = true;
  for (const zor::ZORErasedItem& item : ZORFingerPrint::eraseLocalData()) {
    if (item.outcome != zor::ZORErasureOutcome::notRemoved) continue;
    std::cerr << item.name << " was not removed: " << item.reason << '\n';
    complete = false;
  }
  return complete ? 0 : 1;
}

// Prints the outcome: what a host does without a fingerprint is its own decision.
int fetch() {
  std::promise<std::string> outcome;
  ZORFingerPrint::sharedInstance()->getFingerprint([&outcome](bool success,
                                                              const zor::ZORFingerprintError& error,
                                                              const std::string& fingerprint) {
    const auto* const failure = std::get_if<zor::ZORError>(&error);
    const bool noConsent = failure != nullptr && failure->code == ZOR_FINGERPRINT_ERROR_NO_CONSENT;
    outcome.set_value(success     ? "fingerprint " + fingerprint
                      : noConsent ? "no consent"
                                  : "no fingerprint");
  });
  std::cout << outcome.get_future().get() << std::endl;
  return 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  // At every start, before anything else.
  zor::ZORConfig config;
  config.setConsentRequired(true);
  // This program has no use for where the machine is.
  if (const auto error = config.setWithheldEntries({"wifi", "dns-servers"})) {
    std::cerr << error->localizedDescription << '\n';
    return 1;
  }
  ZORFingerPrint::setWithConfig(config);

  const std::string answer = argumentCount > 1 ? arguments[1] : "";
  if (answer == "erase") return erase();
  if (!answer.empty()) {
    keepAnswer(answer);
  } else if (ZORFingerPrint::consent() == ZORConsent::unknown) {
    askOnTerminal();
  }
  return fetch();
}

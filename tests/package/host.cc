// A C++ host of the installed library.
#include <ZORFingerPrint/ZORFingerPrint.h>

#include <chrono>
#include <future>
#include <iostream>
#include <string>

// Whether values work across the library's interface.
bool readsValues() {
  const auto value = zor::zorsec_objectFromJSONString(R"({"list":[1,"two"]})");
  return value == zor::ZORValue::dictionary({{"list", zor::ZORValue::array({1, "two"})}});
}

int main() {
  if (!readsValues()) return 1;
  std::promise<std::string> outcome;
  zor::ZORFingerPrint::sharedInstance()->getFingerprint(
      [&](bool success, const zor::ZORFingerprintError& error, const std::string&) {
        const auto* const failure = std::get_if<zor::ZORError>(&error);
        outcome.set_value(success              ? "success"
                          : failure == nullptr ? "refused"
                                               : std::to_string(failure->code));
      });
  auto future = outcome.get_future();
  if (future.wait_for(std::chrono::seconds(30)) != std::future_status::ready) return 1;
  std::cout << "outcome " << future.get() << '\n'
            << "identifier " << zor::ZORFingerPrint::identifier() << '\n'
            << "number " << ZORFingerPrintVersionNumber << '\n'
            << "version " << zor::ZORFingerPrint::VERSION() << '\n';
}

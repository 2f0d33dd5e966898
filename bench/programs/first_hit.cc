// A host whose fingerprint is cached: loads the library and asks once.
#include <ZORFingerPrint/ZORFingerPrint.h>

int main() {
  return zor::ZORFingerPrint::sharedInstance()->getFingerprint(nullptr).empty() ? 1 : 0;
}

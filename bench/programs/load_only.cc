// A host that loads the library and asks for nothing.
#include <ZORFingerPrint/ZORFingerPrint.h>

int main() { return zor::ZORFingerPrint::VERSION().empty() ? 1 : 0; }

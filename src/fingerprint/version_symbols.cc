// The two symbols that every framework carries: name and version of the library for tools that look
// into a binary.
#include <ZORFingerPrint/ZORFingerPrint.h>

extern "C" {
const double ZORFingerPrintVersionNumber = 1.1;
const unsigned char ZORFingerPrintVersionString[] =
    "@(#)PROGRAM:ZORFingerPrint  PROJECT:ZORFingerPrint-1.1\n";
}

// The two symbols that every framework carries: name and version of the library for tools that look
// into a binary.
#include <ZORFingerPrint/ZORFingerPrint.h>
#include <ZORFingerPrint/ZORVersion.h>

// 1.2 as one number of the language, for version 1.2.
#define ZOR_POINTED_(major, minor) major##.##minor
#define ZOR_POINTED(major, minor) ZOR_POINTED_(major, minor)

extern "C" {
const double ZORFingerPrintVersionNumber =
    ZOR_POINTED(ZOR_FINGERPRINT_VERSION_MAJOR, ZOR_FINGERPRINT_VERSION_MINOR);
const unsigned char ZORFingerPrintVersionString[] =
    "@(#)PROGRAM:ZORFingerPrint  PROJECT:ZORFingerPrint-" ZOR_FINGERPRINT_TEXT_(
        ZOR_FINGERPRINT_VERSION_MAJOR) "." ZOR_FINGERPRINT_TEXT_(ZOR_FINGERPRINT_VERSION_MINOR) "\n";
}

/* The version of these headers, for hosts in C and C++. The version of the library at run time is
 * ZORFingerPrint::VERSION() or zor_fingerprint_version(); one that is newer than its headers serves
 * them as long as the major number is the same.
 *
 * The one place where the version stands: the build reads it from here.
 */
#ifndef ZORFINGERPRINT_ZORVERSION_H_
#define ZORFINGERPRINT_ZORVERSION_H_

#define ZOR_FINGERPRINT_VERSION_MAJOR 1
#define ZOR_FINGERPRINT_VERSION_MINOR 2
#define ZOR_FINGERPRINT_VERSION_PATCH 0

/* One number to compare with: 10203 for version 1.2.3. */
#define ZOR_FINGERPRINT_VERSION                                                  \
  (ZOR_FINGERPRINT_VERSION_MAJOR * 10000 + ZOR_FINGERPRINT_VERSION_MINOR * 100 + \
   ZOR_FINGERPRINT_VERSION_PATCH)

/* "1.2.3" */
#define ZOR_FINGERPRINT_VERSION_STRING                                                \
  ZOR_FINGERPRINT_TEXT_(ZOR_FINGERPRINT_VERSION_MAJOR)                                \
  "." ZOR_FINGERPRINT_TEXT_(ZOR_FINGERPRINT_VERSION_MINOR) "." ZOR_FINGERPRINT_TEXT_( \
      ZOR_FINGERPRINT_VERSION_PATCH)
#define ZOR_FINGERPRINT_TEXT_(number) ZOR_FINGERPRINT_QUOTED_(number)
#define ZOR_FINGERPRINT_QUOTED_(text) #text

#endif /* ZORFINGERPRINT_ZORVERSION_H_ */

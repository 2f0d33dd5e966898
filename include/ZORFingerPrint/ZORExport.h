// Marks what a host may link against; everything else stays hidden.
#ifndef ZORFINGERPRINT_ZOREXPORT_H_
#define ZORFINGERPRINT_ZOREXPORT_H_

#if defined(__GNUC__)
#define ZOR_EXPORT __attribute__((visibility("default")))
#else
#define ZOR_EXPORT
#endif

#endif  // ZORFINGERPRINT_ZOREXPORT_H_

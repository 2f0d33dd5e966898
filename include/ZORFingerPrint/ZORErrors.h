/* The codes of the library's own errors. In C++ they are ZORError::code where the domain is
 * "ZORFingerPrintErrorDomain", in C zor_fingerprint_error::code likewise. */
#ifndef ZORFINGERPRINT_ZORERRORS_H_
#define ZORFINGERPRINT_ZORERRORS_H_

/* The environment report could not be made. */
#define ZOR_FINGERPRINT_ERROR_NO_REPORT (-177)
/* The person at the machine has not agreed: consent is required and was not given, or was refused.
 */
#define ZOR_FINGERPRINT_ERROR_NO_CONSENT (-178)
/* A name is not one of the entries of the report. */
#define ZOR_FINGERPRINT_ERROR_UNKNOWN_ENTRY (-179)
/* A choice could not be kept on the disk; it holds as long as this process runs. */
#define ZOR_FINGERPRINT_ERROR_NOT_KEPT (-180)
/* Something that the library keeps could not be erased; it says what, and why. */
#define ZOR_FINGERPRINT_ERROR_NOT_ERASED (-181)

#endif /* ZORFINGERPRINT_ZORERRORS_H_ */

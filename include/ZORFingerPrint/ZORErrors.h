/* The codes of failed fingerprint requests, for hosts in C and C++. */
#ifndef ZORFINGERPRINT_ZORERRORS_H_
#define ZORFINGERPRINT_ZORERRORS_H_

/* The library's own errors: ZORError::code, in C zor_fingerprint_error.code, where the domain is
 * "ZORFingerPrintErrorDomain". */

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
/* The total time that the host allows for a request has passed. */
#define ZOR_FINGERPRINT_ERROR_TOTAL_TIME (-182)

/* In the domain "ZORHTTPDNSResults": the service was not reached by its name, and no other address
 * of it was found. */
#define ZOR_FINGERPRINT_ERROR_NO_ADDRESSES (-71003)

/* What went wrong on the wire, where the domain is "NSURLErrorDomain". The numbers are those of the
 * macOS system library, on every platform; there it may report others of its list as well. */
#define ZOR_FINGERPRINT_URL_ERROR_UNKNOWN (-1)
#define ZOR_FINGERPRINT_URL_ERROR_CANCELLED (-999)
#define ZOR_FINGERPRINT_URL_ERROR_BAD_URL (-1000)
/* No answer within the time limit of an exchange. */
#define ZOR_FINGERPRINT_URL_ERROR_TIMED_OUT (-1001)
/* Not HTTPS, also after a redirect. */
#define ZOR_FINGERPRINT_URL_ERROR_UNSUPPORTED_URL (-1002)
/* The name of the server, or of the proxy, has no address. */
#define ZOR_FINGERPRINT_URL_ERROR_CANNOT_FIND_HOST (-1003)
#define ZOR_FINGERPRINT_URL_ERROR_CANNOT_CONNECT (-1004)
/* The connection ended before the answer was complete. */
#define ZOR_FINGERPRINT_URL_ERROR_CONNECTION_LOST (-1005)
#define ZOR_FINGERPRINT_URL_ERROR_TOO_MANY_REDIRECTS (-1007)
/* The part of the library that loads URLs could not be opened, or has no thread. */
#define ZOR_FINGERPRINT_URL_ERROR_RESOURCE_UNAVAILABLE (-1008)
/* What came is not HTTP. */
#define ZOR_FINGERPRINT_URL_ERROR_BAD_SERVER_RESPONSE (-1011)
/* The answer is longer than the library accepts. */
#define ZOR_FINGERPRINT_URL_ERROR_TOO_LONG (-1103)
#define ZOR_FINGERPRINT_URL_ERROR_SECURE_CONNECTION_FAILED (-1200)
/* The server's certificate is not valid for the service. */
#define ZOR_FINGERPRINT_URL_ERROR_UNTRUSTED (-1202)

/* The kind of a failure. It is set even if the failure has no error object. */
typedef enum zor_fingerprint_reason {
  ZOR_FINGERPRINT_REASON_NONE = 0,       /* It did not fail. */
  ZOR_FINGERPRINT_REASON_LOCAL = 1,      /* Nothing was sent; the error says why. */
  ZOR_FINGERPRINT_REASON_NETWORK = 2,    /* No usable answer came; the error says why. */
  ZOR_FINGERPRINT_REASON_STATUS = 3,     /* The answer has another HTTP status than 200. */
  ZOR_FINGERPRINT_REASON_UNREADABLE = 4, /* HTTP status 200, and no JSON. */
  ZOR_FINGERPRINT_REASON_REFUSED = 5,    /* The service refused; the error is its answer. */
  ZOR_FINGERPRINT_REASON_TOTAL_TIME = 6  /* The total time passed before any of this. */
} zor_fingerprint_reason;

/* The ways to the service, in the order in which they are tried. */
typedef enum zor_fingerprint_route {
  ZOR_FINGERPRINT_ROUTE_NONE = 0,
  ZOR_FINGERPRINT_ROUTE_NAME = 1,     /* By its name. */
  ZOR_FINGERPRINT_ROUTE_RESOLVER = 2, /* HTTPDNS was asked for its addresses. */
  ZOR_FINGERPRINT_ROUTE_ADDRESS = 3,  /* By an address that HTTPDNS gave. */
  ZOR_FINGERPRINT_ROUTE_BACKUP = 4    /* By a backup address. */
} zor_fingerprint_route;

#endif /* ZORFINGERPRINT_ZORERRORS_H_ */

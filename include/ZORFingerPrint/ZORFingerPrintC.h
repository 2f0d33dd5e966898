/* The library for programs in C.
 *
 * The interface is stable: functions are never removed or changed, structures only grow at their
 * end. Texts are UTF-8 and NUL-terminated. A text that a function returns belongs to the caller,
 * who gives it back to zor_fingerprint_free(). All functions are callable from any thread.
 */
#ifndef ZORFINGERPRINT_ZORFINGERPRINTC_H_
#define ZORFINGERPRINT_ZORFINGERPRINTC_H_

#include <ZORFingerPrint/ZORErrors.h>
#include <ZORFingerPrint/ZORVersion.h>
#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define ZOR_FINGERPRINT_API __attribute__((visibility("default")))
#else
#define ZOR_FINGERPRINT_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Why there is no fingerprint. Valid only while the callback runs. */
typedef struct zor_fingerprint_error {
  /* Of the transport or of this library; NULL when the service refused or its answer could not be
   * read. */
  const char* domain;
  int64_t code; /* Defined by the domain; 0 without one. */
  /* For people; NULL without a domain. */
  const char* description;
  /* The service's whole answer as JSON when it refused, else NULL. */
  const char* answer;
  /* The members below are there since version 1.2. */
  zor_fingerprint_reason reason;
  int http_status;             /* Of the answer that decided; 0: there was none. */
  zor_fingerprint_route route; /* The way that was tried last. */
  /* How long the service asks to be left alone with a status 429 or 503; negative: it does not
   * say. */
  double retry_after_seconds;
} zor_fingerprint_error;

/* The outcome of zor_fingerprint_get(). `success` is 1 or 0; `error` is NULL on success;
 * `fingerprint` is never NULL, and "" on failure. Both are valid only while the callback runs. */
typedef void (*zor_fingerprint_callback)(void* context, int success,
                                         const zor_fingerprint_error* error,
                                         const char* fingerprint);

/* `line` is valid only while the handler runs. */
typedef void (*zor_fingerprint_log_handler)(void* context, const char* line);

/* The fingerprint when it is cached and valid, else "" and a request to the service. `callback` may
 * be NULL; it is called exactly once with `context`: for a cached fingerprint before this returns,
 * else later on a thread of the library. NULL only when memory ran out. */
ZOR_FINGERPRINT_API char* zor_fingerprint_get(zor_fingerprint_callback callback, void* context);

/* The identifier of this installation, kept between runs. NULL when memory ran out. */
ZOR_FINGERPRINT_API char* zor_fingerprint_identifier(void);

/* The environment report as it is sent; NULL when it cannot be made. */
ZOR_FINGERPRINT_API char* zor_fingerprint_environment(void);

/* Forgets the cached fingerprint. */
ZOR_FINGERPRINT_API void zor_fingerprint_clear_cache(void);

/* Names the application whose values the library keeps, in place of the main bundle, for the rest
 * of the process: for interpreters and plug-ins, whose main bundle is another program's. To be
 * called before any other function of the library and while no other thread uses it. 1: done. 0,
 * and nothing changes: the library is in use or the application named otherwise already, or a text
 * is NULL, empty, longer than 200 bytes or not valid UTF-8. */
ZOR_FINGERPRINT_API int zor_fingerprint_set_application(const char* identifier,
                                                        const char* version);

/* Makes `path`, an absolute path of a folder, the place of the store file, for this run and later
 * ones. NULL and "" change nothing. */
ZOR_FINGERPRINT_API void zor_fingerprint_set_store_path(const char* path);

/* What the person at the machine answered when the host asked. */
#define ZOR_FINGERPRINT_CONSENT_UNKNOWN 0
#define ZOR_FINGERPRINT_CONSENT_GIVEN 1
#define ZOR_FINGERPRINT_CONSENT_REFUSED 2

/* With 1, nothing is done before consent is given; to be called at every start, before anything
 * else. 0 takes that back, unless the operator's profile requires it. */
ZOR_FINGERPRINT_API void zor_fingerprint_require_consent(int required);

/* Keeps the answer for this run and later ones; UNKNOWN takes it back. Without permission (consent
 * is required and not given, or refused) nothing is collected, kept or sent: zor_fingerprint_get()
 * fails with ZOR_FINGERPRINT_ERROR_NO_CONSENT, zor_fingerprint_environment() gives NULL and
 * zor_fingerprint_identifier() "". A refusal erases what was kept. NULL: done; else a text that
 * says what could not be erased, and why. */
ZOR_FINGERPRINT_API char* zor_fingerprint_set_consent(int consent);
ZOR_FINGERPRINT_API int zor_fingerprint_consent(void);
/* 1: the library may collect, keep and send now. */
ZOR_FINGERPRINT_API int zor_fingerprint_is_permitted(void);

/* Leaves entries out of the report, in this process: their probes do not run, and the report has
 * null in their place. `names` are `count` names from zor_fingerprint_entries(); with
 * "sealed-block" all that is in it is left out; a count of 0 takes back what was withheld before.
 * NULL: done; else a text that says which name is unknown, with the nearest right one, and nothing
 * is changed. */
ZOR_FINGERPRINT_API char* zor_fingerprint_set_withheld_entries(const char* const* names,
                                                               size_t count);
/* The names of the entries, as a JSON list. NULL when memory ran out. */
ZOR_FINGERPRINT_API char* zor_fingerprint_entries(void);

/* Opts this application out of the identifier that all of the user's applications share (1), or in
 * again (0); kept for later runs. NULL: done; else a text that says why the choice is not kept. */
ZOR_FINGERPRINT_API char* zor_fingerprint_set_shared_identifier_opt_out(int opt_out);
ZOR_FINGERPRINT_API int zor_fingerprint_shared_identifier_opted_out(void);

/* Erases what the library keeps for this application on this machine; with `dry_run` other than 0
 * it only says what would be erased. A JSON list of {"item", "outcome", "reason", "note"}; the
 * outcome is "nothing there", "would be removed", "removed" or "not removed", the note says what
 * goes beyond this application and what stays. The store file and the failure records are shared by
 * the user's applications and go as a whole. NULL when memory ran out; another call finishes what
 * one has left. */
ZOR_FINGERPRINT_API char* zor_fingerprint_erase(int dry_run);

/* The time for a request over all its routes and repeats, in seconds from the call that starts it,
 * for requests that start later in this process. When it has passed the callback gets the error
 * ZOR_FINGERPRINT_ERROR_TOTAL_TIME. 0 or less, and no number: no limit, as at first. */
ZOR_FINGERPRINT_API void zor_fingerprint_set_total_timeout(double seconds);

/* Sends the library's log lines to `handler`, with `context`; NULL restores the system log. May be
 * called on several threads at once. */
ZOR_FINGERPRINT_API void zor_fingerprint_set_log_handler(zor_fingerprint_log_handler handler,
                                                         void* context);

/* The platform label and the version that go with every report. NULL when memory ran out. */
ZOR_FINGERPRINT_API char* zor_fingerprint_platform(void);
ZOR_FINGERPRINT_API char* zor_fingerprint_version(void);

/* Gives back a text; NULL is allowed. */
ZOR_FINGERPRINT_API void zor_fingerprint_free(char* text);

#ifdef __cplusplus
}
#endif

#endif /* ZORFINGERPRINT_ZORFINGERPRINTC_H_ */

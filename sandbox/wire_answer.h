// Turns a service's answer and a script into the bytes that are sent.
#ifndef ZOR_SANDBOX_WIRE_ANSWER_H_
#define ZOR_SANDBOX_WIRE_ANSWER_H_

#include <string>

#include "sandbox/sandbox_types.h"
#include "sandbox/services.h"
#include "sandbox/tls_server.h"

namespace zor::sandbox {

// `answer` with the status, body and headers that `script` sets.
ServiceAnswer changedByScript(ServiceAnswer answer, const Script& script);

// The bytes of `answer` and how the exchange goes on.
WireAnswer wireAnswer(const ServiceAnswer& answer, const Script& script,
                      const WireRequest& request);

// Whether the client gets a whole status line of a final answer.
bool isAnswered(const Script& script);

// In words, for the log: the body, or what happens instead.
std::string wordsForAnswer(const ServiceAnswer& answer, const Script& script);

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_WIRE_ANSWER_H_

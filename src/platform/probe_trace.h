// Shows where the value of a probe comes from.
//
// Probes take no arguments and return a value or nothing. A caller that wants to tell "needs root"
// from "not there" puts a ProbeTrace on its thread; the backends record in it what they read.
#ifndef ZOR_PLATFORM_PROBE_TRACE_H_
#define ZOR_PLATFORM_PROBE_TRACE_H_

#include <string>
#include <string_view>

namespace zor {

// Collects the notes of the calling thread while it lives. If several are nested, the innermost
// gets them.
class ProbeTrace {
 public:
  ProbeTrace();
  ~ProbeTrace();
  ProbeTrace(const ProbeTrace&) = delete;
  ProbeTrace& operator=(const ProbeTrace&) = delete;

  // The sources read so far, in order and without repeats, separated by ", ".
  const std::string& sources() const { return _sources; }
  // Whether a source exists that this user may not read.
  bool denied() const { return _denied; }
  // Whether a source did not answer in time.
  bool late() const { return _late; }
  // Whether this version of the system offers it to nobody.
  bool unavailable() const { return _unavailable; }

 private:
  friend void noteProbeSource(std::string_view source);
  friend void noteProbeDenied(std::string_view source);
  friend void noteProbeLate(std::string_view source);
  friend void noteProbeUnavailable(std::string_view source);

  std::string _sources;
  bool _denied = false;
  bool _late = false;
  bool _unavailable = false;
  ProbeTrace* const _outer;
};

// For backends: `source` (a file, a socket, a call) is being read. Nearly free without a trace.
void noteProbeSource(std::string_view source);

// For backends: `source` exists, but this user may not read it.
void noteProbeDenied(std::string_view source);

// For backends: `source` did not answer in time.
void noteProbeLate(std::string_view source);

// For backends: `source` does not exist on this version of the system.
void noteProbeUnavailable(std::string_view source);

}  // namespace zor

#endif  // ZOR_PLATFORM_PROBE_TRACE_H_

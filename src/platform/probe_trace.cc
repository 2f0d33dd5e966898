#include "platform/probe_trace.h"

namespace zor {
namespace {

thread_local ProbeTrace* currentTrace = nullptr;

}  // namespace

ProbeTrace::ProbeTrace() : _outer(currentTrace) { currentTrace = this; }

ProbeTrace::~ProbeTrace() { currentTrace = _outer; }

void noteProbeSource(std::string_view source) {
  if (currentTrace == nullptr) return;
  std::string& sources = currentTrace->_sources;
  if (sources.find(source) != std::string::npos) return;
  if (!sources.empty()) sources += ", ";
  sources += source;
}

void noteProbeDenied(std::string_view source) {
  if (currentTrace == nullptr) return;
  noteProbeSource(source);
  currentTrace->_denied = true;
}

void noteProbeLate(std::string_view source) {
  if (currentTrace == nullptr) return;
  noteProbeSource(source);
  currentTrace->_late = true;
}

void noteProbeUnavailable(std::string_view source) {
  if (currentTrace == nullptr) return;
  noteProbeSource(source);
  currentTrace->_unavailable = true;
}

}  // namespace zor

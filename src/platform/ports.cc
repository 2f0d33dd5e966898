#include "platform/ports.h"

#include <atomic>

namespace zor {
namespace {

std::atomic<const PortSet*> replacementPorts{nullptr};

}  // namespace

const PortSet& ports() {
  const PortSet* replacement = replacementPorts.load(std::memory_order_acquire);
  return replacement != nullptr ? *replacement : systemPorts();
}

ScopedPorts::ScopedPorts(const PortSet& replacement)
    : _replacement(replacement), _previous(replacementPorts.exchange(&_replacement)) {}

ScopedPorts::~ScopedPorts() { replacementPorts.store(_previous); }

}  // namespace zor

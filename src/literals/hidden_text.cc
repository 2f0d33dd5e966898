#include "literals/hidden_text.h"

#include "support/fork_hooks.h"
#include "support/mutex.h"

namespace zor {
namespace {

struct RevealLock {
  RevealLock() { holdOverFork(ForkRank::literals, mutex); }
  // Held while a text is unscrambled. The last lock of all; nothing is called under it.
  Mutex mutex;
};

Mutex& revealMutex() {
  static auto& lock = *new RevealLock;
  return lock.mutex;
}

}  // namespace

void HiddenTextBase::reveal(char* scrambled, std::size_t size) const {
  // A flag under a lock rather than std::call_once: that one starts over in the child of a fork
  // that met it half-way, and would scramble the text back.
  const MutexLock lock(revealMutex());
  if (_revealed.load(std::memory_order_relaxed)) return;
  // The volatile read keeps an optimiser that sees the bytes and the key from folding the clear
  // text back into the binary.
  std::uint32_t key = *const_cast<const volatile std::uint32_t*>(&_key);
  for (std::size_t index = 0; index < size; ++index) {
    key = nextKey(key);
    scrambled[index] =
        static_cast<char>(static_cast<unsigned char>(scrambled[index]) ^ (key & 0xFF));
  }
  _revealed.store(true, std::memory_order_release);
}

}  // namespace zor

#include "literals/hidden_text.h"

#include <thread>

#include "support/process_generation.h"

namespace zor {

void HiddenTextBase::reveal(const char* scrambled, char* clear, std::size_t size) const {
  const ProcessGeneration own = processGeneration();
  std::uint32_t state = _state.load(std::memory_order_acquire);
  // A thread that began in another generation is not in this process, so its work is repeated here.
  while (state == own || !_state.compare_exchange_weak(state, own, std::memory_order_acquire)) {
    if (state == kRevealed) return;
    if (state == own) std::this_thread::yield();  // Another thread is nearly done.
    state = _state.load(std::memory_order_acquire);
  }
  unscramble(scrambled, clear, size);
  _state.store(kRevealed, std::memory_order_release);
}

void HiddenTextBase::unscramble(const char* scrambled, char* clear, std::size_t size) const {
  // The volatile read keeps an optimizer that sees the bytes and the key from folding the clear
  // text back into the binary.
  std::uint32_t key = *const_cast<const volatile std::uint32_t*>(&_key);
  for (std::size_t index = 0; index < size; ++index) {
    key = nextKey(key);
    clear[index] = static_cast<char>(static_cast<unsigned char>(scrambled[index]) ^ (key & 0xFF));
  }
}

}  // namespace zor

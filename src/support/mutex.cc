#include "support/mutex.h"

#include <cstdio>
#include <cstdlib>

namespace zor {
namespace {

// One bit for each rank that the calling thread holds.
constinit thread_local std::uint32_t heldRanks = 0;

std::uint32_t bitOf(LockRank rank) noexcept { return 1U << static_cast<unsigned>(rank); }

}  // namespace

void enterLockRank(LockRank rank) noexcept {
  if (heldRanks >= bitOf(rank)) {
    std::fprintf(stderr, "zorfingerprint: lock of rank %u taken out of order; held: 0x%x\n",
                 static_cast<unsigned>(rank), heldRanks);
    std::abort();
  }
  heldRanks |= bitOf(rank);
}

void leaveLockRank(LockRank rank) noexcept { heldRanks &= ~bitOf(rank); }

}  // namespace zor

// State of a process and its threads, made afresh in the child of a fork.
//
// A fork copies the memory of all threads but only one of the threads. In the child a lock that
// another thread held is never released, and what another thread was changing stays half changed.
// So the child uses none of it. A fork begins a new generation; each piece of state below is made
// anew at its first use in a generation, and the parent's copy is left untouched forever: not
// locked, not changed, not destroyed, not even at exit. No lock is held over a fork.
//
// The same holds for the compiler's guards of function-local statics, which a fork can freeze.
// Objects of the whole process are made with MadeOnce instead.
#ifndef ZOR_SUPPORT_PROCESS_GENERATION_H_
#define ZOR_SUPPORT_PROCESS_GENERATION_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include "support/mutex.h"

namespace zor {

// The child of a fork has a larger one than its parent; 0 and 1 are never one.
using ProcessGeneration = std::uint32_t;

// The generation of the calling process. Callable from any thread, also in a signal handler.
ProcessGeneration processGeneration() noexcept;

// An object of the process and of the children of its forks, made at its first use and never
// destroyed. Two threads may make it at once; both get the one that was ready first, and the other
// is destroyed, so making it must have no side effect. Constant-initialized: usable at any time, as
// a function-local static too.
template <typename Object>
class MadeOnce {
 public:
  constexpr MadeOnce() noexcept = default;
  MadeOnce(const MadeOnce&) = delete;
  MadeOnce& operator=(const MadeOnce&) = delete;

  // Null: not made yet.
  Object* find() const noexcept { return _made.load(std::memory_order_acquire); }

  // `make()` returns a std::unique_ptr<Object>, never a null one. What it throws is passed on, and
  // the next call tries again.
  template <typename Make>
  Object& get(const Make& make) {
    if (Object* const found = find()) return *found;
    return keep(make());
  }
  Object& get() {
    return get([] { return std::make_unique<Object>(); });
  }

  // Keeps `made` unless there is an object already. Returns the one that is kept.
  Object& keep(std::unique_ptr<Object> made) noexcept {
    Object* found = nullptr;
    if (!_made.compare_exchange_strong(found, made.get(), std::memory_order_acq_rel)) return *found;
    return *made.release();
  }

 private:
  std::atomic<Object*> _made{nullptr};
};

// State that each process has its own of. It is made by State(const State* parents) if there is
// such a constructor, else by State(); as with MadeOnce, two threads may do so at once. `parents`
// is the copy of the nearest ancestor that had one, or null; of that copy only what is atomic may
// be read, and what is constant.
//
// For objects that are never destroyed; a member is an OwnedPerProcess. Callable from any thread.
template <typename State>
class PerProcess {
 public:
  constexpr PerProcess() noexcept = default;
  PerProcess(const PerProcess&) = delete;
  PerProcess& operator=(const PerProcess&) = delete;

  // Null: this process has not used it yet.
  State* find() const noexcept {
    Copy* const latest = _latest.load(std::memory_order_acquire);
    return isOfThisProcess(latest) ? &latest->state : nullptr;
  }

  // Throws what making the state throws; the next call tries again.
  State& get() {
    Copy* latest = _latest.load(std::memory_order_acquire);
    if (isOfThisProcess(latest)) return latest->state;
    auto made = std::make_unique<Copy>(latest);
    // Fails only if another thread of this process was quicker; then `latest` is its copy.
    if (!_latest.compare_exchange_strong(latest, made.get(), std::memory_order_acq_rel)) {
      return latest->state;
    }
    return made.release()->state;
  }

 protected:
  // Destroys the state of this process. Nobody uses it any more.
  void destroy() noexcept {
    if (find() != nullptr) delete _latest.exchange(nullptr, std::memory_order_acquire);
  }

 private:
  struct Copy {
    explicit Copy(Copy* before) : Copy(before, std::is_constructible<State, const State*>()) {}
    Copy(Copy* before, std::true_type /*inherits*/)
        : parents(before), state(before != nullptr ? &std::as_const(before->state) : nullptr) {}
    Copy(Copy* before, std::false_type /*inherits*/) : parents(before) {}

    const ProcessGeneration generation = processGeneration();
    Copy* const parents;  // Kept where leak checkers find it.
    State state;
  };

  static bool isOfThisProcess(const Copy* copy) noexcept {
    return copy != nullptr && copy->generation == processGeneration();
  }

  std::atomic<Copy*> _latest{nullptr};
};

// As PerProcess, for a member: goes with its owner, but for the copies of other processes.
template <typename State>
class OwnedPerProcess : public PerProcess<State> {
 public:
  OwnedPerProcess() noexcept = default;
  ~OwnedPerProcess() { this->destroy(); }
};

// A shared constant that is replaced as a whole. The child of a fork starts with what its parent
// had. Callable from any thread.
template <typename Object>
class InheritedPointer {
 public:
  // Null: none was set.
  std::shared_ptr<const Object> get() const {
    const Slot& slot = _slot.get();
    const MutexLock lock(slot.mutex);
    return *slot.current.load(std::memory_order_relaxed);
  }

  // What was there before is released with no lock held.
  void set(std::shared_ptr<const Object> object) {
    Slot& slot = _slot.get();
    std::unique_ptr<const Pointer> kept = std::make_unique<Pointer>(std::move(object));
    const MutexLock lock(slot.mutex);
    kept.reset(slot.current.exchange(kept.release(), std::memory_order_acq_rel));
  }

 private:
  using Pointer = std::shared_ptr<const Object>;

  struct Slot {
    explicit Slot(const Slot* parents)
        : current(parents != nullptr
                      ? new Pointer(*parents->current.load(std::memory_order_acquire))
                      : new Pointer) {}
    ~Slot() { delete current.load(std::memory_order_relaxed); }

    mutable Mutex mutex{LockRank::value};
    // Guarded by the lock, but for a child, which reads what it finds there. So the pointer always
    // leads to a whole one.
    std::atomic<const Pointer*> current;
  };

  mutable OwnedPerProcess<Slot> _slot;
};

}  // namespace zor

#endif  // ZOR_SUPPORT_PROCESS_GENERATION_H_

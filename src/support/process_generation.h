// State of a process and its threads, made afresh in the child of a fork.
//
// A fork copies the memory of all threads but only one of the threads. In the child a lock that
// another thread held is never released, and what another thread was changing stays half changed.
// So the child uses none of that state. A fork begins a new generation; each kind of state below is
// created afresh at its first use in a generation, and the parent's copy is left untouched forever:
// not locked, not changed, not destroyed, not even at exit. No lock is held over a fork.
//
// The same holds for the compiler's guards of function-local statics, which a fork can freeze.
// Process-wide objects are made with MadeOnce instead.
#ifndef ZOR_SUPPORT_PROCESS_GENERATION_H_
#define ZOR_SUPPORT_PROCESS_GENERATION_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include "support/mutex.h"

namespace zor {

// A child's generation is greater than its parent's. 0 and 1 are never used.
using ProcessGeneration = std::uint32_t;

// The generation of the calling process. Callable from any thread, also in a signal handler.
ProcessGeneration processGeneration() noexcept;

// An object of the process and of the children of its forks, made at its first use and never
// destroyed. Two threads may make it at once; both get the object that was ready first, and the
// other is destroyed, so making one must have no side effects. Constant-initialized: usable at any
// time, as a function-local static too.
template <typename Object>
class MadeOnce {
 public:
  constexpr MadeOnce() noexcept = default;
  MadeOnce(const MadeOnce&) = delete;
  MadeOnce& operator=(const MadeOnce&) = delete;

  // Null if it has not been made yet.
  Object* find() const noexcept { return _made.load(std::memory_order_acquire); }

  // `make()` returns a std::unique_ptr<Object> that is not null. If it throws, the exception is
  // passed on and the next call tries again.
  template <typename Make>
  Object& get(const Make& make) {
    if (Object* const found = find()) return *found;
    return keep(make());
  }
  Object& get() {
    return get([] { return std::make_unique<Object>(); });
  }

  // Keeps `made` unless there is an object already. Returns the object that is kept.
  Object& keep(std::unique_ptr<Object> made) noexcept {
    Object* found = nullptr;
    if (!_made.compare_exchange_strong(found, made.get(), std::memory_order_acq_rel)) return *found;
    return *made.release();
  }

 private:
  std::atomic<Object*> _made{nullptr};
};

// State of which each process has its own copy. It is made by State(const State* parents) if there
// is such a constructor, else by State(); as with MadeOnce, two threads may do so at once.
// `parents` is the copy of the nearest ancestor that had one, or null; only its atomic and its
// constant members may be read.
//
// For objects that are never destroyed; members use OwnedPerProcess. Callable from any thread.
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

  // If making the state throws, the exception is passed on and the next call tries again.
  State& get() {
    Copy* latest = _latest.load(std::memory_order_acquire);
    if (isOfThisProcess(latest)) return latest->state;
    auto made = std::make_unique<Copy>(latest);
    // Fails only if another thread of this process was faster; then `latest` is that thread's copy.
    if (!_latest.compare_exchange_strong(latest, made.get(), std::memory_order_acq_rel)) {
      return latest->state;
    }
    return made.release()->state;
  }

 protected:
  // Destroys the state of this process, which must not be in use any more.
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

// As PerProcess, for a member: destroyed with its owner, except for the copies of other processes.
template <typename State>
class OwnedPerProcess : public PerProcess<State> {
 public:
  OwnedPerProcess() noexcept = default;
  ~OwnedPerProcess() { this->destroy(); }
};

// A shared constant that is replaced as a whole. The child of a fork starts with its parent's
// value. Callable from any thread.
template <typename Object>
class InheritedPointer {
 public:
  // Null: none was set.
  std::shared_ptr<const Object> get() const {
    const Slot& slot = _slot.get();
    const MutexLock lock(slot.mutex);
    return *slot.current.load(std::memory_order_relaxed);
  }

  // The previous object is released with no lock held.
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
    // Guarded by the lock, except that the child of a fork reads it without; so it always points to
    // a complete object.
    std::atomic<const Pointer*> current;
  };

  mutable OwnedPerProcess<Slot> _slot;
};

}  // namespace zor

#endif  // ZOR_SUPPORT_PROCESS_GENERATION_H_

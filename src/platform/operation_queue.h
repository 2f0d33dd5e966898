// A queue of operations run by a few threads of its own, started at the first operation.
#ifndef ZOR_PLATFORM_OPERATION_QUEUE_H_
#define ZOR_PLATFORM_OPERATION_QUEUE_H_

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/queue_thread.h"
#include "support/mutex.h"
#include "support/process_generation.h"

namespace zor {

// Operations start in the order added, at most `maxConcurrentOperations` at a time; with one it is
// a serial queue. If an operation throws, the exception is dropped and the queue goes on.
//
// Threads: every member may be called from any thread. No lock is held while an operation runs.
// Fork: a child starts with an empty queue and no threads; operations waiting or running in the
// parent stay with the parent. If an operation forks and returns in the child, its thread ends
// there, and so does the child.
// Lifetime: queues live as long as the process; tests wait until theirs are idle.
class OperationQueue {
 public:
  using Operation = std::function<void()>;

  // `name` is shown as the threads' name (its first 15 bytes). Starts nothing.
  OperationQueue(std::string name, std::size_t maxConcurrentOperations,
                 QualityOfService qualityOfService = QualityOfService::standard);
  // Waits for operations added so far, then ends the threads. Not to be called from an operation.
  ~OperationQueue();
  OperationQueue(const OperationQueue&) = delete;
  OperationQueue& operator=(const OperationQueue&) = delete;

  // Adds `operation` and returns at once. If the system has no thread to spare and the queue has
  // none yet, the operation runs on the calling thread, so that no operation is ever lost.
  void addOperation(Operation operation);

  // Starts a thread if the queue has none, so that an operation expected soon does not wait for one
  // to start. Does nothing if the system has no thread to spare.
  void prepare();

  // Adds `operation` and returns when it has run. Not to be called from an operation of a serial
  // queue, which would wait for itself.
  void addOperationAndWait(const Operation& operation);

  // Returns when no operation is waiting or running. Not to be called from an operation.
  void waitUntilAllOperationsAreFinished();

  // Whether the calling thread is one of this queue's.
  bool isCurrent() const;

  const std::string& name() const { return _name; }
  std::size_t maxConcurrentOperationCount() const { return _maxConcurrentOperations; }

 private:
  struct State {
    // Guards the members below. The only call made under it starts a thread.
    Mutex mutex{LockRank::queue};
    // Two conditions: a new operation wakes one worker, an idle queue wakes those who wait for it.
    ConditionVariable operationWaits;  // Work was added, or the queue is ending.
    ConditionVariable ranEmpty;
    std::deque<Operation> waiting ZOR_GUARDED_BY(mutex);
    std::vector<std::thread> workers ZOR_GUARDED_BY(mutex);
    std::size_t running ZOR_GUARDED_BY(mutex) = 0;
    bool ending ZOR_GUARDED_BY(mutex) = false;
  };

  void runWorker(State& state);
  void startWorkerIfNeeded(State& state) ZOR_REQUIRES(state.mutex);
  void startWorker(State& state) ZOR_REQUIRES(state.mutex);

  const std::string _name;
  const std::size_t _maxConcurrentOperations;
  const QualityOfService _qualityOfService;
  OwnedPerProcess<State> _state;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_OPERATION_QUEUE_H_

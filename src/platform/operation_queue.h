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
#include "support/fork_hooks.h"
#include "support/mutex.h"

namespace zor {

// Operations start in the order added, at most `maxConcurrentOperations` at a time; with one it is
// a serial queue. An operation that throws is dropped, its exception with it.
//
// Threads: every member may be called from any thread. No lock is held while an operation runs.
// Fork: a child starts with an empty queue and no threads; operations waiting or running in the
// parent stay the parent's.
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

  // Adds `operation` and returns at once. Where the system has no thread to spare and the queue has
  // none yet, the operation runs on the calling thread, so that none is ever lost.
  void addOperation(Operation operation);

  // Starts a thread if the queue has none, so that an operation which is expected soon does not
  // wait for it. Without a thread to spare it does nothing.
  void prepare();

  // Adds `operation` and returns when it has run. Called from an operation of a serial queue it
  // would wait for itself; do not.
  void addOperationAndWait(const Operation& operation);

  // Returns when no operation is waiting or running. Not to be called from an operation.
  void waitUntilAllOperationsAreFinished();

  // Whether the calling thread is one of this queue's.
  bool isCurrent() const;

  // Registers the queue's behaviour over a fork, described above. Once, and only for a queue that
  // is never destroyed.
  void surviveFork(ForkRank rank);

  const std::string& name() const { return _name; }
  std::size_t maxConcurrentOperationCount() const { return _maxConcurrentOperations; }

 private:
  void runWorker();
  void startWorkerIfNeeded() ZOR_REQUIRES(_mutex);
  void startWorker() ZOR_REQUIRES(_mutex);
  void startAfreshInChild() ZOR_RELEASE(_mutex);

  const std::string _name;
  const std::size_t _maxConcurrentOperations;
  const QualityOfService _qualityOfService;

  // Guards the members below. Nothing is called under it but the start of a thread.
  Mutex _mutex;
  // Two conditions: a new operation wakes one worker, an idle queue wakes those who wait for it.
  ConditionVariable _operationWaits;  // Work was added, or the queue is ending.
  ConditionVariable _ranEmpty;
  std::deque<Operation> _waiting ZOR_GUARDED_BY(_mutex);
  std::vector<std::thread> _workers ZOR_GUARDED_BY(_mutex);
  std::size_t _running ZOR_GUARDED_BY(_mutex) = 0;
  bool _ending ZOR_GUARDED_BY(_mutex) = false;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_OPERATION_QUEUE_H_

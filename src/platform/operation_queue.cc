#include "platform/operation_queue.h"

#include <exception>
#include <new>
#include <utility>

#include "support/guarded_call.h"
#include "support/signals_blocked.h"

namespace zor {
namespace {

// The queue whose worker the calling thread is.
thread_local const OperationQueue* currentQueue = nullptr;

}  // namespace

OperationQueue::OperationQueue(std::string name, std::size_t maxConcurrentOperations,
                               QualityOfService qualityOfService)
    : _name(std::move(name)),
      _maxConcurrentOperations(maxConcurrentOperations),
      _qualityOfService(qualityOfService) {}

OperationQueue::~OperationQueue() {
  std::vector<std::thread> workers;
  {
    const MutexLock lock(_mutex);
    _ending = true;
    workers.swap(_workers);
    _operationWaits.notifyAll();
  }
  for (std::thread& worker : workers) worker.join();
}

void OperationQueue::addOperation(Operation operation) {
  {
    const MutexLock lock(_mutex);
    _waiting.push_back(std::move(operation));
    startWorkerIfNeeded();
    if (!_workers.empty()) {
      _operationWaits.notifyOne();
      return;
    }
    operation = std::move(_waiting.back());
    _waiting.pop_back();
  }
  runQueueOperation(std::move(operation));
}

void OperationQueue::prepare() {
  const MutexLock lock(_mutex);
  if (_workers.empty()) startWorker();
}

void OperationQueue::addOperationAndWait(const Operation& operation) {
  Mutex mutex;
  ConditionVariable finished;
  bool done = false;
  addOperation([&operation, &mutex, &finished, &done] {
    callIgnoringExceptions(operation);
    const MutexLock lock(mutex);
    done = true;
    finished.notifyAll();  // Under the lock: the waiter destroys the condition when it has it.
  });
  const MutexLock lock(mutex);
  while (!done) finished.wait(mutex);
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
  const MutexLock lock(_mutex);
  while (!_waiting.empty() || _running > 0) _ranEmpty.wait(_mutex);
}

bool OperationQueue::isCurrent() const { return currentQueue == this; }

void OperationQueue::startWorkerIfNeeded() {
  const bool everyWorkerIsTaken = _running + _waiting.size() > _workers.size();
  if (everyWorkerIsTaken && _workers.size() < _maxConcurrentOperations) startWorker();
}

void OperationQueue::startWorker() {
  try {
    const SignalsBlocked signalsBlocked;
    _workers.emplace_back(&OperationQueue::runWorker, this);
  } catch (const std::exception&) {
    // No thread or no memory to be had: the workers there are go on, or the caller runs the
    // operation.
  }
}

void OperationQueue::runWorker() {
  prepareQueueThread(_name, _qualityOfService);
  currentQueue = this;
  for (;;) {
    Operation operation;
    {
      const MutexLock lock(_mutex);
      while (_waiting.empty() && !_ending) _operationWaits.wait(_mutex);
      if (_waiting.empty()) return;
      operation = std::move(_waiting.front());
      _waiting.pop_front();
      ++_running;
    }
    // What it captured goes before the queue counts as idle.
    runQueueOperation(std::exchange(operation, nullptr));
    const MutexLock lock(_mutex);
    --_running;
    if (_waiting.empty() && _running == 0) _ranEmpty.notifyAll();
  }
}

void OperationQueue::surviveFork(ForkRank rank) {
  registerForkHook({rank, this,
                    [](void* queue) ZOR_NO_THREAD_SAFETY_ANALYSIS {
                      static_cast<OperationQueue*>(queue)->_mutex.lock();
                    },
                    [](void* queue) ZOR_NO_THREAD_SAFETY_ANALYSIS {
                      static_cast<OperationQueue*>(queue)->_mutex.unlock();
                    },
                    [](void* queue) ZOR_NO_THREAD_SAFETY_ANALYSIS {
                      static_cast<OperationQueue*>(queue)->startAfreshInChild();
                    }});
}

void OperationQueue::startAfreshInChild() {
  // The threads do not exist here and nobody waits on the conditions: all are built anew without
  // destroying the copies. Nor are the operations ever destroyed, not even at exit: what they own
  // may wait for a lock of a thread that is not here.
  new (&_waiting) std::deque<Operation>;
  new (&_workers) std::vector<std::thread>;
  new (&_operationWaits) ConditionVariable;
  new (&_ranEmpty) ConditionVariable;
  _running = 0;
  _mutex.unlock();
}

}  // namespace zor

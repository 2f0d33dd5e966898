#include "platform/operation_queue.h"

#include <exception>
#include <functional>
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
  State* const state = _state.find();
  if (state == nullptr) return;
  std::vector<std::thread> workers;
  {
    const MutexLock lock(state->mutex);
    state->ending = true;
    workers.swap(state->workers);
    state->operationWaits.notifyAll();
  }
  for (std::thread& worker : workers) worker.join();
}

void OperationQueue::addOperation(Operation operation) {
  State& state = _state.get();
  {
    const MutexLock lock(state.mutex);
    state.waiting.push_back(std::move(operation));
    startWorkerIfNeeded(state);
    if (!state.workers.empty()) {
      state.operationWaits.notifyOne();
      return;
    }
    operation = std::move(state.waiting.back());
    state.waiting.pop_back();
  }
  runQueueOperation(std::move(operation));
}

void OperationQueue::prepare() {
  State& state = _state.get();
  const MutexLock lock(state.mutex);
  if (state.workers.empty()) startWorker(state);
}

void OperationQueue::addOperationAndWait(const Operation& operation) {
  Mutex mutex;
  ConditionVariable finished;
  bool done = false;
  addOperation([&operation, &mutex, &finished, &done] {
    callIgnoringExceptions(operation);
    const MutexLock lock(mutex);
    done = true;
    finished.notifyAll();  // Under the lock, after which a waiter may destroy it.
  });
  const MutexLock lock(mutex);
  while (!done) finished.wait(mutex);
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
  State& state = _state.get();
  const MutexLock lock(state.mutex);
  while (!state.waiting.empty() || state.running > 0) state.ranEmpty.wait(state.mutex);
}

bool OperationQueue::isCurrent() const { return currentQueue == this; }

void OperationQueue::startWorkerIfNeeded(State& state) {
  const bool everyWorkerIsTaken = state.running + state.waiting.size() > state.workers.size();
  if (everyWorkerIsTaken && state.workers.size() < _maxConcurrentOperations) startWorker(state);
}

void OperationQueue::startWorker(State& state) {
  try {
    const SignalsBlocked signalsBlocked;
    state.workers.emplace_back(&OperationQueue::runWorker, this, std::ref(state));
  } catch (const std::exception&) {
    // No thread or no memory is available: the other workers go on, or the caller runs the
    // operation.
  }
}

void OperationQueue::runWorker(State& state) {
  prepareQueueThread(_name, _qualityOfService);
  currentQueue = this;
  for (;;) {
    Operation operation;
    {
      const MutexLock lock(state.mutex);
      while (state.waiting.empty() && !state.ending) state.operationWaits.wait(state.mutex);
      if (state.waiting.empty()) return;
      operation = std::move(state.waiting.front());
      state.waiting.pop_front();
      ++state.running;
    }
    // Its captures are released before the queue counts as idle.
    runQueueOperation(std::exchange(operation, nullptr));
    if (_state.find() != &state) return;  // The operation forked, and this is the child.
    const MutexLock lock(state.mutex);
    --state.running;
    if (state.waiting.empty() && state.running == 0) state.ranEmpty.notifyAll();
  }
}

}  // namespace zor

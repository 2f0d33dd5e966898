#include "platform/linux/timed_read.h"

#include <pthread.h>

#include <system_error>
#include <thread>

#include "support/guarded_call.h"
#include "support/signals_blocked.h"

namespace zor {
namespace {

thread_local ReadsAhead* currentReadsAhead = nullptr;

// If no thread can be started, at the limit of the host's processes, the caller does the work.
void runOnThread(const std::function<void()>& work) {
  const SignalsBlocked blocked;
  try {
    std::thread([work] {
      ::pthread_setname_np(::pthread_self(), "zor.reads");
      work();
    }).detach();
  } catch (const std::system_error&) {
    work();
  }
}

}  // namespace

bool ReadRun::claim() {
  const MutexLock lock(_mutex);
  if (_isClaimed) return false;
  _isClaimed = true;
  _claimedAt = std::chrono::steady_clock::now();
  return true;
}

bool ReadRun::finish(const ProbeTrace& trace) {
  const MutexLock lock(_mutex);
  _sources = trace.sources();
  _denied = trace.denied();
  _isDone = true;
  _done.notifyAll();
  return _isAbandoned;
}

bool ReadRun::isDone() {
  const MutexLock lock(_mutex);
  return _isDone;
}

bool ReadRun::isClaimed() {
  const MutexLock lock(_mutex);
  return _isClaimed;
}

bool ReadRun::wait(std::chrono::milliseconds limit) {
  const MutexLock lock(_mutex);
  const auto start = std::chrono::steady_clock::now();
  while (!_isDone) {
    const auto end = (_isClaimed ? _claimedAt : start) + limit;
    if (std::chrono::steady_clock::now() >= end) return false;
    _done.waitUntil(_mutex, end);
  }
  return true;
}

bool ReadRun::abandon() {
  const MutexLock lock(_mutex);
  if (!_isDone) _isAbandoned = true;
  return _isDone;
}

void ReadRun::repeatNotes() {
  const MutexLock lock(_mutex);
  if (_denied) {
    noteProbeDenied(_sources);
  } else {
    noteProbeSource(_sources);
  }
}

std::shared_ptr<ReadRun> TimedReadBase::runUnderWay() {
  const MutexLock lock(_mutex);
  return _current && !_current->isDone() ? _current : nullptr;
}

std::shared_ptr<ReadRun> TimedReadBase::newRun() {
  const MutexLock lock(_mutex);
  if (_current && !_current->isDone()) return nullptr;
  _current = makeRun();
  return _current;
}

void TimedReadBase::start(const std::shared_ptr<ReadRun>& run) {
  runOnThread([this, run] { execute(run); });
}

void TimedReadBase::execute(const std::shared_ptr<ReadRun>& run) {
  if (!run->claim()) return;
  const ProbeTrace trace;
  callIgnoringExceptions([&] { read(*run); });
  if (!run->finish(trace)) return;
  const MutexLock lock(_mutex);
  _arrived = run;
}

std::shared_ptr<ReadRun> TimedReadBase::takeArrived() {
  const MutexLock lock(_mutex);
  return std::exchange(_arrived, nullptr);
}

bool TimedReadBase::ask(std::shared_ptr<ReadRun>& run) {
  ReadsAhead* const ahead = ReadsAhead::current();
  if (ahead != nullptr) run = ahead->runOf(*this);
  const bool isAhead = run != nullptr;
  while (!run) {
    run = newRun();
    if (run) {
      start(run);
    } else {
      run = runUnderWay();
    }
  }
  bool inTime = run->wait(_limit);
  if (!inTime) {
    // The reads behind one that is held up must not wait any longer.
    if (isAhead) ahead->startEach();
    if (!run->isClaimed()) start(run);
    inTime = run->wait(_limit) || run->abandon();
  }
  if (inTime) {
    run->repeatNotes();
  } else {
    noteProbeLate(_label);
  }
  return inTime;
}

ReadsAhead::ReadsAhead(const std::vector<TimedReadBase*>& reads) : _outer(currentReadsAhead) {
  for (TimedReadBase* read : reads) {
    if (auto run = read->newRun()) _planned.push_back({read, std::move(run)});
  }
  runOnThread([planned = _planned] {
    for (const Planned& next : planned) next.read->execute(next.run);
  });
  currentReadsAhead = this;
}

ReadsAhead::~ReadsAhead() { currentReadsAhead = _outer; }

ReadsAhead* ReadsAhead::current() { return currentReadsAhead; }

std::shared_ptr<ReadRun> ReadsAhead::runOf(const TimedReadBase& read) const {
  for (const Planned& planned : _planned) {
    if (planned.read == &read) return planned.run;
  }
  return nullptr;
}

void ReadsAhead::startEach() {
  for (const Planned& planned : _planned) {
    if (!planned.run->isClaimed()) planned.read->start(planned.run);
  }
}

}  // namespace zor

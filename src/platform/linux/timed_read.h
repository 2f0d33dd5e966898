// Reads that a device, or a lock of the kernel, can hold up. They run on a thread of the library,
// and the caller waits for a limited time.
//
// A thread that does not come back cannot be stopped: it waits inside the kernel. So there is at
// most one for each kind of read, and no second run of a kind starts before the first has ended.
#ifndef ZOR_PLATFORM_LINUX_TIMED_READ_H_
#define ZOR_PLATFORM_LINUX_TIMED_READ_H_

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/device_port.h"
#include "platform/probe_trace.h"
#include "support/mutex.h"

namespace zor {

// A value that takes longer counts as absent. A collection in which every read is held up waits
// twice this long: once for the first read, once for all others together.
constexpr std::chrono::milliseconds kMaxReadTime{300};

// One run of a reader.
class ReadRun {
 public:
  virtual ~ReadRun() = default;

  // True for the first caller, who then makes the run.
  bool claim() ZOR_EXCLUDES(_mutex);
  // Ends the run. True: a caller has given up waiting for it.
  bool finish(const ProbeTrace& trace) ZOR_EXCLUDES(_mutex);
  bool isDone() ZOR_EXCLUDES(_mutex);
  bool isClaimed() ZOR_EXCLUDES(_mutex);
  // Waits until the run is done (true) or has taken `limit`, counted from now if it has not been
  // claimed yet.
  bool wait(std::chrono::milliseconds limit) ZOR_EXCLUDES(_mutex);
  // Gives up waiting, unless the run is done after all (true).
  bool abandon() ZOR_EXCLUDES(_mutex);
  // Copies the reader's notes to the calling thread's trace.
  void repeatNotes() ZOR_EXCLUDES(_mutex);

 protected:
  // Guards everything about the run, including its value.
  Mutex _mutex{LockRank::readRun};

 private:
  ConditionVariable _done ZOR_GUARDED_BY(_mutex);
  bool _isClaimed ZOR_GUARDED_BY(_mutex) = false;
  bool _isDone ZOR_GUARDED_BY(_mutex) = false;
  bool _isAbandoned ZOR_GUARDED_BY(_mutex) = false;
  std::chrono::steady_clock::time_point _claimedAt ZOR_GUARDED_BY(_mutex);
  std::string _sources ZOR_GUARDED_BY(_mutex);
  bool _denied ZOR_GUARDED_BY(_mutex) = false;
};

// What a reader has found so far. What it has stored is available even if the reader is held up
// before its end.
template <typename Value>
class Draft final : public ReadRun {
 public:
  void set(Value value) {
    const MutexLock lock(_mutex);
    _value = std::move(value);
  }
  template <typename Change>
  void change(const Change& change) {
    const MutexLock lock(_mutex);
    change(_value);
  }
  Value value() {
    const MutexLock lock(_mutex);
    return _value;
  }

 private:
  Value _value ZOR_GUARDED_BY(_mutex);
};

// One kind of read, whatever its value.
class TimedReadBase {
 public:
  TimedReadBase(const TimedReadBase&) = delete;
  TimedReadBase& operator=(const TimedReadBase&) = delete;

  // A new run, which the caller has to execute; null while another one is under way.
  std::shared_ptr<ReadRun> newRun() ZOR_EXCLUDES(_mutex);
  // Executes the run on a thread of its own.
  void start(const std::shared_ptr<ReadRun>& run);
  // Makes the run in the calling thread, unless another thread does.
  void execute(const std::shared_ptr<ReadRun>& run);

 protected:
  TimedReadBase(std::string label, std::chrono::milliseconds limit)
      : _label(std::move(label)), _limit(limit) {}
  ~TimedReadBase() = default;

  // Sets `run` to the run that serves the calling thread: the one read ahead for it, the one under
  // way, or a new one. True if it has ended in time.
  bool ask(std::shared_ptr<ReadRun>& run);
  // The run that ended after its callers had given up, once; null if there is none.
  std::shared_ptr<ReadRun> takeArrived() ZOR_EXCLUDES(_mutex);

 private:
  virtual std::shared_ptr<ReadRun> makeRun() const = 0;
  virtual void read(ReadRun& run) const = 0;
  std::shared_ptr<ReadRun> runUnderWay() ZOR_EXCLUDES(_mutex);

  const std::string _label;
  const std::chrono::milliseconds _limit;
  // Guards the members below. Not held while a reader runs.
  Mutex _mutex{LockRank::timedRead};
  std::shared_ptr<ReadRun> _current ZOR_GUARDED_BY(_mutex);
  std::shared_ptr<ReadRun> _arrived ZOR_GUARDED_BY(_mutex);
};

// One kind of read. Never destroyed: a thread may come back to it at any time.
template <typename Value>
class TimedRead final : public TimedReadBase {
 public:
  using Reader = std::function<void(Draft<Value>& draft)>;
  // Completes a draft with what an earlier run found too late.
  using Completion = std::function<Value(Value draft, Value arrived)>;

  // `label` represents the read in a probe's trace. Without a `completion`, a late value replaces
  // the draft.
  TimedRead(std::string label, Reader reader, Completion completion = {},
            std::chrono::milliseconds limit = kMaxReadTime)
      : TimedReadBase(std::move(label), limit),
        _reader(std::move(reader)),
        _completion(std::move(completion)) {}

  // What the reader finds. If it is not done in time: its draft so far, completed with what an
  // earlier run found too late; the probe's trace notes that. Callable from any thread.
  Value value() {
    std::shared_ptr<ReadRun> run;
    const bool inTime = ask(run);
    const std::shared_ptr<ReadRun> arrived = takeArrived();
    Value found = static_cast<Draft<Value>&>(*run).value();
    if (inTime || !arrived || arrived == run) return found;
    Value late = static_cast<Draft<Value>&>(*arrived).value();
    return _completion ? _completion(std::move(found), std::move(late)) : late;
  }

 private:
  std::shared_ptr<ReadRun> makeRun() const override { return std::make_shared<Draft<Value>>(); }
  void read(ReadRun& run) const override { _reader(static_cast<Draft<Value>&>(run)); }

  const Reader _reader;
  const Completion _completion;
};

// Runs several reads, one after another, for the thread that makes it. The next value() of each
// comes from this run, so a collection costs one thread and not one for each read. If one of them
// is held up, the rest get a thread each. Scopes of a thread nest.
class ReadsAhead final : public ReadAhead {
 public:
  explicit ReadsAhead(const std::vector<TimedReadBase*>& reads);
  ~ReadsAhead() override;
  ReadsAhead(const ReadsAhead&) = delete;
  ReadsAhead& operator=(const ReadsAhead&) = delete;

  // The calling thread's innermost one; null if there is none.
  static ReadsAhead* current();
  // Null: `read` is not among these.
  std::shared_ptr<ReadRun> runOf(const TimedReadBase& read) const;
  // Starts a thread for each run that has not begun.
  void startEach();

 private:
  struct Planned {
    TimedReadBase* read;
    std::shared_ptr<ReadRun> run;
  };

  std::vector<Planned> _planned;
  ReadsAhead* const _outer;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_TIMED_READ_H_

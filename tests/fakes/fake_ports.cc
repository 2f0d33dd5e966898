#include "tests/fakes/fake_ports.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <new>
#include <tuple>
#include <utility>

#include "literals/literals.h"
#include "platform/operation_queue.h"
#include "support/text.h"

namespace zor::testing {
namespace {

class FakePasteboard final : public Pasteboard {
 public:
  FakePasteboard(InMemoryPasteboards& owner, std::string name)
      : _owner(owner), _name(std::move(name)) {}

  Reading<Data> dataForType(const std::string& type) override {
    const MutexLock lock(_owner.mutex);
    if (Status status = statusIn(_owner.unreadable); !status.isSuccess()) return status;
    const auto board = _owner.boards.find(_name);
    if (board == _owner.boards.end()) return {};
    const auto found = board->second.find(type);
    if (found == board->second.end()) return {};
    return found->second;
  }

  Status setData(const Data& data, const std::string& type) override {
    const MutexLock lock(_owner.mutex);
    if (Status status = statusIn(_owner.unwritable); !status.isSuccess()) return status;
    _owner.boards[_name][type] = data;
    return {};
  }

  Status clear(const std::string& type) override {
    const MutexLock lock(_owner.mutex);
    _owner.boards[_name].erase(type);
    if (_owner.boards[_name].empty()) _owner.boards.erase(_name);
    return {};
  }

 private:
  Status statusIn(const std::map<std::string, int>& errors) const {
    const auto found = errors.find(_name);
    if (found == errors.end()) return {};
    return Status::ofSystem("cannot use " + _name, found->second, "the test wants it so");
  }

  InMemoryPasteboards& _owner;
  const std::string _name;
};

}  // namespace

std::optional<std::string> FakeDevices::firmwareText(FirmwareText which) {
  const auto found = firmware.find(which);
  return found != firmware.end() ? std::optional(found->second) : std::nullopt;
}

std::optional<ZORValue> FakeDevices::property(const std::string& deviceClass,
                                              const std::string& key) {
  const auto found = properties[deviceClass].find(key);
  return found != properties[deviceClass].end() ? std::optional(found->second) : std::nullopt;
}

std::optional<FileSystemFigures> FakeSystem::fileSystemFigures(const std::string& path) {
  const auto found = fileSystems.find(path);
  if (found == fileSystems.end()) return std::nullopt;
  return found->second;
}

std::optional<Data> FakeSystem::namedValue(const std::string& name) {
  const auto found = values.find(name);
  if (found == values.end()) return std::nullopt;
  return found->second;
}

std::optional<std::string> FakeNetwork::addressText(AddressFamily family, const std::uint8_t* bytes,
                                                    std::size_t size) {
  char text[INET6_ADDRSTRLEN];
  const bool known =
      (family == AddressFamily::ipv4 && size >= 4) || (family == AddressFamily::ipv6 && size >= 16);
  const int systemFamily = family == AddressFamily::ipv4 ? AF_INET : AF_INET6;
  if (!known || ::inet_ntop(systemFamily, bytes, text, sizeof text) == nullptr) return std::nullopt;
  return text;
}

std::optional<ZORValue> FakeBundle::infoValue(const std::string& key) {
  const ZORValue* value = info.find(key);
  return value != nullptr ? std::optional(*value) : std::nullopt;
}

Reading<DefaultsPort::Values> InMemoryDefaults::read(const std::vector<std::string>& keys) {
  if (unreadable) return Status::ofSystem("cannot read the defaults", EIO, "the test wants it so");
  const MutexLock lock(_mutex);
  Values values;
  for (const std::string& key : keys) {
    const auto found = _values.find(key);
    values.push_back(found != _values.end() ? std::optional(found->second) : std::nullopt);
  }
  return values;
}

Status InMemoryDefaults::change(const std::vector<Change>& changes) {
  const MutexLock lock(_mutex);
  for (const auto& [key, value] : changes) {
    if (value && outOfMemory) throw std::bad_alloc();
    if (value) {
      _values.insert_or_assign(key, *value);
    } else {
      _values.erase(key);
    }
  }
  return {};
}

Status InMemoryDefaults::removeIfStill(const std::vector<std::string>& keys, const Values& seen) {
  const auto now = read(keys);
  if (!now || *now != seen) return {};
  const MutexLock lock(_mutex);
  for (const std::string& key : keys) _values.erase(key);
  return {};
}

void InMemoryDefaults::setObject(const std::string& key, const ZORValue& value) {
  std::ignore = change({{key, value}});
}

void InMemoryDefaults::removeObject(const std::string& key) {
  std::ignore = change({{key, std::nullopt}});
}

std::unique_ptr<Pasteboard> InMemoryPasteboards::pasteboardWithName(const std::string& name) {
  const MutexLock lock(mutex);
  ++looks;
  for (const std::string& absent : missing) {
    if (absent == name) return nullptr;
  }
  return std::make_unique<FakePasteboard>(*this, name);
}

double FakeClock::secondsSince1970() {
  const MutexLock lock(_mutex);
  return _now;
}

void FakeClock::set(double secondsSince1970) {
  const MutexLock lock(_mutex);
  _now = secondsSince1970;
}

void FakeClock::advance(double seconds) {
  const MutexLock lock(_mutex);
  _now += seconds;
}

std::uint32_t FakeRandom::randomNumber() {
  const MutexLock lock(_mutex);
  if (_numbers.empty()) return 0;
  const std::uint32_t number = _numbers.front();
  _numbers.pop_front();
  return number;
}

std::string FakeRandom::uuidString() {
  const MutexLock lock(_mutex);
  char text[37];
  std::snprintf(text, sizeof text, "00000000-0000-4000-8000-%012d", ++_uuids);
  return text;
}

void FakeRandom::next(std::initializer_list<std::uint32_t> numbers) {
  const MutexLock lock(_mutex);
  _numbers.insert(_numbers.end(), numbers);
}

void CapturingLog::writeLine(const std::string& line) {
  const MutexLock lock(_mutex);
  _lines.push_back(line);
}

std::vector<std::string> CapturingLog::lines() {
  const MutexLock lock(_mutex);
  return _lines;
}

class ScriptedURLSession final : public URLSession {
 public:
  ScriptedURLSession(ScriptedURLLoading& owner, OperationQueue& queue)
      : _owner(owner), _queue(queue) {}

  void startDataTask(const URLRequest& request, TransportCompletion completion) override {
    {
      const MutexLock lock(_owner._mutex);
      _owner._requests.push_back(request);
    }
    _queue.addOperation([&owner = _owner, request, completion = std::move(completion)] {
      const auto answer = owner.answer(request);
      completion(answer.body, answer.response, answer.error);
    });
  }

 private:
  ScriptedURLLoading& _owner;
  OperationQueue& _queue;
};

std::unique_ptr<URLSession> ScriptedURLLoading::createSession(
    std::weak_ptr<URLSessionDelegate> /*delegate*/, OperationQueue& queue) {
  return std::make_unique<ScriptedURLSession>(*this, queue);
}

void ScriptedURLLoading::setScript(Script script) {
  const MutexLock lock(_scriptMutex);
  _script = std::move(script);
}

std::vector<URLRequest> ScriptedURLLoading::requests() {
  const MutexLock lock(_mutex);
  return _requests;
}

ScriptedURLLoading::Answer ScriptedURLLoading::answer(const URLRequest& request) {
  const MutexLock lock(_scriptMutex);
  return _script ? _script(request) : unreachable();
}

ScriptedURLLoading::Answer ScriptedURLLoading::status(int statusCode, const std::string& body) {
  URLResponse response;
  response.statusCode = statusCode;
  return {utf8Bytes(body), response, std::nullopt};
}

ScriptedURLLoading::Answer ScriptedURLLoading::unreachable() {
  return {std::nullopt, std::nullopt,
          ZORError{literals::kURLErrorDomain.str(),
                   static_cast<std::int64_t>(URLErrorCode::cannotConnectToHost), "No route"}};
}

FakeMachine::FakeMachine()
    : root(makeTemporaryFolder()),
      files(root),
      _scope(PortSet{devices, system, network, wifi, integrity, bundle, defaults, pasteboards,
                     systemPorts().archive, files, systemPorts().crypto, clock, random, log,
                     urlLoading}) {}

FakeMachine::~FakeMachine() {
  std::error_code ignored;
  std::filesystem::remove_all(root, ignored);
}

std::string makeTemporaryFolder() {
  std::string pattern = std::filesystem::temp_directory_path() / "zor-test-XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) std::abort();
  return pattern;
}

}  // namespace zor::testing

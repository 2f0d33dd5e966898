// Fakes of the ports. They behave like a machine with the values that a test sets.
#ifndef ZOR_TESTS_FAKES_FAKE_PORTS_H_
#define ZOR_TESTS_FAKES_FAKE_PORTS_H_

#include <atomic>
#include <cerrno>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "pingback/ZORSecPingback.h"
#include "pingback/ZORSecPingbackStore.h"
#include "platform/ports.h"
#include "support/mutex.h"
#include "tests/fakes/json.h"

namespace zor::testing {

// Devices without values until a test sets them.
class FakeDevices final : public DevicePort {
 public:
  std::optional<std::string> machineUuid() override { return uuid; }
  std::optional<std::string> firmwareText(FirmwareText which) override;
  std::optional<BluetoothController> bluetoothController() override { return controller; }
  std::optional<std::vector<USBDevice>> usbDevices() override { return usb; }
  std::optional<std::vector<HardwareAddress>> hardwareAddresses() override { return addresses; }
  std::optional<PowerSource> firstPowerSource() override { return powerSource; }
  std::optional<ZORValue> property(const std::string& deviceClass, const std::string& key) override;

  std::optional<std::string> uuid;
  std::map<FirmwareText, std::string> firmware;
  std::optional<BluetoothController> controller;
  std::optional<std::vector<USBDevice>> usb = std::vector<USBDevice>();
  std::optional<std::vector<HardwareAddress>> addresses = std::vector<HardwareAddress>();
  std::optional<PowerSource> powerSource;
  std::map<std::string, std::map<std::string, ZORValue>> properties;  // By class, then by key.
};

class FakeSystem final : public SystemPort {
 public:
  std::optional<std::string> kernelVersion() override { return kernel; }
  std::optional<std::string> operatingSystemVersionString() override { return version; }
  std::optional<std::string> processName() override { return process; }
  std::string globallyUniqueString() override { return "unique-" + std::to_string(++_calls); }
  std::int32_t processIdentifier() override { return processId; }
  double systemUptimeSeconds() override { return uptimeSeconds; }
  std::int64_t physicalMemoryBytes() override { return memoryBytes; }
  std::optional<FileSystemFigures> fileSystemFigures(const std::string& path) override;
  std::optional<Data> namedValue(const std::string& name) override;
  std::map<std::string, std::string> environment() override { return variables; }

  std::optional<std::string> kernel = "#1 SMP Fake 6.1";
  std::optional<std::string> version = "Fake OS 1";
  std::optional<std::string> process = "fake";
  std::int32_t processId = 4711;
  double uptimeSeconds = 12.5;
  std::int64_t memoryBytes = 1 << 30;
  std::map<std::string, FileSystemFigures> fileSystems;
  std::map<std::string, Data> values;
  std::map<std::string, std::string> variables;

 private:
  int _calls = 0;
};

class FakeNetwork final : public NetworkPort {
 public:
  std::optional<std::vector<InterfaceAddress>> interfaceAddresses() override { return addresses; }
  DesignatedInterfaces designatedInterfaces() override { return designated; }
  std::vector<std::string> addressInterfaces() override { return reported; }
  std::optional<std::string> addressText(AddressFamily family, const std::uint8_t* bytes,
                                         std::size_t size) override;
  std::optional<std::vector<std::string>> nameServers() override { return servers; }

  std::optional<std::vector<InterfaceAddress>> addresses;
  DesignatedInterfaces designated;
  std::vector<std::string> reported;
  std::optional<std::vector<std::string>> servers;
};

class FakeWiFi final : public WiFiPort {
 public:
  std::optional<WiFiInterface> defaultInterface() override { return interface; }
  std::optional<WiFiInterface> interface;
};

class FakeIntegrity final : public IntegrityPort {
 public:
  void enable() override { enabled = true; }
  IntegritySignal signal() override { return enabled ? value : IntegritySignal{}; }
  bool enabled = false;
  IntegritySignal value;
};

class FakeBundle final : public BundlePort {
 public:
  std::optional<std::string> bundleIdentifier() override { return identifier; }
  std::optional<ZORValue> infoValue(const std::string& key) override;
  std::optional<std::string> identifier = "org.example.host";
  ZORValue info = json(R"({"CFBundleShortVersionString":"2.5","CFBundleVersion":"250"})");
};

class InMemoryDefaults final : public DefaultsPort {
 public:
  Reading<Values> read(const std::vector<std::string>& keys) override;
  Status change(const std::vector<Change>& changes) override;
  Status removeIfStill(const std::vector<std::string>& keys, const Values& seen) override;

  // For tests that set a value; these cannot fail.
  void setObject(const std::string& key, const ZORValue& value);
  void removeObject(const std::string& key);

  // Every change that sets a value throws std::bad_alloc.
  std::atomic<bool> outOfMemory{false};
  // Nothing can be read.
  std::atomic<bool> unreadable{false};

 private:
  Mutex _mutex;
  std::map<std::string, ZORValue> _values ZOR_GUARDED_BY(_mutex);
};

class InMemoryPasteboards final : public PasteboardPort {
 public:
  std::unique_ptr<Pasteboard> pasteboardWithName(const std::string& name) override;
  // Names without a pasteboard.
  std::vector<std::string> missing;
  // Names of those that cannot be read or written, with the system's error.
  std::map<std::string, int> unreadable;
  std::map<std::string, int> unwritable;
  // Content by name, then by type; tests may set anything.
  std::map<std::string, std::map<std::string, Data>> boards;
  int looks = 0;
  Mutex
      mutex;  // Held by the pasteboards while they use the above; tests look when nobody else does.
};

class FakeClock final : public ClockPort {
 public:
  double secondsSince1970() override;
  void set(double secondsSince1970);
  void advance(double seconds);

 private:
  Mutex _mutex;
  double _now ZOR_GUARDED_BY(_mutex) = 1700000000;
};

// Numbers in the order given, then 0; UUIDs count up.
class FakeRandom final : public RandomPort {
 public:
  std::uint32_t randomNumber() override;
  std::string uuidString() override;
  void next(std::initializer_list<std::uint32_t> numbers);

 private:
  Mutex _mutex;
  std::deque<std::uint32_t> _numbers ZOR_GUARDED_BY(_mutex);
  int _uuids ZOR_GUARDED_BY(_mutex) = 0;
};

class CapturingLog final : public LogPort {
 public:
  void writeLine(const std::string& line) override;
  std::vector<std::string> lines();

 private:
  Mutex _mutex;
  std::vector<std::string> _lines ZOR_GUARDED_BY(_mutex);
};

// The real files of this machine, with the folders and the free space that a test chooses.
class FilesUnder final : public FilePort {
 public:
  // `root` holds "home" and "library"; both are created on demand.
  explicit FilesUnder(std::string root) : _root(std::move(root)) {}

  std::string homeDirectory() override { return _root + "/home"; }
  std::optional<std::string> libraryDirectory() override { return _root + "/library"; }
  bool exists(const std::string& path) override { return _real.exists(path); }
  Reading<Data> read(const std::string& path) override {
    if (const auto found = unreadable.find(path); found != unreadable.end()) {
      return failure("read", path, found->second);
    }
    return _real.read(path);
  }
  Status createDirectories(const std::string& path) override {
    return _real.createDirectories(path);
  }
  Status createFile(const std::string& path, const FileAttributes& attributes) override {
    return _real.createFile(path, attributes);
  }
  Status writeAtomically(const std::string& path, const Data& data) override {
    if (diskFull) return failure("write", path, ENOSPC);
    return _real.writeAtomically(path, data);
  }
  Status removeFile(const std::string& path) override {
    if (diskFull) return failure("remove", path, EROFS);
    return _real.removeFile(path);
  }
  Reading<std::unique_ptr<FileHandle>> openForUpdating(const std::string& path) override {
    return _real.openForUpdating(path);
  }
  Status excludeFromBackup(const std::string& /*path*/) override { return backupProblem; }
  std::optional<std::uint64_t> freeBytes(const std::string&) override { return freeSpaceBytes; }
  LockAttempt lockBeside(const std::string& path) override { return _real.lockBeside(path); }

  std::optional<std::uint64_t> freeSpaceBytes = std::uint64_t{100} << 30;
  bool diskFull = false;
  std::map<std::string, int> unreadable;  // Paths that cannot be read, each with the error.
  Status backupProblem;

 private:
  static Status failure(const std::string& verb, const std::string& path, int error) {
    return Status::ofSystem("cannot " + verb + " " + path, error, "the test wants it so");
  }

  const std::string _root;
  FilePort& _real = systemPorts().files;
};

// Answers requests from a function, on the session's queue, without a network.
class ScriptedURLLoading final : public URLLoadingPort {
 public:
  struct Answer {
    std::optional<Data> body;
    std::optional<URLResponse> response;
    std::optional<ZORError> error;
  };
  using Script = std::function<Answer(const URLRequest& request)>;

  std::unique_ptr<URLSession> createSession(std::weak_ptr<URLSessionDelegate> delegate,
                                            OperationQueue& queue) override;

  // Called on the queue, one call at a time. Without it every request ends as unreachable.
  void setScript(Script script);
  // The requests started so far, in order.
  std::vector<URLRequest> requests();

  // An answer with that status and body.
  static Answer status(int statusCode, const std::string& body = "");
  static Answer unreachable();

 private:
  friend class ScriptedURLSession;
  Answer answer(const URLRequest& request);

  // Held while the script runs, which may call the library: before the library's own locks.
  Mutex _scriptMutex{LockRank::facade};
  Script _script ZOR_GUARDED_BY(_scriptMutex);
  Mutex _mutex;
  std::vector<URLRequest> _requests ZOR_GUARDED_BY(_mutex);
};

// A complete fake machine in a temporary folder, in use for its lifetime. Failure records are made
// for `bundle` as it is at first, and go to the machine's own store.
class FakeMachine {
 public:
  FakeMachine();
  ~FakeMachine();

  // The temporary folder, removed at the end.
  const std::string root;

  FakeDevices devices;
  FakeSystem system;
  FakeNetwork network;
  FakeWiFi wifi;
  FakeIntegrity integrity;
  FakeBundle bundle;
  InMemoryDefaults defaults;
  InMemoryPasteboards pasteboards;
  FilesUnder files;
  FakeClock clock;
  FakeRandom random;
  CapturingLog log;
  ScriptedURLLoading urlLoading;

 private:
  const ScopedPorts _scope;
  const ScopedPingbackEnvironment _pingbackEnvironment{bundle};
  const ScopedPingbackStore _pingbackStore;
};

// Makes an empty temporary folder, whose path is returned.
std::string makeTemporaryFolder();

}  // namespace zor::testing

#endif  // ZOR_TESTS_FAKES_FAKE_PORTS_H_

#import <Foundation/Foundation.h>
#include <IOKit/IOKitLib.h>

#include <utility>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"
#include "platform/probe_trace.h"

namespace zor {
namespace {

// Owns one reference to a registry object.
class IOObject {
 public:
  explicit IOObject(io_object_t object) : _object(object) {}
  ~IOObject() {
    if (_object != IO_OBJECT_NULL) IOObjectRelease(_object);
  }
  IOObject(IOObject&& other) noexcept : _object(std::exchange(other._object, IO_OBJECT_NULL)) {}
  IOObject(const IOObject&) = delete;
  IOObject& operator=(const IOObject&) = delete;
  IOObject& operator=(IOObject&&) = delete;

  io_object_t get() const { return _object; }
  explicit operator bool() const { return _object != IO_OBJECT_NULL; }

 private:
  io_object_t _object;
};

class MacRegistryEntry final : public RegistryEntry {
 public:
  explicit MacRegistryEntry(IOObject entry) : _entry(std::move(entry)) {}

  std::optional<RegistryValue> property(const std::string& key) override {
    @autoreleasepool {
      NSString* name = foundationString(key);
      if (name == nil) return std::nullopt;
      return registryValueFromObject(CFBridgingRelease(IORegistryEntryCreateCFProperty(
          _entry.get(), (__bridge CFStringRef)name, kCFAllocatorDefault, 0)));
    }
  }

  RegistryParent parent(const std::string& plane) override {
    io_registry_entry_t above = IO_OBJECT_NULL;
    const kern_return_t status = IORegistryEntryGetParentEntry(_entry.get(), plane.c_str(), &above);
    if (status != KERN_SUCCESS) return {nullptr, status};
    return {std::make_unique<MacRegistryEntry>(IOObject(above)), status};
  }

 private:
  const IOObject _entry;
};

class MacRegistry final : public RegistryPort {
 public:
  // Both look-ups below consume the matching dictionary, also when they fail.
  std::unique_ptr<RegistryEntry> firstService(const std::string& serviceClass) override {
    noteProbeSource(serviceClass);
    CFMutableDictionaryRef matching = IOServiceMatching(serviceClass.c_str());
    if (matching == nullptr) return nullptr;
    IOObject service(IOServiceGetMatchingService(kIOMasterPortDefault, matching));
    if (!service) return nullptr;
    return std::make_unique<MacRegistryEntry>(std::move(service));
  }

  std::optional<std::vector<std::unique_ptr<RegistryEntry>>> services(
      const std::string& serviceClass) override {
    noteProbeSource(serviceClass);
    CFMutableDictionaryRef matching = IOServiceMatching(serviceClass.c_str());
    if (matching == nullptr) return std::nullopt;
    io_iterator_t found = IO_OBJECT_NULL;
    if (IOServiceGetMatchingServices(kIOMasterPortDefault, matching, &found) != KERN_SUCCESS) {
      return std::nullopt;
    }
    const IOObject iterator(found);
    std::vector<std::unique_ptr<RegistryEntry>> entries;
    while (IOObject service{IOIteratorNext(iterator.get())}) {
      entries.push_back(std::make_unique<MacRegistryEntry>(std::move(service)));
    }
    return entries;
  }
};

}  // namespace

RegistryPort& macosRegistryPort() {
  static auto& port = *new MacRegistry;
  return port;
}

}  // namespace zor

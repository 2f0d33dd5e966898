// Devices and their attributes in sysfs.
//
// Read directly, without libudev: it opens every part of every path to find out what the kernel's
// links say at once, some hundred system calls for a device, and a collection has to end within a
// fraction of a millisecond. Of what it adds (the udev daemon's findings) nothing is needed.
#ifndef ZOR_PLATFORM_LINUX_DEVICE_READER_H_
#define ZOR_PLATFORM_LINUX_DEVICE_READER_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zor {

// One device; a value that stays valid when the device goes. Each read asks the kernel.
class Device {
 public:
  // `path` is its place in sysfs; `label` stands for that in a probe's trace.
  Device(std::string path, std::string label) : _path(std::move(path)), _label(std::move(label)) {}

  std::string name() const;
  const std::string& path() const { return _path; }
  bool exists() const;
  // Whether there is such a file, link or folder below it.
  bool has(const std::string& name) const;
  // What kind of device it is within its class; empty for most.
  std::string type() const;
  // Whether it, or a device that it hangs on, can be taken off from outside. Waits for no device.
  bool isRemovable() const;
  // The device behind this one; nullopt for a purely virtual one.
  std::optional<Device> behind() const;
  // Without its line end; bytes that are not valid UTF-8 as Windows Latin 1. nullopt: there is
  // none, the device has gone, or it may not be read, which is noted in the probe's trace.
  std::optional<std::string> attribute(const std::string& key) const;

 private:
  std::string _path;
  std::string _label;
};

// The devices of a class or, where there is no such class, of a bus, sorted by their place in
// sysfs. None when the kernel knows neither; nullopt: it may not be listed.
std::optional<std::vector<Device>> devicesOf(const std::string& classOrBus);

// The interfaces that a device stands behind, that is, no bridges, tunnels, loopbacks and the like.
std::optional<std::vector<Device>> interfacesBackedByDevices();

// The place in sysfs that a link in `folder` leads to.
std::string linkedPath(const std::string& folder, const std::string& link);

// The value of `name` among the lines "NAME=value" that the kernel shows of a device; empty
// without.
std::string eventVariable(const std::string& content, const std::string& name);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_DEVICE_READER_H_

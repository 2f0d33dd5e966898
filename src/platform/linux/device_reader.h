// Devices and their attributes in sysfs.
//
// Read directly, without libudev. That library opens every part of every path to learn what the
// kernel's links say directly, which takes some hundred system calls for each device, while a
// collection has to end within a fraction of a millisecond. What it adds, the udev daemon's
// findings, is not needed.
#ifndef ZOR_PLATFORM_LINUX_DEVICE_READER_H_
#define ZOR_PLATFORM_LINUX_DEVICE_READER_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zor {

// One device. A value that stays valid when the device is removed; each read asks the kernel.
class Device {
 public:
  // `path` is its place in sysfs; `label` represents it in a probe's trace.
  Device(std::string path, std::string label) : _path(std::move(path)), _label(std::move(label)) {}

  std::string name() const;
  const std::string& path() const { return _path; }
  bool exists() const;
  // Whether there is such a file, link or folder below it.
  bool has(const std::string& name) const;
  // What kind of device it is within its class; empty for most.
  std::string type() const;
  // Whether it, or a device that it is attached to, can be removed from outside. Waits for no
  // device.
  bool isRemovable() const;
  // The device behind this one; nullopt for a purely virtual one.
  std::optional<Device> behind() const;
  // The attribute without its line end; bytes that are not valid UTF-8 are read as Windows Latin 1.
  // nullopt: there is none, the device has gone, or it may not be read, which is noted in the
  // probe's trace.
  std::optional<std::string> attribute(const std::string& key) const;

 private:
  std::string _path;
  std::string _label;
};

// The devices of a class or, where there is no such class, of a bus, sorted by their place in
// sysfs. Empty if the kernel knows neither; nullopt: it may not be listed.
std::optional<std::vector<Device>> devicesOf(const std::string& classOrBus);

// The interfaces that are backed by a device, so no bridges, tunnels, loopbacks and the like.
std::optional<std::vector<Device>> interfacesBackedByDevices();

// The place in sysfs that a link in `folder` leads to.
std::string linkedPath(const std::string& folder, const std::string& link);

// The value of `name` among the lines "NAME=value" that the kernel shows for a device; empty if
// there is none.
std::string eventVariable(const std::string& content, const std::string& name);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_DEVICE_READER_H_

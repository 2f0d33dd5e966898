#include "platform/linux/device_reader.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>

#include "literals/literals.h"
#include "platform/linux/decoded_text.h"
#include "platform/linux/file_reading.h"
#include "platform/linux/text_lines.h"
#include "platform/posix/file_io.h"
#include "platform/probe_trace.h"
#include "support/c_handles.h"

namespace zor {
namespace {

using Folder = std::unique_ptr<DIR, FreeWith<closedir>>;

// No attribute of a device is longer than a page.
constexpr std::size_t kAttributeBytes = 4096;

std::string devicePath(const std::string& folder, const std::string& name) {
  char link[PATH_MAX];
  const ssize_t size = ::readlink((folder + "/" + name).c_str(), link, sizeof link);
  if (size <= 0) return folder + "/" + name;
  return linkedPath(folder, std::string(link, static_cast<std::size_t>(size)));
}

constexpr std::string_view kDevicesFolder = "/sys/devices";

std::string parentOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

// Not noted in the trace: these files are looked for above every device, and few devices have them.
std::string wordIn(const std::string& path) {
  const FileDescriptor file = openFile(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  char word[16];
  const ssize_t size = file.isOpen() ? ::read(file.get(), word, sizeof word) : 0;
  const std::string_view content(word, size > 0 ? static_cast<std::size_t>(size) : 0);
  return std::string(content.substr(0, content.find('\n')));
}

// "1-2.4": the device at that port of a bus. Its interfaces have a colon.
bool isUSBPort(std::string_view name) {
  return !name.empty() && name.front() >= '0' && name.front() <= '9' &&
         name.find('-') != std::string_view::npos &&
         name.find_first_not_of("0123456789-.") == std::string_view::npos;
}

std::vector<std::string> namesIn(DIR* folder) {
  std::vector<std::string> names;
  while (const dirent* entry = ::readdir(folder)) {
    if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
  }
  return names;
}

std::vector<Device> devicesIn(const std::string& folder, DIR* opened) {
  const auto names = namesIn(opened);
  const std::string label = folder + "/" + (names.size() == 1 ? names.front() : "*");
  std::vector<Device> devices;
  devices.reserve(names.size());
  for (const std::string& name : names) devices.emplace_back(devicePath(folder, name), label);
  std::sort(devices.begin(), devices.end(),
            [](const Device& left, const Device& right) { return left.path() < right.path(); });
  return devices;
}

}  // namespace

std::string linkedPath(const std::string& folder, const std::string& link) {
  if (link.rfind("../", 0) != 0) return link.front() == '/' ? link : folder + "/" + link;
  // The kernel's links lead up to the root of sysfs and down from there.
  return "/sys/" + link.substr(link.find_first_not_of("./"));
}

std::string eventVariable(const std::string& content, const std::string& name) {
  for (const std::string_view line : lines(content)) {
    const bool found = line.size() > name.size() && line.substr(0, name.size()) == name &&
                       line[name.size()] == '=';
    if (found) return std::string(line.substr(name.size() + 1));
  }
  return {};
}

std::string Device::name() const { return _path.substr(_path.rfind('/') + 1); }

bool Device::exists() const { return ::access(_path.c_str(), F_OK) == 0; }

bool Device::has(const std::string& name) const {
  return ::access((_path + "/" + name).c_str(), F_OK) == 0;
}

std::string Device::type() const {
  const auto event = readSmallFile(_path + "/uevent", kAttributeBytes, _label + "/uevent");
  return event ? eventVariable(*event, literals::kDeviceTypeVariable.str()) : "";
}

// A USB port that the firmware does not describe is more likely one that people use.
bool Device::isRemovable() const {
  for (std::string path = _path; path.size() > kDevicesFolder.size(); path = parentOf(path)) {
    const std::string kind = wordIn(path + "/removable");
    if (kind == "removable") return true;
    if (kind != "fixed" && isUSBPort(path.substr(path.rfind('/') + 1))) return true;
  }
  return false;
}

std::optional<Device> Device::behind() const {
  if (!has(literals::kDeviceLink.str())) return std::nullopt;
  const std::string link = "/" + literals::kDeviceLink.str();
  return Device(_path + link, _label + link);
}

std::optional<std::string> Device::attribute(const std::string& key) const {
  auto text = readSmallFile(_path + "/" + key, kAttributeBytes, _label + "/" + key);
  if (!text) return std::nullopt;
  text->erase(text->find_last_not_of('\n') + 1);
  return decodedText(*text);
}

std::optional<std::vector<Device>> devicesOf(const std::string& classOrBus) {
  for (const std::string& folder :
       {"/sys/class/" + classOrBus, "/sys/bus/" + classOrBus + "/devices"}) {
    noteProbeSource(folder);
    const Folder opened(::opendir(folder.c_str()));
    if (opened) return devicesIn(folder, opened.get());
    if (errno == EACCES || errno == EPERM) {
      noteProbeDenied(folder);
      return std::nullopt;
    }
  }
  return std::vector<Device>();
}

std::optional<std::vector<Device>> interfacesBackedByDevices() {
  auto devices = devicesOf(literals::kInterfaceClass.str());
  if (!devices) return std::nullopt;
  devices->erase(std::remove_if(devices->begin(), devices->end(),
                                [](const Device& device) { return !device.behind(); }),
                 devices->end());
  return devices;
}

}  // namespace zor

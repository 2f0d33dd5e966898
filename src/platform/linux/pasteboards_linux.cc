#include "platform/linux/pasteboards_linux.h"

#include <unistd.h>

#include <tuple>

#include "literals/literals.h"
#include "platform/linux/library_folders.h"
#include "platform/linux/linux_ports.h"
#include "platform/posix/file_io.h"
#include "platform/probe_trace.h"
#include "support/text.h"

namespace zor {
namespace {

class LinuxPasteboard final : public Pasteboard {
 public:
  explicit LinuxPasteboard(std::string folder) : _folder(std::move(folder)) {}

  Reading<Data> dataForType(const std::string& type) override {
    return readWholeFile(pathForType(type), kMaxPasteboardBytes);
  }

  Status setData(const Data& data, const std::string& type) override {
    const std::string path = pathForType(type);
    if (data.size() > kMaxPasteboardBytes) {
      return Status::unusable("cannot write " + path, "too large");
    }
    const Status folder = makeFolders(_folder);
    return folder.isSuccess() ? replaceFile(path, textOf(data)) : folder;
  }

  Status clear(const std::string& type) override {
    Status status = removeFileAt(pathForType(type));
    // An empty folder would reveal that there was a value. A folder that holds other types stays.
    if (status.isSuccess()) std::ignore = ::rmdir(_folder.c_str());
    return status;
  }

 private:
  std::string pathForType(const std::string& type) const {
    return _folder + "/" + safeFileName(type);
  }

  const std::string _folder;
};

std::optional<std::string> standardFolder() {
  const auto folder = folderOfLibrary(literals::kDataHomeVariable.c_str(), ".local/share");
  if (!folder) return std::nullopt;
  return *folder + "/pasteboards";
}

}  // namespace

std::unique_ptr<Pasteboard> LinuxPasteboards::pasteboardWithName(const std::string& name) {
  noteProbeSource("pasteboards");
  const auto folder = _folder();
  if (!folder) return nullptr;
  return std::make_unique<LinuxPasteboard>(*folder + "/" + safeFileName(name));
}

PasteboardPort& linuxPasteboardPort() {
  static constinit MadeOnce<LinuxPasteboards> port;
  return port.get([] { return std::make_unique<LinuxPasteboards>(standardFolder); });
}

}  // namespace zor

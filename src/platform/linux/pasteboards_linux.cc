#include "platform/linux/pasteboards_linux.h"

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

  std::optional<Data> dataForType(const std::string& type) override {
    Data data;
    if (readWholeFile(pathForType(type), kLargestPasteboardBytes, data) != 0) return std::nullopt;
    return data;
  }

  bool setData(const Data& data, const std::string& type) override {
    return data.size() <= kLargestPasteboardBytes && makeFolders(_folder) == 0 &&
           replaceFile(pathForType(type), textOf(data)) == 0;
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
  static auto& port = *new LinuxPasteboards(standardFolder);
  return port;
}

}  // namespace zor

// Named pasteboards as files.
#ifndef ZOR_PLATFORM_LINUX_PASTEBOARDS_LINUX_H_
#define ZOR_PLATFORM_LINUX_PASTEBOARDS_LINUX_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/pasteboard_port.h"

namespace zor {

// Linux has no named pasteboards that outlive their writer without a desktop session. The stand-in
// is one file for each type, <folder>/<name>/<type>, with safe names; a change sends no
// notification. Values over kMaxPasteboardBytes are refused, and larger files read as absent.
class LinuxPasteboards final : public PasteboardPort {
 public:
  using Locator = std::function<std::optional<std::string>()>;

  // `folder` returns the folder of all pasteboards and is called at each access; nullopt: there are
  // none.
  explicit LinuxPasteboards(Locator folder) : _folder(std::move(folder)) {}

  std::unique_ptr<Pasteboard> pasteboardWithName(const std::string& name) override;

 private:
  const Locator _folder;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_PASTEBOARDS_LINUX_H_

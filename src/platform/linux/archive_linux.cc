#include "platform/linux/filed_values.h"
#include "platform/linux/linux_ports.h"
#include "platform/posix/file_io.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor {
namespace {

constexpr const char* kVersionKey = "archiveVersion";
constexpr const char* kRootKey = "root";
constexpr int kVersion = 1;

// Linux has no keyed archives. The stand-in is {"archiveVersion":1,"root":{...}}, with the root in
// the form in which the user defaults write dictionaries.
class LinuxArchive final : public ArchivePort {
 public:
  std::optional<Data> archivedData(const ZORValue& dictionary) override {
    const auto root = filedValue(dictionary);
    if (!root) return std::nullopt;
    const auto text =
        jsonFromValue(ZORValue::dictionary({{kVersionKey, kVersion}, {kRootKey, *root}}));
    if (!text) return std::nullopt;
    return utf8Bytes(*text);
  }

  std::optional<ZORValue> unarchivedDictionary(const Data& data) override {
    const auto archive = valueFromJson(textOf(data));
    if (!archive || (*archive)[kVersionKey] != kVersion) return std::nullopt;
    auto root = valueFromFiled((*archive)[kRootKey]);
    return root && root->isDictionary() ? std::move(root) : std::nullopt;
  }
};

}  // namespace

ArchivePort& linuxArchivePort() {
  static constinit MadeOnce<LinuxArchive> port;
  return port.get();
}

}  // namespace zor

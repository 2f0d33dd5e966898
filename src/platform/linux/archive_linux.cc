#include "platform/linux/linux_ports.h"
#include "platform/linux/property_json.h"
#include "platform/posix/file_io.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor {
namespace {

constexpr const char* kVersionKey = "archiveVersion";
constexpr const char* kRootKey = "root";
constexpr int kVersion = 1;

// Linux has no keyed archives. The stand-in is {"archiveVersion":1,"root":{...}}, the root written
// as the user defaults write their dictionaries.
class LinuxArchive final : public ArchivePort {
 public:
  std::optional<Data> archivedData(const PropertyDictionary& dictionary) override {
    const auto root = jsonFromProperty(dictionary);
    if (!root) return std::nullopt;
    const auto text = serializeJson({{kVersionKey, kVersion}, {kRootKey, *root}});
    if (!text) return std::nullopt;
    return utf8Bytes(*text);
  }

  std::optional<PropertyDictionary> unarchivedDictionary(const Data& data) override {
    const auto archive = parseJson(textOf(data));
    if (!archive || !archive->is_object() || archive->value(kVersionKey, Json()) != kVersion) {
      return std::nullopt;
    }
    const auto root = archive->find(kRootKey);
    if (root == archive->end()) return std::nullopt;
    const auto value = propertyFromJson(*root);
    if (!value || value->dictionary() == nullptr) return std::nullopt;
    return *value->dictionary();
  }
};

}  // namespace

ArchivePort& linuxArchivePort() {
  static auto& port = *new LinuxArchive;
  return port;
}

}  // namespace zor

// Named pasteboards: small per-user stores that every process of the user reads and writes by name.
#ifndef ZOR_PLATFORM_PASTEBOARD_PORT_H_
#define ZOR_PLATFORM_PASTEBOARD_PORT_H_

#include <ZORFingerPrint/ZORValue.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "support/status.h"

namespace zor {

// Larger values are not read from a pasteboard: any program of the user may put one there, and the
// library's own take a few hundred bytes.
constexpr std::size_t kMaxPasteboardBytes = std::size_t{64} << 10;

// One pasteboard. Confined to the thread that uses it.
class Pasteboard {
 public:
  virtual ~Pasteboard() = default;

  // The value under that type. A concurrent writer's value is seen whole or not at all.
  virtual Reading<Data> dataForType(const std::string& type) = 0;
  // Replaces the value under that type.
  virtual Status setData(const Data& data, const std::string& type) = 0;
  // Removes the value under that type. Success: there is none now.
  virtual Status clear(const std::string& type) = 0;
};

// Callable from any thread.
class PasteboardPort {
 public:
  virtual ~PasteboardPort() = default;

  // The pasteboard of that name. If it does not exist yet, the result is either empty, and created
  // by its first setData, or null, and then it cannot be written either.
  virtual std::unique_ptr<Pasteboard> pasteboardWithName(const std::string& name) = 0;
};

// Turns dictionaries into bytes and back, in the platform's archive form. Callable from any thread.
class ArchivePort {
 public:
  virtual ~ArchivePort() = default;

  // `dictionary` holds only what the user defaults can keep. nullopt: a text in it is not valid
  // UTF-8.
  virtual std::optional<Data> archivedData(const ZORValue& dictionary) = 0;
  // nullopt: not an archive, a damaged one, or one of anything but a dictionary. Entries of kinds
  // that the user defaults do not keep are left out.
  virtual std::optional<ZORValue> unarchivedDictionary(const Data& data) = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_PASTEBOARD_PORT_H_

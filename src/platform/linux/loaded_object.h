// A shared object as it lies in this process, and its file.
#ifndef ZOR_PLATFORM_LINUX_LOADED_OBJECT_H_
#define ZOR_PLATFORM_LINUX_LOADED_OBJECT_H_

#include <link.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/posix/file_io.h"

namespace zor {

// Valid while the object stays loaded. Confined to the thread that uses it.
class LoadedObject {
 public:
  // The object that is loaded under `soname`; nullopt if there is none. Loads nothing.
  static std::optional<LoadedObject> find(const char* soname);

  // Whether `address` is in one of its segments.
  bool contains(const void* address) const;

  // Whether calls of the function `name`, whose address is `address`, end up in this object. A
  // program that is not position-independent has entries of its own for functions of other objects;
  // if the address is such an entry, the calls still end up here unless an object before this one
  // defines `name`.
  bool receivesCallsOf(const char* name, const void* address) const;

  // Its own definition of `name`, even if another object's takes precedence; null if it has none.
  const void* ownDefinition(const char* name) const;

  // Whether the code at `address` differs from the file. nullopt: unknown, for instance because an
  // update has replaced the file since it was loaded.
  std::optional<bool> differsFromFile(const void* address, std::size_t size) const;

 private:
  struct Segment {
    ElfW(Addr) start = 0;
    ElfW(Phdr) header = {};
  };

  LoadedObject() = default;
  const Segment* segmentOf(const void* address) const;
  bool isFileOfThisObject() const;

  std::vector<Segment> _segments;
  std::vector<Segment> _notes;
  std::string _soname;
  ElfW(Addr) _loadAddress = 0;
  FileDescriptor _file;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_LOADED_OBJECT_H_

#include <IOKit/IOKitLib.h>
#include <dlfcn.h>
#include <mach-o/loader.h>
#include <mach-o/nlist.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "platform/macos/macos_ports.h"

namespace zor {
namespace {

constexpr const char* kOwner = "/System/Library/Frameworks/IOKit.framework/IOKit";
constexpr std::string_view kOwnersFolder = "/IOKit.framework/";
constexpr std::size_t kComparedBytes = 32;
using CodeStart = std::array<std::uint8_t, kComparedBytes>;

// The registry-access functions; a function's position is its bit in both sets.
constexpr std::array<std::string_view, 7> kFunctions = {
    "IOServiceMatching", "IOServiceGetMatchingService",     "IOServiceGetMatchingServices",
    "IOIteratorNext",    "IORegistryEntryCreateCFProperty", "IORegistryEntryGetParentEntry",
    "IOObjectRelease"};

// The loaded image that contains this code: the framework, or a program that it is built into.
const mach_header_64* ownImage() {
  static const char here = 0;
  Dl_info place{};
  return ::dladdr(&here, &place) == 0 ? nullptr
                                      : static_cast<const mach_header_64*>(place.dli_fbase);
}

template <typename Visit>
void forEachLoadCommand(const mach_header_64& image, const Visit& visit) {
  const auto* next = reinterpret_cast<const std::uint8_t*>(&image + 1);
  for (std::uint32_t index = 0; index < image.ncmds; ++index) {
    const auto* command = reinterpret_cast<const load_command*>(next);
    visit(*command);
    next += command->cmdsize;
  }
}

template <typename Visit>
void forEachSection(const mach_header_64& image, const Visit& visit) {
  forEachLoadCommand(image, [&visit](const load_command& command) {
    if (command.cmd != LC_SEGMENT_64) return;
    const auto& segment = reinterpret_cast<const segment_command_64&>(command);
    const auto* first = reinterpret_cast<const section_64*>(&segment + 1);
    std::for_each(first, first + segment.nsects, visit);
  });
}

// The names that an image imports, as its slots refer to them.
class ImportedNames {
 public:
  explicit ImportedNames(const mach_header_64& image) {
    const symtab_command* symbols = nullptr;
    const dysymtab_command* indirect = nullptr;
    const segment_command_64* linkEdit = nullptr;
    forEachLoadCommand(image, [&](const load_command& command) {
      const auto* segment = reinterpret_cast<const segment_command_64*>(&command);
      if (command.cmd == LC_SYMTAB) {
        symbols = reinterpret_cast<const symtab_command*>(&command);
      } else if (command.cmd == LC_DYSYMTAB) {
        indirect = reinterpret_cast<const dysymtab_command*>(&command);
      } else if (command.cmd == LC_SEGMENT_64 && std::strcmp(segment->segname, SEG_TEXT) == 0) {
        _slide = reinterpret_cast<std::uintptr_t>(&image) - segment->vmaddr;
      } else if (command.cmd == LC_SEGMENT_64 && std::strcmp(segment->segname, SEG_LINKEDIT) == 0) {
        linkEdit = segment;
      }
    });
    if (symbols == nullptr || indirect == nullptr || linkEdit == nullptr) return;
    // The tables' places are given in the file; this segment holds that part of it.
    const std::uintptr_t fileStart = _slide + linkEdit->vmaddr - linkEdit->fileoff;
    _symbols = reinterpret_cast<const nlist_64*>(fileStart + symbols->symoff);
    _names = reinterpret_cast<const char*>(fileStart + symbols->stroff);
    _indirect = reinterpret_cast<const std::uint32_t*>(fileStart + indirect->indirectsymoff);
  }

  // The distance between where the image is loaded and where it was linked to be.
  std::uintptr_t slide() const { return _slide; }

  // The C name; empty for a slot that imports nothing.
  std::string_view nameOfSlot(std::uint32_t indirectIndex) const {
    constexpr std::uint32_t kNoSymbol = INDIRECT_SYMBOL_LOCAL | INDIRECT_SYMBOL_ABS;
    if (_indirect == nullptr || (_indirect[indirectIndex] & kNoSymbol) != 0) return {};
    const std::string_view name = _names + _symbols[_indirect[indirectIndex]].n_un.n_strx;
    return name.substr(0, 1) == "_" ? name.substr(1) : std::string_view();
  }

 private:
  std::uintptr_t _slide = 0;
  const nlist_64* _symbols = nullptr;
  const char* _names = nullptr;
  const std::uint32_t* _indirect = nullptr;
};

// Calls `visit` with each imported name and the address that calls of it from here reach.
template <typename Visit>
void forEachImport(const mach_header_64& image, const Visit& visit) {
  const ImportedNames names(image);
  forEachSection(image, [&](const section_64& section) {
    const std::uint32_t type = section.flags & SECTION_TYPE;
    if (type != S_LAZY_SYMBOL_POINTERS && type != S_NON_LAZY_SYMBOL_POINTERS) return;
    const auto* slots = reinterpret_cast<const void* const*>(names.slide() + section.addr);
    const auto count = static_cast<std::uint32_t>(section.size / sizeof(void*));
    for (std::uint32_t index = 0; index < count; ++index) {
      visit(names.nameOfSlot(section.reserved1 + index), slots[index]);
    }
  });
}

// Whether a slot's `address` lies outside the framework that owns the function. A slot that has not
// been used yet leads into the image itself.
bool isForeign(const void* address, const mach_header_64* image) {
  Dl_info place{};
  if (::dladdr(address, &place) == 0 || place.dli_fname == nullptr) return true;
  if (place.dli_fbase == image) return false;
  return std::string_view(place.dli_fname).find(kOwnersFolder) == std::string_view::npos;
}

std::int64_t foreignAddresses() {
  std::int64_t foreign = 0;
  const mach_header_64* image = ownImage();
  if (image == nullptr) return foreign;
  forEachImport(*image, [&](std::string_view name, const void* address) {
    const auto function = std::find(kFunctions.begin(), kFunctions.end(), name);
    if (function == kFunctions.end() || !isForeign(address, image)) return;
    foreign |= std::int64_t{1} << (function - kFunctions.begin());
  });
  return foreign;
}

// The first bytes of the functions in the library that owns them, even if they were replaced here.
std::array<CodeStart, kFunctions.size()> codeStarts() {
  std::array<CodeStart, kFunctions.size()> starts{};
  void* owner = ::dlopen(kOwner, RTLD_LAZY | RTLD_NOLOAD);
  if (owner == nullptr) return starts;
  for (std::size_t bit = 0; bit < kFunctions.size(); ++bit) {
    const void* function = ::dlsym(owner, kFunctions[bit].data());
    if (function != nullptr) std::memcpy(starts[bit].data(), function, kComparedBytes);
  }
  ::dlclose(owner);
  return starts;
}

// The platform's libraries have no files of their own to compare with; they are in one cache that
// is built for each machine. The functions' first bytes at load time are the reference instead.
class MacIntegrity final : public IntegrityPort {
 public:
  void enable() override {
    if (_enabled.load(std::memory_order_acquire)) return;
    _atLoad = codeStarts();
    _enabled.store(true, std::memory_order_release);
  }

  IntegritySignal signal() override {
    IntegritySignal signal;
    if (!_enabled.load(std::memory_order_acquire)) return signal;
    signal.foreignAddress = foreignAddresses();
    const auto now = codeStarts();
    for (std::size_t bit = 0; bit < kFunctions.size(); ++bit) {
      if (now[bit] != _atLoad[bit]) signal.changedCode |= std::int64_t{1} << bit;
    }
    return signal;
  }

 private:
  std::array<CodeStart, kFunctions.size()> _atLoad{};  // Constant once `_enabled` is set.
  std::atomic<bool> _enabled{false};
};

}  // namespace

IntegrityPort& macosIntegrityPort() {
  static constinit MadeOnce<MacIntegrity> port;
  return port.get();
}

}  // namespace zor

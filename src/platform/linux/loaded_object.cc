#include "platform/linux/loaded_object.h"

#include <dlfcn.h>
#include <fcntl.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "support/c_handles.h"

namespace zor {
namespace {

using Library = std::unique_ptr<void, FreeWith<dlclose>>;

Library loadedLibrary(const char* soname) {
  return Library(::dlopen(soname, RTLD_LAZY | RTLD_NOLOAD));
}

struct Search {
  const link_map* wanted;
  std::vector<ElfW(Phdr)> headers;
};

int takeHeaders(dl_phdr_info* info, std::size_t, void* context) noexcept {
  auto& search = *static_cast<Search*>(context);
  const bool same = info->dlpi_addr == search.wanted->l_addr &&
                    std::strcmp(info->dlpi_name, search.wanted->l_name) == 0;
  if (!same) return 0;
  search.headers.assign(info->dlpi_phdr, info->dlpi_phdr + info->dlpi_phnum);
  return 1;
}

ElfW(Addr) numberOf(const void* address) { return reinterpret_cast<ElfW(Addr)>(address); }

const std::uint8_t* bytesAt(ElfW(Addr) address) {
  // The dynamic linker provides addresses as numbers.
  return reinterpret_cast<const std::uint8_t*>(address);  // NOLINT(performance-no-int-to-ptr)
}

// Whether `address` is only the entry through which a program forwards calls of `name`: the program
// has a symbol of that name and address, but does not define it.
bool isEntryForOthers(const char* name, const void* address) {
  Dl_info place = {};
  void* entry = nullptr;
  const bool found = ::dladdr1(address, &place, &entry, RTLD_DL_SYMENT) != 0;
  const auto* symbol = static_cast<const ElfW(Sym)*>(entry);
  return found && symbol != nullptr && symbol->st_shndx == SHN_UNDEF &&
         place.dli_saddr == address && std::strcmp(place.dli_sname, name) == 0;
}

// Where the first object that defines `name`, in the dynamic linker's search order, is loaded; 0 if
// there is none.
ElfW(Addr) firstDefiner(const char* name) {
  const Library program(::dlopen(nullptr, RTLD_LAZY | RTLD_NOLOAD));
  link_map* map = nullptr;
  if (!program || ::dlinfo(program.get(), RTLD_DI_LINKMAP, &map) != 0) return 0;
  for (map = map->l_next; map != nullptr; map = map->l_next) {
    const Library library = loadedLibrary(map->l_name);
    const void* definition = library ? ::dlsym(library.get(), name) : nullptr;
    Dl_info place = {};
    const bool own = definition != nullptr && ::dladdr(definition, &place) != 0 &&
                     numberOf(place.dli_fbase) == map->l_addr;
    if (own) return map->l_addr;
  }
  return 0;
}

bool readExactly(int file, std::uint8_t* bytes, std::size_t size, off_t offset) {
  const ssize_t count = retryOnSignal([&] { return ::pread(file, bytes, size, offset); });
  return count == static_cast<ssize_t>(size);
}

}  // namespace

std::optional<LoadedObject> LoadedObject::find(const char* soname) {
  const Library library = loadedLibrary(soname);
  link_map* map = nullptr;
  if (!library || ::dlinfo(library.get(), RTLD_DI_LINKMAP, &map) != 0) return std::nullopt;
  Search search{map, {}};
  ::dl_iterate_phdr(takeHeaders, &search);
  LoadedObject object;
  for (const auto& header : search.headers) {
    const Segment segment{map->l_addr + header.p_vaddr, header};
    if (header.p_type == PT_LOAD) object._segments.push_back(segment);
    if (header.p_type == PT_NOTE) object._notes.push_back(segment);
  }
  object._soname = soname;
  object._loadAddress = map->l_addr;
  object._file = openFile(map->l_name, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  return object;
}

const LoadedObject::Segment* LoadedObject::segmentOf(const void* address) const {
  const auto found =
      std::find_if(_segments.begin(), _segments.end(), [address](const Segment& segment) {
        return numberOf(address) >= segment.start &&
               numberOf(address) - segment.start < segment.header.p_memsz;
      });
  return found != _segments.end() ? &*found : nullptr;
}

bool LoadedObject::contains(const void* address) const { return segmentOf(address) != nullptr; }

bool LoadedObject::receivesCallsOf(const char* name, const void* address) const {
  if (contains(address)) return true;
  return isEntryForOthers(name, address) && firstDefiner(name) == _loadAddress;
}

const void* LoadedObject::ownDefinition(const char* name) const {
  const Library library = loadedLibrary(_soname.c_str());
  const void* address = library ? ::dlsym(library.get(), name) : nullptr;
  return address != nullptr && contains(address) ? address : nullptr;
}

// Compares the notes, one of which identifies the build, in memory and in the file.
bool LoadedObject::isFileOfThisObject() const {
  return std::all_of(_notes.begin(), _notes.end(), [this](const Segment& note) {
    std::vector<std::uint8_t> inFile(note.header.p_filesz);
    return readExactly(_file.get(), inFile.data(), inFile.size(),
                       static_cast<off_t>(note.header.p_offset)) &&
           std::memcmp(inFile.data(), bytesAt(note.start), inFile.size()) == 0;
  });
}

std::optional<bool> LoadedObject::differsFromFile(const void* address, std::size_t size) const {
  const Segment* segment = segmentOf(address);
  if (segment == nullptr || (segment->header.p_flags & PF_R) == 0 || !_file.isOpen()) {
    return std::nullopt;
  }
  const std::size_t offset = numberOf(address) - segment->start;
  if (offset >= segment->header.p_filesz || !isFileOfThisObject()) return std::nullopt;
  std::vector<std::uint8_t> inFile(std::min<std::size_t>(size, segment->header.p_filesz - offset));
  if (!readExactly(_file.get(), inFile.data(), inFile.size(),
                   static_cast<off_t>(segment->header.p_offset + offset))) {
    return std::nullopt;
  }
  return std::memcmp(inFile.data(), address, inFile.size()) != 0;
}

}  // namespace zor

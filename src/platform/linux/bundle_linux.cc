#include "platform/linux/bundle_linux.h"

#include <link.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/linux/linux_ports.h"
#include "platform/posix/file_io.h"
#include "platform/probe_trace.h"
#include "support/text.h"

namespace zor {
namespace {

constexpr std::size_t kMaxInfoBytes = std::size_t{64} << 10;

// The bytes of a segment as they lie in memory; empty when no loaded segment holds them.
std::string_view mappedBytes(const dl_phdr_info& program, const ElfW(Phdr) & segment) {
  for (std::size_t index = 0; index < program.dlpi_phnum; ++index) {
    const ElfW(Phdr)& loaded = program.dlpi_phdr[index];
    if (loaded.p_type != PT_LOAD || (loaded.p_flags & PF_R) == 0) continue;
    const auto offset = segment.p_vaddr - loaded.p_vaddr;  // Wraps around if it lies below.
    if (offset > loaded.p_filesz || segment.p_filesz > loaded.p_filesz - offset) continue;
    const auto address = program.dlpi_addr + segment.p_vaddr;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the loader gives addresses as numbers.
    return {reinterpret_cast<const char*>(address), segment.p_filesz};
  }
  return {};
}

// Called with the main program first, which is the only one examined.
int lookAtMainProgram(dl_phdr_info* program, std::size_t /*size*/, void* result) noexcept {
  auto& bundle = *static_cast<std::optional<BundleInfo>*>(result);
  for (std::size_t index = 0; index < program->dlpi_phnum && !bundle; ++index) {
    const ElfW(Phdr)& segment = program->dlpi_phdr[index];
    if (segment.p_type != PT_NOTE) continue;
    bundle = bundleInfoFromNotes(mappedBytes(*program, segment), segment.p_align);
  }
  return 1;
}

std::optional<BundleInfo> embeddedBundle() {
  std::optional<BundleInfo> bundle;
  ::dl_iterate_phdr(lookAtMainProgram, &bundle);
  return bundle;
}

template <typename Parse>
std::optional<BundleInfo> bundleFromFile(const std::string& path, Parse parse) {
  const auto content = readWholeFile(path, kMaxInfoBytes);
  if (!content) return std::nullopt;
  return parse(textOf(*content));
}

class LinuxBundle final : public BundlePort {
 public:
  std::optional<std::string> bundleIdentifier() override {
    noteProbeSource("main bundle");
    if (const auto* name = applicationName()) return name->identifier;
    return _bundle.identifier;
  }

  std::optional<ZORValue> infoValue(const std::string& key) override {
    noteProbeSource("main bundle");
    if (const auto* name = applicationName()) return infoOfNamedApplication(*name, key);
    const ZORValue* value = _bundle.info.find(key);
    return value != nullptr ? std::optional(*value) : std::nullopt;
  }

 private:
  const BundleInfo _bundle = readMainBundle();
};

}  // namespace

BundleInfo readMainBundle() {
  if (auto bundle = embeddedBundle()) return std::move(*bundle);
  return readBundleBeside(executablePath(), "/.flatpak-info");
}

BundleInfo readBundleBeside(const std::string& executable, const std::string& flatpakFile) {
  std::optional<BundleInfo> bundle;
  if (!executable.empty()) bundle = bundleFromFile(executable + ".info.json", bundleInfoFromJson);
  if (!bundle) {
    bundle = bundleInfoFromSnap(::secure_getenv("SNAP_NAME"), ::secure_getenv("SNAP_VERSION"),
                                ::secure_getenv("SNAP"), executable);
  }
  if (!bundle) bundle = bundleFromFile(flatpakFile, bundleInfoFromFlatpak);
  return bundle ? std::move(*bundle) : BundleInfo{};
}

std::string executablePath() {
  char target[4096];
  const ssize_t size = ::readlink("/proc/self/exe", target, sizeof target);
  if (size <= 0 || static_cast<std::size_t>(size) == sizeof target) return {};
  return {target, static_cast<std::size_t>(size)};
}

BundlePort& linuxBundlePort() {
  static constinit MadeOnce<LinuxBundle> port;
  return port.get();
}

}  // namespace zor

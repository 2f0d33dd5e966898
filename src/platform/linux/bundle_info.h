// What a Linux application says about itself, in each of the forms in which it can do so. Pure
// functions of untrusted bytes; callable from any thread.
#ifndef ZOR_PLATFORM_LINUX_BUNDLE_INFO_H_
#define ZOR_PLATFORM_LINUX_BUNDLE_INFO_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zor {

struct BundleInfo {
  std::optional<std::string> identifier;
  ZORValue info = ZORValue::dictionary();  // Always a dictionary.
};

// From a JSON object; its "CFBundleIdentifier" is the identifier if that is a non-empty text.
// nullopt: not a JSON object.
std::optional<BundleInfo> bundleInfoFromJson(std::string_view text);

// From the first ELF note that zor_embed_bundle_info() made, among the notes of one segment aligned
// to `alignment` bytes; its content is JSON as above. nullopt: no such note, or a damaged one.
std::optional<BundleInfo> bundleInfoFromNotes(std::string_view notes, std::size_t alignment);

// From a Snap's environment: its name, its version and the folder it is mounted at. nullopt: a
// value is missing, or `executable` is not in that folder: the variables were inherited from a Snap
// that started this program.
std::optional<BundleInfo> bundleInfoFromSnap(const char* name, const char* version,
                                             const char* folder, std::string_view executable);

// From the description file of a Flatpak, which has the application's name but no version.
std::optional<BundleInfo> bundleInfoFromFlatpak(std::string_view keyFile);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_BUNDLE_INFO_H_

// What a Linux application can say about itself, from the forms in which it can say it. Pure
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

// A JSON object; "CFBundleIdentifier" in it is the identifier when it is a text that is not empty.
// nullopt: no JSON object.
std::optional<BundleInfo> bundleInfoFromJson(std::string_view text);

// The first ELF note that zor_embed_bundle_info() made, among the notes of one segment aligned to
// `alignment` bytes; its content is JSON as above. nullopt: none, or a damaged one.
std::optional<BundleInfo> bundleInfoFromNotes(std::string_view notes, std::size_t alignment);

// What a Snap is told in its environment: its name and version and the folder it is mounted at.
// nullopt: a value is missing, or `executable` is not in that folder: the variables were
// inherited from a Snap that started this program.
std::optional<BundleInfo> bundleInfoFromSnap(const char* name, const char* version,
                                             const char* folder, std::string_view executable);

// The application's name out of the description file of a Flatpak, which tells no version.
std::optional<BundleInfo> bundleInfoFromFlatpak(std::string_view keyFile);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_BUNDLE_INFO_H_

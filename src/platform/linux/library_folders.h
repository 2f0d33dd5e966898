// Where the library keeps its files on Linux, and what it may name them.
#ifndef ZOR_PLATFORM_LINUX_LIBRARY_FOLDERS_H_
#define ZOR_PLATFORM_LINUX_LIBRARY_FOLDERS_H_

#include <optional>
#include <string>
#include <string_view>

namespace zor {

// `name` as the name of one file: bytes other than letters, digits, "-", "_" and inner "." become
// %XX, the empty name "%". A name that is too long for a file system is cut and made unique by a
// hash.
std::string safeFileName(std::string_view name);

// The user's home folder: $HOME, else the user database. nullopt: neither gives an absolute path.
std::optional<std::string> homeFolder();

// "<base>/zorfingerprint", followed by the profile's name if that is not the default. The base is
// the value of the environment variable `variable` if that is an absolute path, else `underHome` in
// the home folder. nullopt: there is neither.
std::optional<std::string> folderOfLibrary(const char* variable, const char* underHome);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_LIBRARY_FOLDERS_H_

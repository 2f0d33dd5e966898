// Who the host application is, on Linux.
#ifndef ZOR_PLATFORM_LINUX_BUNDLE_LINUX_H_
#define ZOR_PLATFORM_LINUX_BUNDLE_LINUX_H_

#include <string>

#include "platform/linux/bundle_info.h"

namespace zor {

// The main bundle of this process, from the first source that has one: the note embedded in the
// main program, `<executable>.info.json`, the Snap's environment, the Flatpak's description file;
// else an empty one. Reads the program's headers and, without a note, tries to open two files.
BundleInfo readMainBundle();

// As readMainBundle() for a program at `executable` (empty: not known) without a note.
BundleInfo readBundleBeside(const std::string& executable, const std::string& flatpakFile);

// The path of the running program; empty if the system does not provide it.
std::string executablePath();

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_BUNDLE_LINUX_H_

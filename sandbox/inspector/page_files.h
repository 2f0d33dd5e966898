// The page's files, which are compiled into the program.
#ifndef ZOR_SANDBOX_INSPECTOR_PAGE_FILES_H_
#define ZOR_SANDBOX_INSPECTOR_PAGE_FILES_H_

#include <string_view>

namespace zor::sandbox {

// The content of the file of that name in page/; empty: there is none.
std::string_view pageFile(std::string_view name);

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_INSPECTOR_PAGE_FILES_H_

// Lines and words of text files.
#ifndef ZOR_PLATFORM_LINUX_TEXT_LINES_H_
#define ZOR_PLATFORM_LINUX_TEXT_LINES_H_

#include <string_view>
#include <vector>

namespace zor {

// The pieces between any of `separators`, empty ones left out.
inline std::vector<std::string_view> pieces(std::string_view text, std::string_view separators) {
  std::vector<std::string_view> found;
  while (true) {
    const auto start = text.find_first_not_of(separators);
    if (start == std::string_view::npos) return found;
    text.remove_prefix(start);
    found.push_back(text.substr(0, text.find_first_of(separators)));
    text.remove_prefix(found.back().size());
  }
}

inline std::vector<std::string_view> lines(std::string_view text) { return pieces(text, "\n"); }
inline std::vector<std::string_view> words(std::string_view text) { return pieces(text, " \t"); }

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_TEXT_LINES_H_

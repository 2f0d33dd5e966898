// A temporary folder for one test, with helpers to read and damage its files.
#ifndef ZOR_TESTS_FAKES_TEMPORARY_FOLDER_H_
#define ZOR_TESTS_FAKES_TEMPORARY_FOLDER_H_

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "tests/fakes/fake_ports.h"

namespace zor::testing {

struct TemporaryFolder {
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::string file(const std::string& name) const { return path + "/" + name; }

  std::set<std::string> names() const {
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      found.insert(entry.path().filename());
    }
    return found;
  }

  const std::string path = makeTemporaryFolder();
};

inline void writeText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

inline std::string readText(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace zor::testing

#endif  // ZOR_TESTS_FAKES_TEMPORARY_FOLDER_H_

// A host that makes a call and then looks for texts in its own memory, as one would in a core dump.
// usage: zor_scanned_host INVERTED_HEX...   (each byte of a text, inverted, as two digits)
// Ends with the number of texts that are there.
#include <ZORFingerPrint/ZORFingerPrint.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <string>
#include <vector>

namespace {

using Inverted = std::vector<unsigned char>;

Inverted fromHex(const std::string& hex) {
  Inverted bytes;
  for (std::size_t index = 0; index + 1 < hex.size(); index += 2) {
    bytes.push_back(static_cast<unsigned char>(std::stoi(hex.substr(index, 2), nullptr, 16)));
  }
  return bytes;
}

bool contains(const std::vector<char>& memory, const Inverted& text) {
  const auto matches = [](char byte, unsigned char inverted) {
    return (static_cast<unsigned char>(byte) ^ 0xFFU) == inverted;
  };
  return std::search(memory.begin(), memory.end(), text.begin(), text.end(), matches) !=
         memory.end();
}

// What stands in memory that can be read, region by region.
bool stands(const Inverted& text) {
  std::ifstream maps("/proc/self/maps");
  std::ifstream memory("/proc/self/mem", std::ios::binary);
  for (std::string line; std::getline(maps, line);) {
    unsigned long first = 0;
    unsigned long end = 0;
    char readable = '-';
    if (std::sscanf(line.c_str(), "%lx-%lx %c", &first, &end, &readable) != 3 || readable != 'r') {
      continue;
    }
    std::vector<char> region(end - first);
    memory.clear();
    memory.seekg(static_cast<std::streamoff>(first));
    memory.read(region.data(), static_cast<std::streamsize>(region.size()));
    if (contains(region, text)) return true;
  }
  return false;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  std::promise<void> answered;
  zor::ZORFingerPrint::sharedInstance()->getFingerprint(
      [&answered](const auto&...) { answered.set_value(); });
  answered.get_future().wait();
  int found = 0;
  for (int index = 1; index < argumentCount; ++index) found += stands(fromHex(arguments[index]));
  return found;
}

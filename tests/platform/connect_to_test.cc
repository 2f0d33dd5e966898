#include "platform/connect_to.h"

#include <gtest/gtest.h>

namespace zor {
namespace {

TEST(ConnectTo, TheFirstEntryThatMatchesDecides) {
  const std::vector<std::string> entries = {"no entry", "Name.example:443:127.0.0.1:1",
                                            "[::1]:443:[::2]:", "name.example:::2", ":8443::3"};
  const struct {
    Endpoint asked;
    Endpoint expected;
  } rows[] = {
      {{"name.EXAMPLE", "443"}, {"127.0.0.1", "1"}},
      {{"name.example", "8443"}, {"name.example", "2"}},
      {{"::1", "443"}, {"::2", "443"}},
      {{"::1", "8443"}, {"::1", "3"}},
      {{"other.example", "80"}, {"other.example", "80"}},
  };
  for (const auto& row : rows) {
    const Endpoint found = connectEndpoint(entries, row.asked);
    EXPECT_EQ(found.host + " " + found.port, row.expected.host + " " + row.expected.port)
        << row.asked.host << " " << row.asked.port;
  }
}

}  // namespace
}  // namespace zor

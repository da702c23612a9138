#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

namespace {

// The host has the wire code too: a copy that is visible here would be taken for the host's.
TEST(exports, are_the_librarys_own_interfaces_only) {
  const std::string command =
      KAVU_NM " --dynamic --defined-only --demangle '" KAVU_PLATFORM_PATH "'";
  const std::unique_ptr<FILE, int (*)(FILE*)> listing(popen(command.c_str(), "r"), pclose);
  ASSERT_TRUE(listing);
  char line[4096];
  int count = 0;
  while (std::fgets(line, sizeof line, listing.get()) != nullptr) {
    ++count;
    EXPECT_NE(std::string(line).find("brunvik::monitoring_modules::libkavuhelper::"),
              std::string::npos)
        << line;
    EXPECT_EQ(std::string(line).find("kavu::wire"), std::string::npos) << line;
  }
  EXPECT_GT(count, 50);
}

}  // namespace

// The programs that the demonstration starts end with it. They are counted as children of this
// process, which the kernel hands every orphan to.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "probe/probe_run.hpp"

namespace kavu_test {
namespace {

/// Their process ids, zombies included.
std::vector<std::string> children() {
  std::vector<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    std::string text;
    std::getline(std::ifstream(entry.path() / "stat"), text);
    // "pid (name) state parent ..."; a name may hold anything.
    std::istringstream rest(text.substr(std::min(text.size(), text.rfind(')') + 1)));
    char state = 0;
    pid_t parent = 0;
    if (rest >> state >> parent && parent == ::getpid()) {
      found.push_back(text);
    }
  }
  return found;
}

TEST(demonstration, leaves_no_process_behind) {
  ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  {
    probe_run whole({"demo", "--scans", "1", "--interval", "1"});
    EXPECT_FALSE(children().empty());
    EXPECT_EQ(whole.wait(), 0) << whole.errors();
    EXPECT_THAT(children(), testing::IsEmpty());
    probe_run broken_off({"demo", "--scans", "1000"});
    ASSERT_TRUE(broken_off.wait_for_output("Scan 1"));
    broken_off.process().send_signal(SIGINT);
    EXPECT_EQ(broken_off.wait(), 128 + SIGINT);
    EXPECT_THAT(children(), testing::IsEmpty());
  }
}

}  // namespace
}  // namespace kavu_test

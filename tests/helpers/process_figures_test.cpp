#include "helpers/process_figures.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>

#include "helpers/child_process.hpp"
#include "helpers/task_thread.hpp"
#include "helpers/temporary_directory.hpp"

namespace kavu_test {
namespace {

TEST(process_figures, count_what_is_there_and_what_is_gone) {
  const auto before = process_figures::now();
  {
    const task_thread thread;
    const std::ifstream file("/proc/self/status");
    const auto during = process_figures::now();
    EXPECT_EQ(during.threads, before.threads + 1);
    EXPECT_EQ(during.descriptors, before.descriptors + 1);
    EXPECT_GT(during.resident_bytes, 0U);
  }
  EXPECT_EQ(process_figures::now().descriptors, before.descriptors);
  // A thread that has been joined leaves the list a moment later.
  EXPECT_TRUE(eventually([&] { return process_figures::now().threads == before.threads; }));
}

TEST(child_process, tells_how_it_ended_and_inherits_nothing) {
  const temporary_directory directory;
  const auto output = directory.path() / "output";
  const std::ifstream open_here("/proc/self/status");
  child_process listing({"/bin/sh", "-c", "ls /proc/$$/fd; exit 3"}, output);
  EXPECT_EQ(listing.wait(), 3);
  std::string text{std::istreambuf_iterator<char>(std::ifstream(output).rdbuf()), {}};
  EXPECT_EQ(text, "0\n1\n2\n");

  child_process sleeping({"/bin/sleep", "1000"}, output);
  EXPECT_TRUE(sleeping.running());
  sleeping.send_signal(SIGTERM);
  EXPECT_EQ(sleeping.wait(), 128 + SIGTERM);
}

TEST(child_process, dies_with_the_object_also_when_it_is_stopped) {
  const temporary_directory directory;
  pid_t id = 0;
  {
    child_process sleeping({"/bin/sleep", "1000"}, directory.path() / "output");
    sleeping.send_signal(SIGSTOP);
    id = sleeping.id();
  }
  EXPECT_EQ(::kill(id, 0), -1);
}

}  // namespace
}  // namespace kavu_test

#include "helpers/process_figures.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <future>

#include "helpers/eventually.hpp"

namespace kavu_test {
namespace {

TEST(process_figures, count_what_is_there_and_what_is_gone) {
  const auto before = process_figures::now();
  std::promise<void> enough;
  auto thread = std::async(std::launch::async, [&] { enough.get_future().wait(); });
  std::ifstream file("/proc/self/status");
  const auto during = process_figures::now();
  EXPECT_EQ(during.threads, before.threads + 1);
  EXPECT_EQ(during.descriptors, before.descriptors + 1);
  EXPECT_GT(during.resident_bytes, 0U);
  enough.set_value();
  thread.get();
  file.close();
  EXPECT_EQ(process_figures::now().descriptors, before.descriptors);
  // A thread that has been joined leaves the list a moment later.
  EXPECT_TRUE(eventually([&] { return process_figures::now().threads == before.threads; }));
}

}  // namespace
}  // namespace kavu_test

// Every seed of a fuzzer goes through its function, also where there is no fuzzer.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/fuzz_input.hpp"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> seeds() {
  std::vector<fs::path> files;
  std::copy(fs::directory_iterator(KAVU_SEEDS), {}, std::back_inserter(files));
  std::sort(files.begin(), files.end());
  return files;
}

class seeds_test : public testing::TestWithParam<fs::path> {};

TEST_P(seeds_test, is_no_finding) {
  std::ifstream file(GetParam(), std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  ASSERT_TRUE(file.good() || file.eof());
  // A copy on the heap of exactly this size: what reads beyond it is caught.
  EXPECT_EQ(
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()), 0);
}

INSTANTIATE_TEST_SUITE_P(fuzz, seeds_test, testing::ValuesIn(seeds()),
                         [](const auto& seed) { return seed.param.filename().string(); });

}  // namespace

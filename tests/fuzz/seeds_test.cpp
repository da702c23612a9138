// Every seed of a fuzzer goes through its function, also where there is no fuzzer.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include "fuzz/fuzz_input.hpp"

TEST(fuzz, seeds_are_no_findings) {
  int seeds = 0;
  for (const auto& seed : std::filesystem::directory_iterator(KAVU_SEEDS)) {
    std::cout << seed.path().filename().string() << std::endl;  // a finding ends the process
    std::ifstream file(seed.path(), std::ios::binary);
    std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
    bytes.shrink_to_fit();  // what reads beyond it is caught
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++seeds;
  }
  EXPECT_GT(seeds, 0);
}

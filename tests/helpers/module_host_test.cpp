#include "helpers/module_host.hpp"

#include <gtest/gtest.h>

namespace kavu_test {
namespace {

TEST(module_host, leaves_no_module_behind) {
  {
    module_host host;
    EXPECT_EQ(host.functions().get_api_level(), KAVU_MODULE_API_LEVEL);
    EXPECT_TRUE(is_loaded(module_path()));
    EXPECT_LT(host.definition(false).size(), host.definition(true).size());
  }
  EXPECT_FALSE(is_loaded(module_path()));
}

}  // namespace
}  // namespace kavu_test

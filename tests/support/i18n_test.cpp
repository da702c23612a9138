#include <gtest/gtest.h>

#include <string>

#include "libi18n/i18n_msg.hpp"
#include "libstringutils/exceptions.hpp"

namespace brunvik::monitoring_modules::libi18n {
namespace {

TEST(make_msg_test, puts_the_arguments_into_key_and_text) {
  const i18n_msg constant{"libkavuhelper.error.instance_not_available_key", "%0:s lacks %1:s."};
  const struct {
    std::string first, second, key, text;
  } cases[] = {
      {"X", "Y", "[X,Y]", "X lacks Y."},
      {"a,b", "", "[a\\,b,]", "a,b lacks ."},
      {"#:[\\]", "%0:s", "[\\#\\:\\[\\\\\\],%0\\:s]", "#:[\\] lacks %0:s."},
  };
  for (const auto& [first, second, key, text] : cases) {
    EXPECT_EQ(make_msg(constant, first, second), i18n_msg("#:" + constant.key() + key, text));
  }
  EXPECT_EQ(make_msg({"key", "50%%"}), i18n_msg("#:key[]", "50%"));
  EXPECT_EQ(i18n_msg::verbatim("a,b"), i18n_msg("a,b", "a,b"));
  EXPECT_THROW((void)make_msg({"key", "%1:s"}, "only one"),
               libstringutils::exceptions::placeholder_index_not_in_arguments);
}

}  // namespace
}  // namespace brunvik::monitoring_modules::libi18n

#include <gtest/gtest.h>

#include <string>

#include "libi18n/i18n_exception.hpp"
#include "libi18n/messages.hpp"
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
}

TEST(make_msg_test, does_not_hide_a_text_that_does_not_fit_its_arguments) {
  EXPECT_THROW((void)make_msg({"key", "%1:s"}, "only one"),
               libstringutils::exceptions::placeholder_index_not_in_arguments);
  EXPECT_THROW((void)make_msg({"key", "100%"}), libstringutils::exceptions::format_string_error);
}

class family : public _i18n_exception<i18n_exception> {
 public:
  using _i18n_exception::_i18n_exception;
};
class leaf : public _i18n_exception<family> {
 public:
  explicit leaf(const std::string& detail)
      : _i18n_exception(make_msg(messages::generic(), detail)) {}
};

TEST(i18n_exception_test, is_caught_as_its_family_with_its_whole_message) {
  try {
    throw leaf("a:b");
  } catch (const family& failure) {
    EXPECT_STREQ(failure.what(), "An error occurred. a:b");
    EXPECT_EQ(failure.message(),
              i18n_msg("#:libi18n.error.generic[a\\:b]", "An error occurred. a:b"));
  }
}

}  // namespace
}  // namespace brunvik::monitoring_modules::libi18n

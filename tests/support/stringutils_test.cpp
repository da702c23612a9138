#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <list>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "libstringutils/exceptions.hpp"
#include "libstringutils/expand_variables.hpp"
#include "libstringutils/format.hpp"
#include "libstringutils/random_number_generator.hpp"
#include "libstringutils/random_string_generator.hpp"
#include "libstringutils/synchronized_random_string_generator.hpp"

namespace brunvik::monitoring_modules::libstringutils {
namespace {

using arguments = std::vector<std::string>;

std::string outcome(const std::string& text, const arguments& given) {
  try {
    return "text: " + format(text, given);
  } catch (const exceptions::exception& failure) {
    return std::string("failure: ") + failure.what();
  } catch (const std::out_of_range&) {
    return "out of range";
  }
}

TEST(format_test, fills_placeholders_and_names_what_is_wrong) {
  const struct {
    std::string text;
    arguments given;
    std::string expected;
  } cases[] = {
      {"%0:s and %0:s", {"x"}, "text: x and x"},
      {"%1:s%0:s", {"a", "b", "unused"}, "text: ba"},
      {"100%%", {}, "text: 100%"},
      {"%%%0:s", {"x"}, "text: %x"},
      {"%0:s", {"%1:s %"}, "text: %1:s %"},
      {std::string("a\0%0:s", 6), {std::string("\0b", 2)}, std::string("text: a\0\0b", 10)},
      {"100%", {}, "failure: Malformed placeholder in format string."},
      {"%0:", {"x"}, "failure: Malformed placeholder in format string."},
      {"%0", {"x"}, "failure: Malformed placeholder in format string."},
      {"%-1:s", {"x"}, "failure: Malformed placeholder in format string."},
      {"%1:s", {"x"}, "failure: Index 1 is too high for argument list."},
      {"%01:s", {"x"}, "failure: Index 01 is too high for argument list."},
      {"%9223372036854775808:s", {"x"}, "out of range"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(outcome(each.text, each.given), each.expected) << each.text;
  }
  EXPECT_EQ(format("%0:s:%1:s", "host", std::string("1883")), "host:1883");
}

TEST(format_test, bears_long_texts) {
  const std::string long_text(5'000'000, '1');
  EXPECT_EQ(format(long_text + "%0:s" + long_text, std::string("x")), long_text + "x" + long_text);
  EXPECT_THROW((void)format("%" + long_text), exceptions::format_string_error);
}

TEST(expand_variables_test, replaces_known_names_only) {
  const std::map<std::string, std::string> variables{
      {"sensorid", "-17"}, {"sensor", "S"}, {"loop", "%sensorid"}, {"", "empty"}};
  const struct {
    std::string text, expected;
  } cases[] = {
      {"plant/%sensorid", "plant/-17"},
      {"%sensorid%sensorid", "-17-17"},
      {"%sensor/%sensori", "S/Si"},
      {"%%sensorid", "%-17"},
      {"%loop", "%sensorid"},
      {"100% %other", "100% %other"},
      {"%", "%"},
      {"", ""},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(expand_variables(text, variables), expected) << text;
  }
}

TEST(random_number_generator_test, draws_every_number_of_its_range_and_no_other) {
  random_number_generator<std::uint64_t> numbers(std::numeric_limits<std::uint64_t>::max());
  bool beyond_the_engine = false;
  for (int draw = 0; draw < 100; ++draw) {
    beyond_the_engine |= numbers.next() > std::minstd_rand0::max();
  }
  EXPECT_TRUE(beyond_the_engine);

  numbers.set_max(4);
  std::set<std::uint64_t> seen;
  for (int draw = 0; draw < 1000; ++draw) {
    seen.insert(numbers.next());
  }
  EXPECT_EQ(seen, (std::set<std::uint64_t>{0, 1, 2, 3, 4}));
}

class counting_numbers : public random_number_generator_interface<std::uint64_t> {
 public:
  void set_max(std::uint64_t upper_bound) override { upper_bound_ = upper_bound; }
  std::uint64_t next() override { return draws_++ % (upper_bound_ + 1); }

 private:
  std::uint64_t upper_bound_ = 0;
  std::uint64_t draws_ = 0;
};

TEST(random_string_generator_test, draws_one_character_of_the_alphabet_after_the_other) {
  random_string_generator generator(std::make_unique<counting_numbers>(), default_alphabet());
  EXPECT_EQ(generator.generate(0), "");
  EXPECT_EQ(generator.generate(62),
            "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ");
  EXPECT_EQ(generator.generate(3), "012");

  EXPECT_THROW(generator.set_alphabet(""), exceptions::empty_alphabet);
  generator.set_alphabet("xy");
  EXPECT_EQ(generator.generate(5), "yxyxy");
  EXPECT_THROW(random_string_generator(std::make_unique<counting_numbers>(), ""),
               exceptions::empty_alphabet);
}

TEST(random_string_generator_test, a_synchronized_one_serves_one_thread_at_a_time) {
  struct sensitive : random_string_generator_interface {
    void set_alphabet(const std::string&) override {}
    std::string generate(std::uint64_t) override {
      EXPECT_EQ(inside++, 0);
      std::this_thread::yield();
      --inside;
      return {};
    }
    std::atomic<int> inside = 0;
  };
  synchronized_random_string_generator generator(std::make_unique<sensitive>());
  std::list<std::jthread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&generator] {
      for (int round = 0; round < 500; ++round) {
        (void)generator.generate(16);
      }
    });
  }
}

}  // namespace
}  // namespace brunvik::monitoring_modules::libstringutils

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <regex>
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

// What the formatter is defined by; only good for short texts.
std::string format_by_regex(const std::string& text, const arguments& given) {
  static const std::regex placeholder("%([0-9]+):s|%%|%");
  std::string result;
  auto rest = text.cbegin();
  for (std::sregex_iterator match(text.begin(), text.end(), placeholder), end; match != end;
       ++match) {
    result.append(rest, (*match)[0].first);
    rest = (*match)[0].second;
    if ((*match)[1].matched) {
      const auto index = std::stoll((*match)[1].str());
      if (static_cast<std::uint64_t>(index) >= given.size()) {
        throw exceptions::placeholder_index_not_in_arguments((*match)[1].str());
      }
      result += given[static_cast<std::size_t>(index)];
    } else if ((*match)[0] == "%%") {
      result += '%';
    } else {
      throw exceptions::format_string_error();
    }
  }
  return result.append(rest, text.cend());
}

template <class Format>
std::string outcome(Format&& format_text) {
  try {
    return "text: " + format_text();
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
      {"%%0:s", {"x"}, "text: %0:s"},
      {"%%%0:s", {"x"}, "text: %x"},
      {"%0:s", {"%1:s %"}, "text: %1:s %"},
      {"%00:s", {"x"}, "text: x"},
      {std::string("a\0%0:s", 6), {std::string("\0b", 2)}, std::string("text: a\0\0b", 10)},
      {"", {}, "text: "},
      {"100%", {}, "failure: Malformed placeholder in format string."},
      {"%s", {"x"}, "failure: Malformed placeholder in format string."},
      {"%0:", {"x"}, "failure: Malformed placeholder in format string."},
      {"%0", {"x"}, "failure: Malformed placeholder in format string."},
      {"%-1:s", {"x"}, "failure: Malformed placeholder in format string."},
      {"%1:s", {"x"}, "failure: Index 1 is too high for argument list."},
      {"%01:s", {"x"}, "failure: Index 01 is too high for argument list."},
      {"%9223372036854775807:s",
       {"x"},
       "failure: Index 9223372036854775807 is too high for argument list."},
      {"%9223372036854775808:s", {"x"}, "out of range"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(outcome([&] { return format(each.text, each.given); }), each.expected) << each.text;
  }
  EXPECT_EQ(format("%0:s:%1:s", "host", std::string("1883")), "host:1883");
}

TEST(format_test, agrees_with_the_regular_expression_on_random_texts) {
  std::mt19937 random(20240301);
  const std::string characters = "%%%%0019:::sss x";
  const arguments given{"A", "%B", "%%"};
  for (int round = 0; round < 50'000; ++round) {
    std::string text(random() % 16, ' ');
    for (auto& character : text) {
      character = characters[random() % characters.size()];
    }
    ASSERT_EQ(outcome([&] { return format(text, given); }),
              outcome([&] { return format_by_regex(text, given); }))
        << text;
  }
}

TEST(format_test, bears_a_text_that_would_overflow_the_stack_of_a_regular_expression) {
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

TEST(random_string_generator_test, many_threads_may_draw_from_a_synchronized_one) {
  synchronized_random_string_generator generator(std::make_unique<random_string_generator>(
      std::make_unique<random_number_generator<std::uint64_t>>(1), default_alphabet()));
  std::vector<std::vector<std::string>> drawn(4);
  std::vector<std::thread> threads;
  threads.reserve(drawn.size());
  for (auto& own : drawn) {
    threads.emplace_back([&generator, &own] {
      for (int round = 0; round < 500; ++round) {
        own.push_back(generator.generate(16));
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  std::set<std::string> different;
  for (const auto& own : drawn) {
    for (const auto& text : own) {
      ASSERT_EQ(text.size(), 16U);
      ASSERT_EQ(text.find_first_not_of(default_alphabet()), std::string::npos) << text;
      different.insert(text);
    }
  }
  EXPECT_EQ(different.size(), 2000U);
}

}  // namespace
}  // namespace brunvik::monitoring_modules::libstringutils

#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <locale>
#include <string>

#include "libjsonparser/jsonpath_parser.hpp"

namespace brunvik::monitoring_modules::libjsonparser {
namespace {

struct decimal_comma : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

// A process in a country with a decimal comma. The locale is made when the machine has none.
class foreign_locale_test : public ::testing::Test {
 protected:
  void SetUp() override {
    before_ = std::locale::global(std::locale(std::locale::classic(), new decimal_comma));
    if (!set_c_locale()) {
      const auto name = directory_ / "de_DE.UTF-8";
      std::filesystem::create_directories(directory_);
      const auto command = "localedef -i de_DE -f UTF-8 '" + name.string() + "' 2>&1";
      if (std::system(command.c_str()) == 0) {
        setenv("LOCPATH", directory_.c_str(), 1);
        set_c_locale();
      }
    }
    if (*std::localeconv()->decimal_point != ',') {
      std::cout << "no C locale with a decimal comma here: only the C++ one is tried\n";
    }
  }
  void TearDown() override {
    std::setlocale(LC_ALL, "C");
    std::locale::global(before_);
    unsetenv("LOCPATH");
    std::filesystem::remove_all(directory_);
  }

 private:
  static bool set_c_locale() {
    for (const auto* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "pt_BR.UTF-8"}) {
      if (std::setlocale(LC_ALL, name) != nullptr) {
        return true;
      }
    }
    return false;
  }

  std::locale before_;
  std::filesystem::path directory_ =
      std::filesystem::temp_directory_path() / ("kavu_locale_" + std::to_string(getpid()));
};

TEST_F(foreign_locale_test, numbers_are_read_and_written_as_ever) {
  const jsonpath_parser parser(
      R"({"number": 1234.5, "text": "2.75 bar", "comma": "2,75", "large": 1234567,
          "hard": [5e-324, 0.1, 123456789.12345679, 1e23, 9007199254740993.0, 2.5e-7]})");
  EXPECT_EQ(parser.query_float("$.number"), 1234.5);
  EXPECT_EQ(parser.query_float("$.text"), 2.75);
  EXPECT_EQ(parser.query_float("$.comma"), 2.0);
  EXPECT_EQ(parser.query_integer("$.large"), 1234567);
  EXPECT_EQ(parser.query_string("$.number"), "1234.5");
  EXPECT_EQ(parser.query_string("$.large"), "1234567");
  EXPECT_EQ(parser.query_string("$.hard"),
            "[5e-324,0.1,123456789.12345679,1e+23,9007199254740992.0,2.5e-07]");
  EXPECT_EQ(parser.query_float("to_number('1.5')"), 1.5);
  EXPECT_EQ(parser.query_list("$[?(@ > 1234.25 && @ < 1234.75)]"),
            (jsonpath_parser::list{"1234.5"}));
}

}  // namespace
}  // namespace brunvik::monitoring_modules::libjsonparser

#include "probe/translator.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "probe/message_reference.hpp"
#include "probe/test_document.hpp"

namespace kavu_probe {
namespace {

using ::testing::ElementsAre;

TEST(message_reference, takes_arguments_out_of_their_escapes) {
  const auto reference = parse_message_reference(R"(#:error.refused[a\,b\:\#,\[x\]\\,])");
  ASSERT_TRUE(reference);
  EXPECT_EQ(reference->key, "error.refused");
  EXPECT_THAT(reference->arguments, ElementsAre("a,b:#", R"([x]\)", ""));
  EXPECT_TRUE(parse_message_reference("error.timeout")->arguments.empty());
  EXPECT_EQ(parse_message_reference("#x[1]")->key, "#x[1]");
}

TEST(message_reference, is_none_when_it_is_damaged) {
  for (const char* text : {"#:", "#:key", "#:[a]", "#:key[a", "#:key[a]b", R"(#:key[a\])",
                           R"(#:key[a\)", R"(#:key[\n])", "#:key[a[b]", "#:key[a:b]"}) {
    EXPECT_FALSE(parse_message_reference(text)) << text;
  }
}

TEST(fill_in, follows_the_placeholders) {
  const std::vector<std::string> arguments = {"x%1:s", "y"};
  EXPECT_EQ(fill_in("%1:s of %0:s, %1:s, 5%%", arguments), "y of x%1:s, y, 5%");
  EXPECT_EQ(fill_in("%%0:s", arguments), "%0:s");
  for (const char* text : {"100%", "%2:s", "%s", "%0s", "%0:d", "%99999999999999999999:s"}) {
    EXPECT_FALSE(fill_in(text, arguments)) << text;
  }
}

class translator_test : public ::testing::Test {
 protected:
  static kavu::wire::LocalisedText message(const char* key, const char* text) {
    kavu::wire::LocalisedText result;
    result.set_key(key);
    result.set_text(text);
    return result;
  }

  const definition module_ = read_definition(kavu_test::test_document);
  const translator german_{module_, "German"};
  const translator english_{module_, "English"};
};

TEST_F(translator_test, builds_a_message_from_its_key) {
  const auto refused = message(R"(#:error.refused[h\:1,no])", "Refused by 'h:1': no (100%)");
  EXPECT_EQ(german_.text(refused), "Von 'h:1' abgewiesen: no (100%)");
  EXPECT_EQ(english_.text(refused), "Refused by 'h:1': no (100%)");
}

TEST_F(translator_test, falls_back_to_the_english_text) {
  const std::pair<const char*, const char*> cases[] = {
      {"error.unknown", "No translation"},
      {"#:error.refused[only one]", "Too few arguments"},
      {"#:error.odd[a]", "Malformed in the document"},
      {"#:error.refused[a", "Damaged"},
  };
  for (const auto& [key, text] : cases) {
    EXPECT_EQ(german_.text(message(key, text)), text);
  }
  // A user's own name for a channel is nobody's to translate.
  EXPECT_EQ(german_.text(message("channel.count", "channel.count")), "channel.count");
  EXPECT_EQ(german_.text(message("channel.count", "Count")), "Anzahl");
  EXPECT_EQ(german_.look_up("level", 0)->display, "Dry");
  EXPECT_FALSE(german_.look_up("level", 7));
  EXPECT_FALSE(german_.look_up("none", 4));
}

}  // namespace
}  // namespace kavu_probe

#include "mqtt/topic_filter.hpp"

#include <gtest/gtest.h>
#include <pthread.h>

#include <optional>
#include <random>
#include <string>

#include "liblog/null_logger.hpp"
#include "libregex/compile.hpp"
#include "mqtt/exceptions.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

TEST(topic_filter, accepts_wildcards_only_where_they_stand_for_levels) {
  for (const char* filter :
       {"", "a", "a//b", "#", "a/#", "+", "+/a", "a/+", "a/+/b", "+/+/#", "/", "$SYS/#", "a.b*c"}) {
    EXPECT_NO_THROW(topic_filter{filter}) << filter;
  }
  for (const char* filter : {"a/b#", "a/#/b", "##", "#/", "a+/b", "a/+b", "++", "a/+#", "+a"}) {
    EXPECT_THROW(topic_filter{filter}, exceptions::invalid_topic) << filter;
  }
}

TEST(topic_filter, matches_whole_topics) {
  struct {
    const char* filter;
    const char* topic;
    bool matches;
    bool leaves_out = false;
  } const cases[] = {
      {"sensor/+/temp", "sensor//temp", true},
      {"sensor/+/temp", "sensor/a:1/temp", false, true},
      {"sensor/+/temp", "sensor/a/b/temp", false},
      {"sensor/+/temp", "xsensor/a/temp", false},
      {"a/#", "a/", true},
      {"a/#", "a/b/c", true},
      {"a/#", "a", false, true},
      {"#", "", true},
      {"#", "lamp (2)", false, true},
      {"#", "$SYS/a", false},
      {"$share/g/a/#", "a/b", false, true},
      {"+/a:b/#", "\xc3\x96l/a:b", false, true},
      {"+/a:b/#", "\xc3\x96l/a:b/c:d/e", false, true},
      {"+/a:b/#", "\xc3\x96l/a", false},
      {"#", "any/topic at_all.1", true},
      {"a.b", "axb", false},
      {"$SYS/*(x)[1]|{2}^?\\", "$SYS/*(x)[1]|{2}^?\\", true},
      {"\xc3\xa4/+", "\xc3\xa4/x", true},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(topic_filter(each.filter).matches(each.topic), each.matches)
        << each.filter << " against " << each.topic;
    EXPECT_EQ(topic_filter(each.filter).leaves_out(each.topic), each.leaves_out)
        << each.filter << " against " << each.topic;
  }
}

TEST(topic_filter, answers_as_its_regular_expression_does) {
  std::mt19937 random(20240229);
  const std::string alphabet = "ab/+#.-_ $*[(\\:\xc3";
  const auto draw = [&](std::size_t longest) {
    std::string text(random() % (longest + 1), ' ');
    for (char& c : text) {
      c = alphabet[random() % alphabet.size()];
    }
    return text;
  };
  liblog::null_logger log;
  int valid = 0;
  int matching = 0;
  while (valid < 3000) {
    std::optional<topic_filter> filter;
    try {
      filter.emplace(draw(6));
    } catch (const exceptions::invalid_topic&) {
      continue;
    }
    ++valid;
    const auto expression = libregex::compile(log, filter->pattern());
    for (int i = 0; i < 40; ++i) {
      const std::string topic = draw(6);
      const bool expected = std::regex_match(topic, expression);
      matching += expected ? 1 : 0;
      ASSERT_EQ(filter->matches(topic), expected) << filter->text() << " against " << topic;
    }
  }
  EXPECT_GT(matching, 500);  // otherwise the comparison has said little
}

// On a stack on which the standard expression would end the process at a few hundred characters.
TEST(topic_filter, takes_the_longest_topics_on_a_small_stack) {
  const auto body = [](void* result) -> void* {
    const std::string level(65'535, 'x');
    std::string levels, wildcards;
    for (int i = 0; i < 32'767; ++i) {
      levels += "/x";
      wildcards += "/+";
    }
    *static_cast<bool*>(result) =
        topic_filter("#").matches(level) && topic_filter("+").matches(level) &&
        topic_filter("/#").matches(levels) && topic_filter(wildcards).matches(levels) &&
        !topic_filter(wildcards).matches(levels + ":");
    return nullptr;
  };
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 128 * 1024);
  bool result = false;
  pthread_t thread = 0;
  ASSERT_EQ(pthread_create(&thread, &attributes, body, &result), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  EXPECT_TRUE(result);
}

}  // namespace
}  // namespace brunvik::monitoring_modules::mqtt

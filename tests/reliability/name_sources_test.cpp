// Name servers and the system's other sources of names, in a private network: whoever knows a name
// is heard, whatever the others do.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <future>

#include "helpers/eventually.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/name_lookup.hpp"
#include "reliability/private_network.hpp"

namespace kavu_test {
namespace {

using namespace brunvik::monitoring_modules::mqtt;
using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;
using testing::HasSubstr;

/// The addresses with a blank between them, or why there is none.
std::string look_up(const std::string& host, clock::duration limit) try {
  std::string text;
  for (const auto& address :
       look_up_name(host, address_family::any, clock::now() + limit, [] { return false; })) {
    text += text.empty() ? address : " " + address;
  }
  return text;
} catch (const exceptions::client_failure& failure) {
  return failure.what();
}

class name_sources : public testing::Test {
 protected:
  static void SetUpTestSuite() { obstacle_ = enter_private_network(); }
  void SetUp() override {
    if (!obstacle_.empty()) {
      GTEST_SKIP() << "no private network here: " << obstacle_;
    }
  }
  static inline std::string obstacle_;
};

TEST_F(name_sources, are_asked_side_by_side) {
  constexpr auto always = name_server::always;
  struct {
    const char* sources;
    std::size_t answers;
    const char* host;
    const char* found;
    bool is_multicast = false;  // not for name servers: RFC 6762, section 3
  } const cases[] = {
      {"files kavu [NOTFOUND=return] dns", 0, "v4.known", "127.0.0.2"},
      {"files kavu [NOTFOUND=return] dns", 0, "v4.known.local", "127.0.0.2", true},
      {"files kavu [NOTFOUND=return] dns", 0, "known.Local.", "could not be resolved: ", true},
      {"files dns", 0, "v4.known.local", "could not be resolved: ", true},
      {"files kavu dns", always, "stuck.v4.known", "127.0.0.1"},
      {"files kavu dns", always, "none.slow.v4.known", "127.0.0.2"},
      {"files kavu dns", always, "slow.v6.known", "127.0.0.1 ::2"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.host);
    set_name_sources(each.sources);
    name_server names(each.answers);
    const auto began = clock::now();
    EXPECT_THAT(look_up(each.host, 5s), HasSubstr(each.found));
    EXPECT_LT(clock::now() - began, 1200ms);
    EXPECT_TRUE(!each.is_multicast || names.unanswered() == 0);
  }
}

TEST_F(name_sources, dead_names_cost_no_more_than_their_own_time) {
  set_name_sources("files kavu dns");
  name_server names(0);
  for (int attempt = 0; attempt < 30; ++attempt) {  // the C library works on 20 names at a time
    look_up("dead.example", 20ms);
  }
  EXPECT_EQ(look_up("v4.known", 5s), "127.0.0.2");

  const auto began = clock::now();
  std::vector<std::future<std::string>> dead;
  for (int number = 0; number < 50; ++number) {
    const std::string name = "dead" + std::to_string(number) + ".example";
    dead.push_back(std::async(std::launch::async, look_up, name, 1s));
  }
  for (auto& each : dead) {
    EXPECT_THAT(each.get(), HasSubstr("could not be resolved: "));
  }
  EXPECT_LT(clock::now() - began, 1500ms);
  EXPECT_THAT(look_up("v4.known.local", 500ms), HasSubstr("no answer in time"));
  names.speak();
  EXPECT_EQ(look_up("broker.example", 5s), "127.0.0.1");
  EXPECT_TRUE(eventually([&] { return look_up("v4.known.local", 1s) == "127.0.0.2"; }));
}

}  // namespace
}  // namespace kavu_test

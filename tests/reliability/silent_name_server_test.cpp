// While somebody asks a name server that does not answer, nobody else waits. The name server is
// this program's own, in a private network that nothing leads out of.

#include <gtest/gtest.h>

#include <future>
#include <optional>

#include "helpers/scripted_broker.hpp"
#include "reliability/bystanders.hpp"
#include "reliability/private_network.hpp"

namespace kavu_test {
namespace {

class silent_name_server : public testing::Test {
 protected:
  // Namespaces can be left for good, by a process of one thread.
  static void SetUpTestSuite() { obstacle_ = enter_private_network(); }
  void SetUp() override {
    if (!obstacle_.empty()) {
      GTEST_SKIP() << "no private network here: " << obstacle_;
    }
    host_.emplace();
    others_.emplace(*host_);
    broker_.emplace();
  }

  host_settings by_name(host_settings settings) const {
    return settings.set("host", name_server::host).set("timeout", "60").set("logging", "enabled");
  }
  auto create() {
    return std::async(std::launch::async, [this] {
      return host_->create_sensor(100,
                                  by_name(host_settings::statistics_sensor(broker_->port(), "a")));
    });
  }

  static inline std::string obstacle_;
  std::optional<module_host> host_;
  std::optional<bystanders> others_;
  std::optional<scripted_broker> broker_;
};

TEST_F(silent_name_server, holds_up_nobody_else) {
  name_server names(0);
  auto creation = create();
  auto check = std::async(std::launch::async, [this] {
    return host_->check_succeeds(
        1, by_name(host_settings::connect_check(broker_->port())).user("anna", "p"));
  });
  ASSERT_TRUE(eventually([&] { return names.unanswered() >= 2; }));
  EXPECT_LT(others_->slowest_call(), bystanders::limit);
  EXPECT_NE(creation.wait_for(std::chrono::seconds(0)), std::future_status::ready);
  names.speak();
  EXPECT_EQ(creation.get(), KAVU_OK);
  EXPECT_TRUE(check.get());
}

}  // namespace
}  // namespace kavu_test
